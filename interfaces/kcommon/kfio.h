#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "kcommon/kstr.h"

class KerrException;

/// Names of the files in a folder that match a wildcard, each with the folder in front: those of the folder itself
/// sorted by name, then those of each folder below it, which are taken by name as well. The wildcard is a list of
/// patterns joined by semicolons ("*.tif;*.img"; blanks around one don't count), with * for any text, ? for a character
/// and [a-c] or [!a-c] for one of a set, compared without regard to case; empty takes every file. Links to folders are
/// not followed. The other two numbers are kept for callers of old; 0 and 1.
Kstr_StringList* kfio_DirectoryScanRecursive(int flags, const std::wstring& directory, const std::wstring& wildcard,
                                             int filesOnly, bool recursive, KerrException& error);

/// Whether a file or folder is there. A link that leads nowhere, and what can't be looked at, counts as missing.
bool kfio_FileExists(const std::wstring& name, KerrException& error);
/// Whether files can be made in the folder; an empty name is the working folder. False for what is no folder.
bool kfio_DirectoryIsWritable(const std::wstring& directory, KerrException& error);
/// The system's folder for temporary files.
std::wstring kfio_DirectoryGetTemporary(KerrException& error);
/// Makes the folder, with those above it, unless it is there.
void kfio_MaybeMakeDir(const std::wstring& name, KerrException& error);

namespace kfio {

/// Text of a file: UTF-8 with or without byte order mark, UTF-16 with one, and Windows-1252 where the bytes are no
/// UTF-8. Raises KorvenLog::CPPException where the file can't be read, or where its byte order mark says what it is
/// not.
std::wstring ReadFile(const std::wstring& name);
/// `size` characters from character `offset` on; -1 reads to the end. Past the end: empty. What lies behind is not
/// looked at, nor does it count for what the text is written in.
std::wstring ReadFile(const std::wstring& name, std::int32_t offset, std::int32_t size);
/// The same for text that has to be Unicode: what is not is told with its place.
std::wstring ReadUnicodeFile(const std::wstring& name);
/// The bytes of a regular file or pipe.
std::string ReadBytes(const std::wstring& name);

/// Writes UTF-8 text as the whole file: beside its place, then renamed, so that a failure leaves the old file.
void WriteFile(const std::wstring& name, const std::wstring& text);
void WriteBytes(const std::wstring& name, const std::string& bytes);

/// Copies a regular file over another, or to a new one, with its permissions and times. It is written beside its place
/// and renamed; a link at the target is followed, and a copy onto itself does nothing. Raises
/// boost::filesystem::filesystem_error, and leaves the old target then.
void CopyFile(const std::wstring& from, const std::wstring& to);
/// Removes a file, a link or a folder with all that it holds; nothing where nothing is there. No link is followed out
/// of the folder, whatever is done to it meanwhile. Raises boost::filesystem::filesystem_error; the root folder and
/// names that end in "." or ".." are refused.
void RemoveAll(const std::wstring& name);

/// For a process that is about to leave: takes away the files that are being written, and lets none be finished
/// or begun any more; who tries waits for ever. Any thread.
void AbandonWrites();

/// Called between blocks of long reads and writes; raises to end them. Set by the engine.
void SetCancelCheck(std::function<void()> check);

}  // namespace kfio
