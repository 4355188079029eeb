#pragma once

#include <string>

/// A file name, without folder, that stands for a file in a folder shared with other files' proxies. Every path that
/// leads to the file gives the same name, and no other file's does.
void kimg_FileProxyNameGenerate(const std::wstring& file, std::wstring& proxyName);
