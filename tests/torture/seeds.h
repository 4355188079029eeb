#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

namespace torture {

/// Numbers that are the same on every machine for the same seed.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed) {}
  /// From 0 to count - 1.
  std::size_t Below(std::size_t count) { return count < 2 ? 0 : static_cast<std::size_t>(engine_() % count); }
  int Between(int least, int most) {
    return least + static_cast<int>(Below(static_cast<std::size_t>(most - least + 1)));
  }
  bool Percent(unsigned chance) { return Below(100) < chance; }
  template <typename List>
  decltype(auto) Of(List& list) {
    return list[Below(list.size())];
  }

 private:
  std::mt19937_64 engine_;
};

inline std::uint64_t NumberOfEnvironment(const char* name, std::uint64_t otherwise) {
  const char* const text = std::getenv(name);
  return text && *text ? std::strtoull(text, nullptr, 10) : otherwise;
}

/// Goes from seed to seed: so many rounds, or as long as TORTURE_SECONDS say. TORTURE_SEED is where it begins. A test
/// run ends it early on a slow machine, behind the first round.
///   for (Rounds rounds("graphs", 40); rounds.Next();) { SCOPED_TRACE(rounds.Repeat()); ... rounds.Seed() ... }
class Rounds {
 public:
  Rounds(const char* name, unsigned count) : name_(name), left_(count), seed_(NumberOfEnvironment("TORTURE_SEED", 1)) {
    if (const auto seconds = NumberOfEnvironment("TORTURE_SECONDS", 0)) {
      left_ = 0;
      end_ = Clock::now() + std::chrono::seconds(seconds);
    } else {
      end_ = Clock::now() + kLongest;
    }
    isTimed_ = left_ == 0;
  }
  bool Next() {
    if (done_ > 0 && (Clock::now() >= end_ || (!isTimed_ && done_ == left_))) return false;
    if (done_++ > 0) ++seed_;
    return true;
  }
  std::uint64_t Seed() const { return seed_; }
  std::string Repeat() const {
    return std::string("to repeat: script/torture --only ") + name_ + " --seed " + std::to_string(seed_);
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr auto kLongest = std::chrono::seconds(12);
  const char* const name_;
  unsigned left_;
  unsigned done_ = 0;
  std::uint64_t seed_;
  bool isTimed_ = false;
  Clock::time_point end_;
};

}  // namespace torture
