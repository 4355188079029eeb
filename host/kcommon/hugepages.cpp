#include "hugepages.h"

#include <sys/mman.h>

#include <cstdint>

#include "kcommon/kstr.h"

void AskForHugePages(void* data, std::size_t size) {
  constexpr std::size_t kHugePageSize = std::size_t{2} << 20;
  if (size < 2 * kHugePageSize) return;
  const auto start = (reinterpret_cast<std::uintptr_t>(data) + kHugePageSize - 1) / kHugePageSize * kHugePageSize;
  const auto end = (reinterpret_cast<std::uintptr_t>(data) + size) / kHugePageSize * kHugePageSize;
  if (end > start) ::madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

void kstr_Reserve(std::wstring& text, std::size_t count) {
  text.reserve(count);
  AskForHugePages(text.data(), text.capacity() * sizeof(wchar_t));
}
