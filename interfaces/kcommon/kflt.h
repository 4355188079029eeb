#pragma once

#include <string>

/// Deletes a file, or a link that leads to one or nowhere. No complaint where none is there; folders, devices and pipes
/// are no files and stay. Raises KorvenLog::CPPException where it can't be deleted.
void kflt_ForceFileDeleteIfExists(const std::wstring& name);
