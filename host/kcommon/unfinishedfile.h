#pragma once

#include <sys/types.h>

#include <string>

#include "filedescriptor.h"

/// A new file beside the one that it is to replace, `.tessera-PID-N.tmp`; removed again unless it is renamed. The
/// first one in a folder takes away those that processes left which are gone.
class UnfinishedFile {
 public:
  /// `folder` is empty or ends in a slash. errno is set where the file is not open.
  UnfinishedFile(const std::string& folder, mode_t mode);
  ~UnfinishedFile();
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;
  FileDescriptor& GetFile() { return file_; }
  /// Zero, or the error number.
  int RenameTo(const std::string& path);

 private:
  /// Empty where there is none, or no longer.
  std::string path_;
  FileDescriptor file_;
};
