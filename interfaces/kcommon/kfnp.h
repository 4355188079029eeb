#pragma once

#include <string>

class KerrException;

/// File name with its environment variables expanded. An empty name is an error.
std::wstring kfnp_FileNameEvaluateEnv(const std::wstring& name, KerrException& error);

/// The folder of a file name with the separator behind it; empty where it names none.
std::wstring kfnp_FileNameGetPathPart(const std::wstring& name);
/// The file name without folder and extension; what begins with a full stop is no extension.
std::wstring kfnp_FileNameGetBasePart(const std::wstring& name);

/// Wide names hold bytes that are no UTF-8 as U+DC80 + (byte - 0x80), so that every name survives.
std::string kfnp_ToNative(const std::wstring& name);
std::wstring kfnp_FromNative(const std::string& name);
