#pragma once

#include <string>

class KerrException;

/// File name with its environment variables expanded. An empty name is an error.
std::wstring kfnp_FileNameEvaluateEnv(const std::wstring& name, KerrException& error);

/// Between the platform's form of a file name and the system's own: on this platform they are the same, so that a text
/// that is no file name passes unchanged too. What holds a null character is a failure.
std::wstring kfnp_FileNameExternalToInternal(const std::wstring& name, KerrException& error);
std::wstring kfnp_FileNameInternalToExternal(const std::wstring& name, KerrException& error);

// The pieces of a file name: path part, base part and extension part joined are the name.
/// The folder of a file name with the separator behind it; empty where it names none.
std::wstring kfnp_FileNameGetPathPart(const std::wstring& name);
/// The file name without folder and extension; what begins with a full stop is no extension.
std::wstring kfnp_FileNameGetBasePart(const std::wstring& name);
/// The extension with its full stop; empty where there is none.
std::wstring kfnp_FileNameGetExtPart(const std::wstring& name);
/// The file name without folder.
std::wstring kfnp_FileNameGetNamePart(const std::wstring& name);

/// Wide names hold bytes that are no UTF-8 as U+DC80 + (byte - 0x80), so that every name survives.
std::string kfnp_ToNative(const std::wstring& name);
std::wstring kfnp_FromNative(const std::string& name);

/// The extension without its full stop: "prj" for "a.prj".
std::wstring kfnp_FileNameGetExtensionStringPart(const std::wstring& name);
