#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace Tamrin::Tessera {

namespace JsonValueType {
enum Enum { Null = 0, Int = 1, Unsigned = 2, Double = 3, String = 4, Bool = 5, Array = 6, Object = 7 };
}

class JsonValueIterator;

/// The elements of an array or the members of an object, which a value holds. Valid while the value is unchanged.
template <typename Item>
class JsonItems {
 public:
  JsonItems(const Item* first, std::size_t count) : first_(first), count_(count) {}
  const Item* begin() const { return first_; }
  const Item* end() const { return first_ + count_; }
  const Item* data() const { return first_; }
  std::size_t size() const { return count_; }
  bool empty() const { return count_ == 0; }
  const Item& operator[](std::size_t index) const { return first_[index]; }
  const Item& front() const { return first_[0]; }
  const Item& back() const { return first_[count_ - 1]; }

 private:
  const Item* first_;
  std::size_t count_;
};

/// A JSON value of 16 bytes. Texts are held as UTF-8, by jsonlib/widetext.h; other bytes become U+FFFD. Copies are deep
/// in meaning, cheap in fact: arrays and objects are shared until one side is changed; only one whose inside was
/// reached for writing, by operator[] or Member8, is copied at once, so that the reference keeps changing its own
/// value alone. Objects keep the order in which keys were first set. Reading one value, and copying it, from
/// several threads is safe, changing it is not. No operation recurses: depth is bounded by memory alone.
class JsonValue {
 public:
  struct Member;
  using Elements = JsonItems<JsonValue>;
  using Members = JsonItems<Member>;

  JsonValue() noexcept {}  // provided, so that a constant may be declared without braces
  JsonValue(const std::wstring& text);
  JsonValue(const wchar_t* text);
  JsonValue(bool value) noexcept {
    bits_.type = JsonValueType::Bool;
    bits_.truth = value;
  }
  JsonValue(double value) noexcept {
    bits_.type = JsonValueType::Double;
    bits_.real = value;
  }
  JsonValue(int value) noexcept : JsonValue(FromInt64(value)) {}
  /// The type's empty value: 0, false, an empty text, array or object.
  explicit JsonValue(JsonValueType::Enum type) noexcept { bits_.type = static_cast<std::uint8_t>(type); }
  JsonValue(const JsonValue& other) : bits_(other.bits_) {
    if (bits_.size == kShared) AddHolder();
  }
  JsonValue(JsonValue&& other) noexcept : bits_(std::exchange(other.bits_, Bits())) {}
  JsonValue& operator=(const JsonValue& other) { return *this = JsonValue(other); }
  JsonValue& operator=(JsonValue&& other) noexcept {
    // `other` may lie inside this value, so it is taken out before anything is released.
    JsonValue taken(std::move(other));
    std::swap(bits_, taken.bits_);
    return *this;
  }
  ~JsonValue() {
    if (bits_.size == kShared) Release();
  }

  static JsonValue FromUtf8(std::string_view text);
  static JsonValue FromInt64(std::int64_t value) noexcept {
    JsonValue json;
    json.bits_.type = JsonValueType::Int;
    json.bits_.integer = value;
    return json;
  }
  static JsonValue FromUint64(std::uint64_t value) noexcept {
    JsonValue json;
    json.bits_.type = JsonValueType::Unsigned;
    json.bits_.natural = value;
    return json;
  }

  JsonValueType::Enum Type() const noexcept { return static_cast<JsonValueType::Enum>(bits_.type); }
  bool IsNull() const noexcept { return Type() == JsonValueType::Null; }
  bool IsObject() const noexcept { return Type() == JsonValueType::Object; }
  bool IsArray() const noexcept { return Type() == JsonValueType::Array; }
  bool IsString() const noexcept { return Type() == JsonValueType::String; }
  bool IsBool() const noexcept { return Type() == JsonValueType::Bool; }
  /// An integer literal (Int or Unsigned).
  bool IsInteger() const noexcept { return Type() == JsonValueType::Int || Type() == JsonValueType::Unsigned; }
  bool IsNumber() const noexcept { return IsInteger() || Type() == JsonValueType::Double; }

