#pragma once

#include <string>

/// What was tried when the system refused.
enum class FileAction { ReadFile, WriteFile, ReadFolder, MakeFolder, DeleteFile };

/// Words of an error number, the same in every locale.
std::wstring ErrorText(int errorNumber);
/// A sentence that tells why the file or folder could not be had, from the error number of the system.
std::wstring FileFault(FileAction action, const std::wstring& name, int errorNumber);
