#pragma once

#include <boost/enable_shared_from_this.hpp>
#include <boost/make_shared.hpp>
#include <boost/pointer_cast.hpp>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "plugin/iplugin.h"
#include "txlib/objectname.h"

namespace Tamrin::Tessera {

class Data;
class DataRef;
class JsonValue;

/// The data part of a value: the operations that every value type answers, in the order of their slots.
/// A value has no lock. Once it is on a port it is read only: Clone it before a change.
class DataPart : public boost::enable_shared_from_this<DataPart> {
 public:
  /// The text form: stable, the same for equal values.
  virtual std::wstring ToString() const;
  virtual void Hook() {}
  virtual const wchar_t* GetTypeNamespace() const;
  virtual const wchar_t* GetTypeName() const;
  /// A deep copy.
  virtual boost::shared_ptr<Data> Clone() const;
  /// A new value of the target type, or null where there is no conversion or it fails.
  virtual boost::shared_ptr<Data> ConvertTo(const ObjectName& target) const;
  /// True where the wrapper's value pointer is null.
  virtual bool HasNoValue() const;
  virtual std::vector<std::wstring> GetKeys() const;
  virtual DataRef operator[](std::int32_t index);
  virtual DataRef operator[](const std::wstring& key);
  /// Number of elements; less than 1 where the value is no container.
  virtual std::int32_t Count() const;
  virtual bool Erase(std::int32_t index);
  virtual bool Erase(const std::wstring& key);
  /// Takes the value of another wrapper of the same kind; of another kind: no value.
  virtual void AssignFrom(const boost::shared_ptr<Data>& other);
  virtual bool operator>(const boost::shared_ptr<Data>& other) const;
  virtual bool operator<(const boost::shared_ptr<Data>& other) const;
  /// Type name and text; false where the type has no text form that reads back.
  virtual bool ToSerializedString(std::wstring& type, std::wstring& text) const;
  virtual bool FromSerializedString(const std::wstring& type, const std::wstring& text);
  /// Text indented by `depth` levels of nesting; `multiline` is set where it has more than one line.
  virtual std::wstring ToString(unsigned depth, bool& multiline) const;
  /// False, and the value unchanged, where the text is no such value.
  virtual bool FromString(const std::wstring& text);
  /// One line of at most 80 characters, for lists of values.
  virtual std::wstring ToShortString() const;
  virtual std::wstring ToReportString() const;
  /// The "Value" of the typed JSON form. False where the type has none.
  virtual bool ToJSON(JsonValue& json) const;
  virtual bool FromJSON(const JsonValue& json);
  virtual std::wstring GetHelpLink() const;
  virtual std::uint64_t SizeInBytes() const;
  virtual ~DataPart() = default;
};

/// A value on a port. Always held by boost::shared_ptr.
class Data : public DataPart, public korven::plugin::IPlugin {
 public:
  // Both bases are read through; the plug-in side answers with the type name.
  const wchar_t* Name() const override { return GetTypeName(); }
  std::wstring Description() const override;
  std::wstring Provider() const override;
  std::wstring Version() const override;
  std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>> TypeInfo() const override;

  /// To be called once, after the object is wrapped in a shared pointer.
  void Initialize() {}
  ObjectName GetDataTypeName() const { return ObjectName(GetTypeNamespace(), GetTypeName()); }
  /// The value as signed 32-bit by the conversions to Int; raises "Invalid conversion." otherwise.
  std::int32_t AsInt() const;
  static ObjectName DefaultTypeName() { return ObjectName(L"VANTIX", L"Data"); }

  /// A copy of the value as T, converted where it has to be. Raises "Null reference." or "Invalid conversion.".
  template <typename T>
  T GetDataValue() const;

  boost::shared_ptr<Data> SharedThis() { return boost::static_pointer_cast<Data>(shared_from_this()); }
  boost::shared_ptr<Data> SharedThis() const { return const_cast<Data*>(this)->SharedThis(); }
};

/// The wrapper of a value type, for Data::GetDataValue and the port reads: WrapperOf<double>::type is DoubleData.
template <typename T>
struct WrapperOf;

namespace detail {
[[noreturn]] void RaiseNoValue(const char* templateName, const std::type_info& type);
[[noreturn]] void RaiseGetDataValue(int line, const wchar_t* text);
}  // namespace detail

/// Holds a T by shared pointer, which may be null.
template <typename T>
class DataT : public Data {
 public:
  using ValueType = T;

