#pragma once

#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace kprj {

/// Keeps the values that were asked for last, as many as the bound says. Any thread.
template <typename Value>
class BoundedCache {
 public:
  explicit BoundedCache(std::size_t bound) : bound_(bound) {}

  std::optional<Value> Find(const std::wstring& key) {
    const std::lock_guard lock(mutex_);
    const auto found = index_.find(key);
    if (found == index_.end()) return std::nullopt;
    order_.splice(order_.begin(), order_, found->second);
    return found->second->second;
  }

  /// The value that is kept for the key from now on: that of another thread where it came first.
  Value Keep(const std::wstring& key, Value value) {
    const std::lock_guard lock(mutex_);
    if (const auto found = index_.find(key); found != index_.end()) return found->second->second;
    order_.emplace_front(key, value);
    index_.emplace(key, order_.begin());
    if (order_.size() > bound_) {
      index_.erase(order_.back().first);
      order_.pop_back();
    }
    return value;
  }

 private:
  using Order = std::list<std::pair<std::wstring, Value>>;
  const std::size_t bound_;
  std::mutex mutex_;
  Order order_;
  std::unordered_map<std::wstring, typename Order::iterator> index_;
};

}  // namespace kprj
