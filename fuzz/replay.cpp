#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* count, char*** arguments);

/// Feeds each file of the given folders to a fuzz target, where there is no fuzzing engine. The file at which it
/// crashes is the last one named.
int main(int count, char** arguments) {
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&count, &arguments);
  std::size_t fed = 0;
  for (int i = 1; i < count; ++i) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(arguments[i]))
      if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
      std::printf("%s\n", file.c_str());
      std::fflush(stdout);
      std::ifstream stream(file, std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
      if (!stream) {
        std::fprintf(stderr, "%s can't be read\n", file.c_str());
        return 1;
      }
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++fed;
    }
  }
  if (fed == 0) std::fprintf(stderr, "no files in the folders given\n");
  return fed == 0 ? 1 : 0;
}