  DataT() = default;
  explicit DataT(boost::shared_ptr<T> value) : value_(std::move(value)) {}

  const wchar_t* GetTypeNamespace() const override { return Data::GetTypeNamespace(); }
  const wchar_t* GetTypeName() const override { return Data::GetTypeName(); }
  // The same answers from slots of their own.
  virtual const wchar_t* GetTypeNamespace() { return static_cast<const DataT&>(*this).GetTypeNamespace(); }
  virtual const wchar_t* GetTypeName() { return static_cast<const DataT&>(*this).GetTypeName(); }
  virtual void SetDataPointer(const boost::shared_ptr<T>& value) { value_ = value; }
  /// Takes ownership.
  virtual void AdoptDataPointer(T* value) { value_.reset(value); }

  bool HasNoValue() const override { return !value_; }
  void AssignFrom(const boost::shared_ptr<Data>& other) override {
    const auto same = boost::dynamic_pointer_cast<DataT<T>>(other);
    SetDataPointer(same ? same->value_ : boost::shared_ptr<T>());
  }
  /// Raises where there is no value.
  T& GetDataValue() const {
    if (!value_) detail::RaiseNoValue("Tamrin::Tessera::DataT<...>::GetDataValue", typeid(T));
    return *value_;
  }
  const boost::shared_ptr<T>& GetDataPointer() const { return value_; }
  using Data::GetDataValue;

 protected:
  boost::shared_ptr<T> value_;
};

/// A DataT whose pointer is never null: zero from construction on.
template <typename T>
class ValueTypeDataT : public DataT<T> {
 public:
  ValueTypeDataT() : DataT<T>(boost::make_shared<T>()) {}
  explicit ValueTypeDataT(const T& value) : DataT<T>(boost::make_shared<T>(value)) {}
  explicit ValueTypeDataT(const boost::shared_ptr<T>& value) : DataT<T>(value ? value : boost::make_shared<T>()) {}
  void SetDataPointer(const boost::shared_ptr<T>& value) override {
    this->value_ = value ? value : boost::make_shared<T>();
  }
  void AdoptDataPointer(T* value) override {
    if (value)
      this->value_.reset(value);
    else
      this->value_ = boost::make_shared<T>();
  }
  /// "NULL : " in front tells that the promise above was broken.
  std::wstring ToString() const override { return (this->HasNoValue() ? L"NULL : " : L"") + DataT<T>::ToString(); }
  using DataPart::ToString;
};

template <typename T>
T Data::GetDataValue() const {
  // A wrapper of a T, whatever its type name, needs no conversion: files and directories are read as texts.
  const auto* typed = dynamic_cast<const DataT<T>*>(this);
  boost::shared_ptr<Data> converted;
  if (!typed) {
    converted = ConvertTo(WrapperOf<T>::type::DefaultTypeName());
    typed = dynamic_cast<const DataT<T>*>(converted.get());
  }
  if (!typed && !(converted && converted->HasNoValue())) detail::RaiseGetDataValue(242, L"Invalid conversion.");
  if (!typed || typed->HasNoValue()) detail::RaiseGetDataValue(238, L"Null reference.");
  return typed->GetDataValue();
}

/// W wrapped, initialised and holding the value. Two allocations where W can be made around its value.
template <typename W>
boost::shared_ptr<W> MakeData(typename W::ValueType value) {
  using Value = typename W::ValueType;
  boost::shared_ptr<W> data;
  if constexpr (std::is_base_of_v<ValueTypeDataT<Value>, W> && std::is_constructible_v<W, const Value&>) {
    data = boost::make_shared<W>(value);
  } else if constexpr (std::is_constructible_v<W, boost::shared_ptr<Value>>) {
    data = boost::make_shared<W>(boost::make_shared<Value>(std::move(value)));
  } else {
    data = boost::make_shared<W>();
    data->SetDataPointer(boost::make_shared<Value>(std::move(value)));
  }
  data->Initialize();
  return data;
}

}  // namespace Tamrin::Tessera
