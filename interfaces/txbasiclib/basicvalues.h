#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "txbasiclib/collections.h"
#include "txbasiclib/color.h"
#include "txbasiclib/rangeclass.h"
#include "txlib/basicdata.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::TesseraBasic {

namespace tessera = ::Tamrin::Tessera;

class TableData : public tessera::DataT<Table> {
 public:
  using DataT<Table>::DataT;
  TESSERA_DATA_TYPE(L"Table")
  TESSERA_DATA_OPERATIONS
  std::wstring ToShortString() const override;
  std::wstring ToReportString() const override;              ///< a row a line, where one line does not hold them
  tessera::DataRef operator[](std::int32_t index) override;  ///< the row as a Scalar; assigning leaves the table alone
  using Data::operator[];
  std::int32_t Count() const override;
};

class MatrixData : public tessera::DataT<Matrix> {
 public:
  using DataT<Matrix>::DataT;
  TESSERA_DATA_TYPE(L"Matrix")
  TESSERA_DATA_OPERATIONS
  std::wstring ToShortString() const override;
  std::wstring ToReportString() const override;  ///< a row a line, where one line does not hold them
};

class ScalarData : public tessera::DataT<Scalar> {
 public:
  using DataT<Scalar>::DataT;
  TESSERA_DATA_TYPE(L"Scalar")
  TESSERA_DATA_OPERATIONS
};

class BaseDataStackData : public tessera::DataT<KgdaBaseDataStack> {
 public:
  using DataT<KgdaBaseDataStack>::DataT;
  TESSERA_DATA_TYPE(L"BaseDataStack")
  TESSERA_DATA_OPERATIONS
  std::wstring ToShortString() const override;
};

class AttributeTableData : public tessera::DataT<AttributeTable> {
 public:
  using DataT<AttributeTable>::DataT;
  TESSERA_DATA_TYPE(L"AttributeTable")
  TESSERA_DATA_OPERATIONS
  std::wstring ToReportString() const override;  ///< a column a line, where one line does not hold them
  std::vector<std::wstring> GetKeys() const override;
  tessera::DataRef operator[](const std::wstring& key) override;
  using Data::operator[];
};

class RangeData : public tessera::DataT<RangeClass> {
 public:
  using DataT<RangeClass>::DataT;
  TESSERA_DATA_TYPE(L"Range")
  TESSERA_DATA_OPERATIONS
  std::vector<std::wstring> GetKeys() const override;
  tessera::DataRef operator[](const std::wstring& key) override;
  using Data::operator[];
};

using RangeVector = std::vector<RangeClass>;

class RangeListData : public tessera::DataT<RangeVector> {
 public:
  using DataT<RangeVector>::DataT;
  TESSERA_DATA_TYPE(L"RangeList")
  TESSERA_DATA_OPERATIONS
  tessera::DataRef operator[](std::int32_t index) override;
  using Data::operator[];
  std::int32_t Count() const override;
};

class ColorData : public tessera::DataT<Color> {
 public:
  using DataT<Color>::DataT;
  TESSERA_DATA_TYPE(L"Color")
  TESSERA_DATA_OPERATIONS
  std::vector<std::wstring> GetKeys() const override;
  tessera::DataRef operator[](const std::wstring& key) override;
  using Data::operator[];
};

/// Any JSON; FromString takes strict JSON text.
class JsonData : public tessera::DataT<tessera::JsonValue> {
 public:
  using DataT<tessera::JsonValue>::DataT;
  TESSERA_DATA_TYPE(L"Json")
  TESSERA_DATA_OPERATIONS
  std::wstring ToReportString() const override;  ///< over several lines, where one does not hold it
  std::vector<std::wstring> GetKeys() const override;
  tessera::DataRef operator[](std::int32_t index) override;
  tessera::DataRef operator[](const std::wstring& key) override;
  std::int32_t Count() const override;
};

/// A moment without time zone, to the microsecond; ISO 8601 text ("2024-05-17T08:30:00.25").
class DateTimeData : public tessera::DataT<boost::posix_time::ptime> {
 public:
  using DataT<boost::posix_time::ptime>::DataT;
  TESSERA_DATA_TYPE(L"DateTime")
  TESSERA_DATA_OPERATIONS
};

/// The code of an element type. SimpleDataType adds the two codes below.
struct NumberTypeCode {
  std::uint32_t code = 0;
};
struct SimpleDataTypeCode {
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;  ///< no type given
  static constexpr std::uint32_t kColor = 0xFFFFFFFE;
  std::uint32_t code = kNone;
};

class NumberTypeData : public tessera::DataT<NumberTypeCode> {
 public:
  using DataT<NumberTypeCode>::DataT;
  TESSERA_DATA_TYPE(L"NumberType")
  TESSERA_DATA_OPERATIONS
};

class SimpleDataTypeData : public tessera::DataT<SimpleDataTypeCode> {
 public:
  using DataT<SimpleDataTypeCode>::DataT;
  TESSERA_DATA_TYPE(L"SimpleDataType")
  TESSERA_DATA_OPERATIONS
};

/// Text that is never shown: report and short texts are "********", ToJSON gives false.
class PasswordData : public tessera::StringData {
 public:
  using StringData::StringData;
  TESSERA_DATA_TYPE(L"Password")
  boost::shared_ptr<tessera::Data> Clone() const override;
  bool ToJSON(tessera::JsonValue& json) const override;
  std::wstring ToShortString() const override;
  std::wstring ToReportString() const override;
};

class DistanceUnitTypeData : public tessera::StringData {
 public:
  using StringData::StringData;
  TESSERA_DATA_TYPE(L"DistanceUnitType")
  boost::shared_ptr<tessera::Data> Clone() const override;
};

class VectorFeatureTypeData : public tessera::StringData {
 public:
  using StringData::StringData;
  TESSERA_DATA_TYPE(L"VectorFeatureType")
  boost::shared_ptr<tessera::Data> Clone() const override;
};

}  // namespace Tamrin::TesseraBasic

namespace Tamrin::Tessera {
template <>
struct WrapperOf<TesseraBasic::Table> {
  using type = TesseraBasic::TableData;
};
template <>
struct WrapperOf<TesseraBasic::Matrix> {
  using type = TesseraBasic::MatrixData;
};
template <>
struct WrapperOf<TesseraBasic::Scalar> {
  using type = TesseraBasic::ScalarData;
};
template <>
struct WrapperOf<KgdaBaseDataStack> {
  using type = TesseraBasic::BaseDataStackData;
};
template <>
struct WrapperOf<TesseraBasic::AttributeTable> {
  using type = TesseraBasic::AttributeTableData;
};
template <>
struct WrapperOf<TesseraBasic::RangeClass> {
  using type = TesseraBasic::RangeData;
};
template <>
struct WrapperOf<TesseraBasic::RangeVector> {
  using type = TesseraBasic::RangeListData;
};
template <>
struct WrapperOf<TesseraBasic::Color> {
  using type = TesseraBasic::ColorData;
};
template <>
struct WrapperOf<TesseraBasic::NumberTypeCode> {
  using type = TesseraBasic::NumberTypeData;
};
template <>
struct WrapperOf<TesseraBasic::SimpleDataTypeCode> {
  using type = TesseraBasic::SimpleDataTypeData;
};
template <>
struct WrapperOf<JsonValue> {
  using type = TesseraBasic::JsonData;
};
template <>
struct WrapperOf<boost::posix_time::ptime> {
  using type = TesseraBasic::DateTimeData;
};
}  // namespace Tamrin::Tessera