  /// Element of an array; a non-const call on another type makes an array, and grows it with nulls. What a
  /// non-const call gives is valid until the array or object is next changed.
  JsonValue& operator[](unsigned index);
  const JsonValue& operator[](unsigned index) const;  ///< a null value outside the bounds
  /// Member of an object; a non-const call on another type makes an object, and inserts the key.
  JsonValue& operator[](const std::wstring& key);
  const JsonValue& operator[](const std::wstring& key) const;  ///< a null value for an unknown key
  JsonValue& operator[](const wchar_t* key) { return (*this)[std::wstring(key)]; }
  const JsonValue& operator[](const wchar_t* key) const { return (*this)[std::wstring(key)]; }
  JsonValue& operator[](int index) {
    assert(index >= 0);
    return (*this)[static_cast<unsigned>(index)];
  }
  const JsonValue& operator[](int index) const { return (*this)[static_cast<unsigned>(index)]; }

  /// Member by UTF-8 key, or null pointer. Constant time in large objects.
  const JsonValue* Find(std::string_view key) const;
  JsonValue& Member8(std::string_view key);  ///< inserts
  /// Sets a member by UTF-8 key. Unlike an assignment through operator[] it leaves the copies cheap.
  void Set(std::string_view key, JsonValue value);
  bool Remove(std::string_view key);  ///< true where it was there

  void Append(const JsonValue& value);
  void Append(JsonValue&& value);
  /// Elements or members; 0 otherwise.
  unsigned Count() const noexcept;
  JsonValueIterator begin() const;
  JsonValueIterator end() const;
  /// The elements of an array, the members of an object; empty for other types.
  Elements GetElements() const noexcept;
  Members GetMembers() const noexcept;

  /// Numbers are converted (saturating, truncating), true is 1, other types give 0.
  int AsInt() const noexcept;
  std::int64_t AsInt64() const noexcept;
  std::uint64_t AsUint64() const noexcept;
  double AsDouble() const noexcept;
  bool AsBool() const noexcept;              ///< a boolean, or a number other than 0
  std::wstring AsString() const;             ///< empty unless a string
  std::string_view AsUtf8() const noexcept;  ///< of a string; lives as long as this value is unchanged

  /// JSON text; `styled` with two-space indentation and line ends. Doubles in the shortest form that reads
  /// back the same; those that are not finite become null.
  std::wstring Serialize(bool styled = false) const;
  std::string SerializeUtf8(bool styled = false) const;
  /// Reads strict JSON. On failure false, and the value is left as it was.
  bool Deserialize(const std::wstring& text);
  /// The same from UTF-8, with comments and trailing commas where `lenient`; `error` tells line, column and fault. Of
  /// equal keys in an object the last one counts; `hasEqualKeys` tells whether there are such.
  bool DeserializeUtf8(std::string_view text, bool lenient, std::string* error, bool* hasEqualKeys = nullptr);

  /// By value; numbers compare by number whatever their form, NaN equals NaN; objects whatever the order of their
  /// keys.
  bool operator==(const JsonValue& other) const;
  bool operator!=(const JsonValue& other) const { return !(*this == other); }

 private:
  friend class JsonBuilder;
  struct Payload;
  struct Text;
  struct Node;
  struct Bits {
    std::uint8_t type = JsonValueType::Null;
    std::uint8_t size = 0;  ///< of a text held in the 14 bytes that follow; kShared where `payload` is held
    char text[6] = {};
    union {  // zero in all forms
      bool truth;
      std::int64_t integer;
      std::uint64_t natural = 0;
      double real;
      Payload* payload;
    };
  };
  static constexpr std::uint8_t kShared = 0xFF;
  static constexpr std::size_t kInlineText = 14;

  static JsonValue MakeText(std::string_view valid);
  static JsonValue MakeContainer(Node* node) noexcept;
  void AddHolder();
  void Release() noexcept;
  Node* GetNode() const noexcept;
  Node& MakeNode(JsonValueType::Enum type, std::size_t room);
  JsonValue& MemberOf(std::string_view validKey);
  Bits bits_;
};

struct JsonValue::Member {
  std::string key;  ///< UTF-8
  JsonValue value;
};

/// Walks the elements of an array or the members of an object, in order. Valid while the value is unchanged.
class JsonValueIterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = JsonValue;
  using difference_type = std::ptrdiff_t;
  using pointer = const JsonValue*;
  using reference = const JsonValue&;
  JsonValueIterator(const JsonValue* owner, unsigned index) : owner_(owner), index_(index) {}
  reference operator*() const;
  pointer operator->() const { return &**this; }
  JsonValueIterator& operator++() {
    ++index_;
    return *this;
  }
  /// Key of the member; empty in an array.
  std::wstring Key() const;
  bool operator==(const JsonValueIterator& other) const { return index_ == other.index_; }
  bool operator!=(const JsonValueIterator& other) const { return index_ != other.index_; }

 private:
  const JsonValue* owner_;
  unsigned index_;
};

}  // namespace Tamrin::Tessera
