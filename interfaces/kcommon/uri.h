#pragma once

#include <string>
#include <utility>

/// Names a resource; files are all that there are.
class URI {
 public:
  URI() = default;
  static URI fromFile(const std::wstring& file) { return URI(file); }
  const std::wstring& toFile() const { return file_; }

 private:
  explicit URI(std::wstring file) : file_(std::move(file)) {}
  std::wstring file_;
};
