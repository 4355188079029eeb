#pragma once

namespace Tamrin::Tessera {

/// Values may be nested without bound, but texts, JSON and comparisons follow them only this far, so that no
/// value can run a thread out of its stack.
constexpr unsigned kMaxNesting = 1000;
/// Models in models: below the outermost. Running, saving and ending them descends from each to the next.
constexpr unsigned kMaxModelNesting = 1000;

/// One level of nesting on this thread.
class NestingGuard {
 public:
  NestingGuard() { ++depth_; }
  ~NestingGuard() { --depth_; }
  NestingGuard(const NestingGuard&) = delete;
  NestingGuard& operator=(const NestingGuard&) = delete;
  static bool IsTooDeep() { return depth_ > kMaxNesting; }

 private:
  static inline thread_local unsigned depth_ = 0;
};

}  // namespace Tamrin::Tessera
