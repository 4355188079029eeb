#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

/// Locks between processes, kept by the operating system: a lock ends with the process that holds it, however it
/// ends. The lock of a name is a file of that name with ".lock" behind it, which is taken away with the lock. One
/// that a killed process left is no hindrance. Any thread.
namespace korven::common::FileLock {

class UniqueLock {
 public:
  virtual ~UniqueLock() = default;
  UniqueLock(const UniqueLock&) = delete;
  UniqueLock& operator=(const UniqueLock&) = delete;

 protected:
  UniqueLock() = default;
};

/// Takes the exclusive lock of a name for this process; empty where another process holds it. Where this process
/// holds it already, both have it, and it ends with the last. Raises KorvenLog::CPPException where the lock file
/// can't be made or locked.
boost::shared_ptr<UniqueLock> TryGetExclusiveLock(const std::wstring& name);

/// The name whose lock stands for a file, the same for every path that leads to it, through links too: the file's
/// own, or, where nothing can be made in its folder, that of its proxy in the folder of the preference
/// "default_proxy_path" of category "filepref", else in the system's temporary folder. The file need not exist.
std::wstring GetLockName(const std::wstring& file);

/// Who holds the lock of a name, as words within a sentence ("process 12 (tessera)"); empty where it can't be told.
std::wstring GetHolder(const std::wstring& name);

/// For a program that is about to be ended: gives back every lock of this process.
void ReleaseAll();

}  // namespace korven::common::FileLock
