#include "txlib/dictionary.h"

#include <utility>

#include "datatext.h"

namespace Tamrin::Tessera {
namespace {

// A few keys are found faster by looking at them than by an index, and most dictionaries have a few.
constexpr std::size_t kUnindexed = 12;

}  // namespace

Dictionary::Dictionary() = default;

Dictionary::~Dictionary() {
  std::vector<boost::shared_ptr<Data>> values;
  try {
    values.reserve(items_.size());
  } catch (const std::bad_alloc&) {
    return;
  }
  for (Item& item : items_) values.push_back(std::move(item.second));
  if (!values.empty()) ReleaseValues(std::move(values));
}

Dictionary::Dictionary(const Dictionary& other) = default;

Dictionary::Dictionary(Dictionary&& other) noexcept
    : items_(std::exchange(other.items_, {})), index_(std::move(other.index_)) {
  other.index_.clear();
}

Dictionary& Dictionary::operator=(Dictionary other) noexcept {
  items_.swap(other.items_);
  index_.swap(other.index_);
  return *this;
}

std::size_t Dictionary::Position(const std::wstring& key) const {
  if (index_.empty()) {
    for (std::size_t i = 0; i < items_.size(); ++i)
      if (items_[i].first == key) return i;
    return kNone;
  }
  const auto found = index_.find(key);
  return found == index_.end() ? kNone : found->second;
}

void Dictionary::SetItem(const std::wstring& key, const boost::shared_ptr<Data>& value) {
  const std::size_t position = Position(key);
  if (position != kNone) {
    items_[position].second = value;
    return;
  }
  items_.emplace_back(key, value);
  if (!index_.empty()) {
    index_.emplace(key, items_.size() - 1);
  } else if (items_.size() > kUnindexed) {
    for (std::size_t i = 0; i < items_.size(); ++i) index_.emplace(items_[i].first, i);
  }
}

DataRef Dictionary::operator[](const std::wstring& key) {
  return DataRef(Find(key), [this, key](const boost::shared_ptr<Data>& data) { SetItem(key, data); });
}

boost::shared_ptr<Data> Dictionary::Find(const std::wstring& key) const {
  const std::size_t position = Position(key);
  return position == kNone ? nullptr : items_[position].second;
}

bool Dictionary::Contains(const std::wstring& key) const { return Position(key) != kNone; }

bool Dictionary::Erase(const std::wstring& key) {
  const std::size_t position = Position(key);
  if (position == kNone) return false;
  index_.erase(key);
  if (position + 1 != items_.size()) {
    for (auto& entry : index_)
      if (entry.second > position) --entry.second;
  }
  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(position));
  return true;
}

std::vector<std::wstring> Dictionary::GetKeys() const {
  std::vector<std::wstring> keys;
  keys.reserve(items_.size());
  for (const Item& item : items_) keys.push_back(item.first);
  return keys;
}

}  // namespace Tamrin::Tessera
