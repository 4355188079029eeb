#pragma once

#include <string>

/// A new folder beside a file that is to be written, `.tessera-PID-N.dir`: for formats that have several files, which
/// are made in it under their own names and then renamed. It goes with the object, with what is in it; where its
/// process is killed, the next write of kfio or of this class beside it takes it away. One object is used by one thread
/// at a time.
class UnfinishedFolder {
 public:
  /// `target` is a wide file name, whose folder exists.
  explicit UnfinishedFolder(const std::wstring& target);
  ~UnfinishedFolder();
  UnfinishedFolder(const UnfinishedFolder&) = delete;
  UnfinishedFolder& operator=(const UnfinishedFolder&) = delete;
  /// Zero, or the error number of the system for why there is no folder.
  int GetFailure() const { return failure_; }
  /// The native path.
  const std::string& GetPath() const { return path_; }

 private:
  std::string path_;
  int lock_ = -1;
  int failure_ = 0;
};
