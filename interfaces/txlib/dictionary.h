#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "txlib/data.h"
#include "txlib/dataref.h"

namespace Tamrin::Tessera {

/// Wide-string keys to values, in the order in which the keys were first set. A value may be null. A copy shares the
/// values.
class Dictionary {
 public:
  using Item = std::pair<std::wstring, boost::shared_ptr<Data>>;

  Dictionary();
  ~Dictionary();
  Dictionary(const Dictionary& other);
  Dictionary(Dictionary&& other) noexcept;
  Dictionary& operator=(Dictionary other) noexcept;
  void SetItem(const std::wstring& key, const boost::shared_ptr<Data>& value);
  /// A handle that inserts the key when it is assigned to.
  DataRef operator[](const std::wstring& key);
  /// Null pointer for an unknown key and for a null value.
  boost::shared_ptr<Data> Find(const std::wstring& key) const;
  bool Contains(const std::wstring& key) const;
  bool Erase(const std::wstring& key);
  std::vector<std::wstring> GetKeys() const;
  const std::vector<Item>& GetItems() const { return items_; }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::size_t Position(const std::wstring& key) const;

  std::vector<Item> items_;
  std::unordered_map<std::wstring, std::size_t> index_;  ///< filled from a number of keys on
};

/// Base of structured values that can be read by key.
class SchemaBasedDictionary {
 public:
  virtual std::vector<std::wstring> GetKeys() const = 0;
  virtual boost::shared_ptr<Data> operator[](const std::wstring& key) const = 0;
  virtual ~SchemaBasedDictionary() = default;

 protected:
  SchemaBasedDictionary() = default;
  SchemaBasedDictionary(const SchemaBasedDictionary&) = default;
  SchemaBasedDictionary& operator=(const SchemaBasedDictionary&) = default;
};

namespace DictionaryUtils {
std::wstring ToString(const boost::shared_ptr<Data>& data);
std::wstring ToReportString(const boost::shared_ptr<Data>& data);
}  // namespace DictionaryUtils

}  // namespace Tamrin::Tessera
