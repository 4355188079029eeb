#include "kcommon/kimg.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

#include "filenames.h"
#include "kcommon/kfnp.h"

namespace fs = std::filesystem;

namespace {

constexpr int kMostLinks = 40;
/// Enough to know the file by; the hash makes the name its own.
constexpr std::size_t kReadablePart = 60;

std::uint64_t Hash(std::string_view bytes, std::uint64_t seed) {
  std::uint64_t hash = 0xcbf29ce484222325U ^ seed;
  for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
  return hash;
}

}  // namespace

fs::path CanonicalPath(const std::wstring& file) {
  fs::path path = fs::absolute(kfnp_ToNative(file));
  for (int links = 0; links < kMostLinks; ++links) {
    path = fs::weakly_canonical(path);
    if (!path.has_filename() && path.has_relative_path()) path = path.parent_path();
    std::error_code none;
    // A link that leads nowhere yet is not followed by the call above.
    if (!fs::is_symlink(fs::symlink_status(path, none))) break;
    const fs::path target = fs::read_symlink(path);
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  return path;
}

void kimg_FileProxyNameGenerate(const std::wstring& file, std::wstring& proxyName) {
  const fs::path path = CanonicalPath(file);
  const std::string& whole = path.native();
  std::wstring readable = kfnp_FromNative(path.filename().native());
  if (readable.size() > kReadablePart) readable.erase(0, readable.size() - kReadablePart);
  char hash[40];
  std::snprintf(hash, sizeof hash, "-%016llx%016llx", static_cast<unsigned long long>(Hash(whole, 0)),
                static_cast<unsigned long long>(Hash(whole, whole.size() * 0x9e3779b97f4a7c15U + 1)));
  proxyName = readable + kfnp_FromNative(hash);
}
