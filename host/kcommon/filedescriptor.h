#pragma once

#include <unistd.h>

#include <string>
#include <utility>

/// Owns an open file. -1 is none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (number_ >= 0) ::close(number_);
  }
  int Get() const { return number_; }
  bool IsOpen() const { return number_ >= 0; }
  /// The file is the caller's from here on.
  int Release() { return std::exchange(number_, -1); }
  /// Some file systems tell only here that the bytes found no room. False with errno set.
  bool Close() {
    const int number = number_;
    number_ = -1;
    return ::close(number) == 0;
  }

 private:
  int number_;
};

/// Runs the check that SetCancelCheck set.
void RunCancelCheck();
