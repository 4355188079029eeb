#include "torture/allocationfault.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HAS_OWN_MALLOC 0
#else
#define HAS_OWN_MALLOC 1
#endif

namespace {

using torture::AllocationFault;

struct Countdown {
  std::atomic<bool> armed{false};
  std::atomic<bool> struck{false};
  std::atomic<bool> goesOn{false};
  std::atomic<std::int64_t> left{0};
  /// Whether this allocation is one that fails.
  bool Strikes() {
    if (!armed.load(std::memory_order_relaxed)) return false;
    const auto before = left.fetch_sub(1);
    if (before > 1 || (before < 1 && !goesOn)) return false;
    struck = true;
    return true;
  }
};

constinit Countdown news, mallocs;

}  // namespace

#if HAS_OWN_MALLOC
// The C library's own, under the names by which it keeps them for such as us.
extern "C" {
void* __libc_malloc(std::size_t size);                           // NOLINT
void* __libc_calloc(std::size_t count, std::size_t size);        // NOLINT
void* __libc_realloc(void* block, std::size_t size);             // NOLINT
void* __libc_memalign(std::size_t alignment, std::size_t size);  // NOLINT

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
  if (!mallocs.Strikes()) return __libc_malloc(size);
  errno = ENOMEM;
  return nullptr;
}
__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) {
  if (!mallocs.Strikes()) return __libc_calloc(count, size);
  errno = ENOMEM;
  return nullptr;
}
__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) {
  if (!mallocs.Strikes()) return __libc_realloc(block, size);
  errno = ENOMEM;
  return nullptr;
}
}
#endif

namespace {

void* Take(std::size_t size, std::size_t alignment) {
  if (news.Strikes()) return nullptr;
  if (size == 0) size = 1;
#if HAS_OWN_MALLOC
  return alignment == 0 ? __libc_malloc(size) : __libc_memalign(alignment, size);
#else
  return alignment == 0 ? std::malloc(size)
                        : std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
#endif
}

void* TakeOrThrow(std::size_t size, std::size_t alignment = 0) {
  void* const block = Take(size, alignment);
  if (!block) throw std::bad_alloc();
  return block;
}

}  // namespace

#define REPLACED __attribute__((visibility("default")))
REPLACED void* operator new(std::size_t size) { return TakeOrThrow(size); }
REPLACED void* operator new[](std::size_t size) { return TakeOrThrow(size); }
REPLACED void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Take(size, 0); }
REPLACED void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Take(size, 0); }
REPLACED void* operator new(std::size_t size, std::align_val_t alignment) {
  return TakeOrThrow(size, static_cast<std::size_t>(alignment));
}
REPLACED void* operator new[](std::size_t size, std::align_val_t alignment) {
  return TakeOrThrow(size, static_cast<std::size_t>(alignment));
}
REPLACED void operator delete(void* block) noexcept { std::free(block); }
REPLACED void operator delete[](void* block) noexcept { std::free(block); }
REPLACED void operator delete(void* block, std::size_t) noexcept { std::free(block); }
REPLACED void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
REPLACED void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
REPLACED void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
REPLACED void operator delete(void* block, std::align_val_t) noexcept { std::free(block); }
REPLACED void operator delete[](void* block, std::align_val_t) noexcept { std::free(block); }
REPLACED void operator delete(void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
REPLACED void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
#undef REPLACED

namespace torture {

AllocationFault::AllocationFault(Source source, std::uint64_t number, Extent extent) {
  Countdown& countdown = source == Source::New ? news : mallocs;
  news.struck = mallocs.struck = false;
  countdown.left = static_cast<std::int64_t>(number);
  countdown.goesOn = extent == Extent::AllFromThere;
  countdown.armed = true;
}

AllocationFault::~AllocationFault() { news.armed = mallocs.armed = false; }

bool AllocationFault::HasStruck() { return news.struck || mallocs.struck; }

bool AllocationFault::CanFail(Source source) { return source == Source::New || HAS_OWN_MALLOC; }

}  // namespace torture
