#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "kcommon/kfnp.h"
#include "korvenlog/exception.h"

/// A folder that goes with the object.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tessera scratch XXXXXX").string();
    if (!::mkdtemp(name.data())) throw std::runtime_error("no scratch folder");
    path_ = name;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  const std::filesystem::path& Path() const { return path_; }
  /// Makes a file, its folders too, and gives its wide name.
  std::wstring Make(const std::string& name, const std::string& bytes = "") const {
    const std::filesystem::path file = path_ / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
    return Wide(name);
  }
  std::wstring Wide(const std::string& name) const { return kfnp_FromNative((path_ / name).string()); }
  std::string Bytes(const std::string& name) const {
    std::ifstream stream(path_ / name, std::ios::binary);
    std::ostringstream bytes;
    bytes << stream.rdbuf();
    return bytes.str();
  }
  std::size_t EntryCount() const {
    const std::filesystem::directory_iterator entries(path_);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
  }

 private:
  std::filesystem::path path_;
};

/// Text of what the call raises; "nothing raised" where it returns.
template <typename Call>
std::wstring RaisedBy(Call call) {
  try {
    call();
  } catch (const KorvenLog::CPPException<std::runtime_error>& exception) {
    return exception.get_What();
  }
  return L"nothing raised";
}
