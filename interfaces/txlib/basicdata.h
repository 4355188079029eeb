#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "txlib/data.h"
#include "txlib/dictionary.h"

/// The identity that every wrapper gives: its class's type name, known with and without an instance.
#define TESSERA_DATA_TYPE(typeName)                                                        \
  static ::Tamrin::Tessera::ObjectName DefaultTypeName() { return {L"VANTIX", typeName}; } \
  const wchar_t* GetTypeNamespace() const override { return L"VANTIX"; }                   \
  const wchar_t* GetTypeName() const override { return typeName; }

/// The operations that every wrapper of a value answers itself.
#define TESSERA_DATA_OPERATIONS                                                           \
  std::wstring ToString() const override;                                                 \
  using ::Tamrin::Tessera::DataPart::ToString;                                            \
  boost::shared_ptr<::Tamrin::Tessera::Data> Clone() const override;                      \
  bool operator>(const boost::shared_ptr<::Tamrin::Tessera::Data>& other) const override; \
  bool operator<(const boost::shared_ptr<::Tamrin::Tessera::Data>& other) const override; \
  bool FromString(const std::wstring& text) override;                                     \
  bool ToJSON(::Tamrin::Tessera::JsonValue& json) const override;                         \
  bool FromJSON(const ::Tamrin::Tessera::JsonValue& json) override;                       \
  std::uint64_t SizeInBytes() const override;

namespace Tamrin::Tessera {

class BoolData : public ValueTypeDataT<bool> {
 public:
  using ValueTypeDataT<bool>::ValueTypeDataT;
  TESSERA_DATA_TYPE(L"Bool")
  TESSERA_DATA_OPERATIONS
};

/// Text rules of the numbers: decimal, classic locale, the whole text.
template <typename T>
class NumberData : public ValueTypeDataT<T> {
 public:
  using ValueTypeDataT<T>::ValueTypeDataT;
  using DataPart::ToString;
  std::wstring ToString() const override;
  /// A failure is logged, the old value stays, and the result is false.
  bool FromString(const std::wstring& text) override;
};

class IntData : public NumberData<int> {
 public:
  using NumberData<int>::NumberData;
  TESSERA_DATA_TYPE(L"Int")
  boost::shared_ptr<Data> Clone() const override;
  bool operator>(const boost::shared_ptr<Data>& other) const override;
  bool operator<(const boost::shared_ptr<Data>& other) const override;
  bool ToJSON(JsonValue& json) const override;
  bool FromJSON(const JsonValue& json) override;
  std::uint64_t SizeInBytes() const override;
};

class UnsignedData : public NumberData<unsigned int> {
 public:
  using NumberData<unsigned int>::NumberData;
  TESSERA_DATA_TYPE(L"Unsigned")
  boost::shared_ptr<Data> Clone() const override;
  bool operator>(const boost::shared_ptr<Data>& other) const override;
  bool operator<(const boost::shared_ptr<Data>& other) const override;
  bool ToJSON(JsonValue& json) const override;
  bool FromJSON(const JsonValue& json) override;
  std::uint64_t SizeInBytes() const override;
};

class DoubleData : public NumberData<double> {
 public:
  using NumberData<double>::NumberData;
  TESSERA_DATA_TYPE(L"Double")
  /// With the stream's default precision of 6.
  std::wstring ToShortString() const override;
  /// The shortest text that reads back the same.
  std::wstring ToReportString() const override;
  boost::shared_ptr<Data> Clone() const override;
  bool operator>(const boost::shared_ptr<Data>& other) const override;
  bool operator<(const boost::shared_ptr<Data>& other) const override;
  bool ToJSON(JsonValue& json) const override;
  bool FromJSON(const JsonValue& json) override;
  std::uint64_t SizeInBytes() const override;
};

/// String values and those that can be read as one.
class StringData : public DataT<std::wstring> {
 public:
  StringData() = default;
  explicit StringData(const std::wstring& text) : DataT<std::wstring>(boost::make_shared<std::wstring>(text)) {}
  explicit StringData(boost::shared_ptr<std::wstring> text) : DataT<std::wstring>(std::move(text)) {}
  TESSERA_DATA_TYPE(L"String")
  TESSERA_DATA_OPERATIONS
};

class FileData : public StringData {
 public:
  using StringData::StringData;
  TESSERA_DATA_TYPE(L"File")
  boost::shared_ptr<Data> Clone() const override;
};

class DirectoryData : public StringData {
 public:
  using StringData::StringData;
  TESSERA_DATA_TYPE(L"Directory")
  boost::shared_ptr<Data> Clone() const override;
};

class StringListData : public DataT<std::vector<std::wstring>> {
 public:
  using DataT<std::vector<std::wstring>>::DataT;
  TESSERA_DATA_TYPE(L"StringList")
  TESSERA_DATA_OPERATIONS
  std::wstring ToShortString() const override;
  std::wstring ToReportString() const override;
  DataRef operator[](std::int32_t index) override;
  using Data::operator[];
  std::int32_t Count() const override;
  bool Erase(std::int32_t index) override;
  using Data::Erase;
};

using DataList = std::vector<boost::shared_ptr<Data>>;

/// A heterogeneous list; items may be null. Its text is the JSON of a document, as far as the items have one; such
/// text is read back.
class DataListData : public DataT<DataList> {
 public:
  using DataT<DataList>::DataT;
  ~DataListData() override;
  TESSERA_DATA_TYPE(L"List")
  TESSERA_DATA_OPERATIONS
  std::wstring ToShortString() const override;
  std::wstring ToString(unsigned depth, bool& multiline) const override;
  std::wstring ToReportString() const override;
  DataRef operator[](std::int32_t index) override;
  using Data::operator[];
  std::int32_t Count() const override;
  bool Erase(std::int32_t index) override;
  using Data::Erase;
};

class DictionaryData : public DataT<Dictionary> {
 public:
  using DataT<Dictionary>::DataT;
  TESSERA_DATA_TYPE(L"Dictionary")
  TESSERA_DATA_OPERATIONS
  std::wstring ToShortString() const override;
  std::wstring ToString(unsigned depth, bool& multiline) const override;
  std::wstring ToReportString() const override;
  std::vector<std::wstring> GetKeys() const override;
  DataRef operator[](std::int32_t index) override;
  DataRef operator[](const std::wstring& key) override;
  std::int32_t Count() const override;
  bool Erase(std::int32_t index) override;
  bool Erase(const std::wstring& key) override;
};

template <>
struct WrapperOf<bool> {
  using type = BoolData;
};
template <>
struct WrapperOf<int> {
  using type = IntData;
};
template <>
struct WrapperOf<unsigned int> {
  using type = UnsignedData;
};
template <>
struct WrapperOf<double> {
  using type = DoubleData;
};
template <>
struct WrapperOf<std::wstring> {
  using type = StringData;
};
template <>
struct WrapperOf<std::vector<std::wstring>> {
  using type = StringListData;
};
template <>
struct WrapperOf<DataList> {
  using type = DataListData;
};
template <>
struct WrapperOf<Dictionary> {
  using type = DictionaryData;
};

}  // namespace Tamrin::Tessera
