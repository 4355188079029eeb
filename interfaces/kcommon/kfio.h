#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "kcommon/kstr.h"

class KerrException;

/// Names of the files in a folder that match a wildcard, each with the folder in front, sorted by name.
/// The wildcard is a list of patterns separated by blanks, commas or semicolons ("*.tif;*.img"), with * and ?,
/// compared without regard to case; empty takes every file. Links to folders are not followed. The other two
/// numbers are kept for callers of old; 0 and 1.
Kstr_StringList* kfio_DirectoryScanRecursive(int flags, const std::wstring& directory, const std::wstring& wildcard,
                                             int filesOnly, bool recursive, KerrException& error);

namespace kfio {

/// Text of a file, decoded strictly as UTF-8 (a byte order mark is dropped); UTF-16 with a byte order mark is
/// read too. Raises KorvenLog::CPPException with what was found where.
std::wstring ReadFile(const std::wstring& name);
/// `size` characters from character `offset` on; -1 reads to the end. Past the end: empty.
std::wstring ReadFile(const std::wstring& name, std::int32_t offset, std::int32_t size);
/// The bytes of a regular file or pipe.
std::string ReadBytes(const std::wstring& name);

/// Writes UTF-8 text as the whole file: beside its place, then renamed, so that a failure leaves the old file.
void WriteFile(const std::wstring& name, const std::wstring& text);
void WriteBytes(const std::wstring& name, const std::string& bytes);

/// For a process that is about to leave: takes away the files that are being written, and lets none be finished
/// or begun any more; who tries waits for ever. Any thread.
void AbandonWrites();

/// Called between blocks of long reads and writes; raises to end them. Set by the engine.
void SetCancelCheck(std::function<void()> check);

}  // namespace kfio
