#pragma once

#include <cstdint>

namespace torture {

/// Lets allocations of this process fail while it lives: the one of a number, counted from 1 over all threads, or all
/// from there on. `New` are those of C++, `Malloc` those that C libraries make for themselves.
class AllocationFault {
 public:
  enum class Source { New, Malloc };
  enum class Extent { One, AllFromThere };
  AllocationFault(Source source, std::uint64_t number, Extent extent);
  ~AllocationFault();
  AllocationFault(const AllocationFault&) = delete;
  AllocationFault& operator=(const AllocationFault&) = delete;
  /// True once one has failed.
  static bool HasStruck();
  /// False where a sanitizer keeps malloc for itself.
  static bool CanFail(Source source);
};

}  // namespace torture
