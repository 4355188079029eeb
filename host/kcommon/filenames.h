#pragma once

#include <filesystem>
#include <string>

/// Absolute path of a file without links and dots. The file need not exist, nor what a link at its place leads to.
std::filesystem::path CanonicalPath(const std::wstring& file);
