#pragma once

#include <string>

class KerrException;

/// File name with its environment variables expanded. An empty name is an error.
std::wstring kfnp_FileNameEvaluateEnv(const std::wstring& name, KerrException& error);

/// Wide names hold bytes that are no UTF-8 as U+DC80 + (byte - 0x80), so that every name survives.
std::string kfnp_ToNative(const std::wstring& name);
std::wstring kfnp_FromNative(const std::string& name);
