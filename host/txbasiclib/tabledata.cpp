#include "collectionimpl.h"
#include "kcommon/kstr.h"
#include "stackjson.h"
#include "stackparts.h"
#include "wrapperparts.h"

namespace Tamrin::TesseraBasic {
namespace {

using tessera::Data;
using tessera::JsonValue;
namespace JsonValueType = tessera::JsonValueType;

/// Order of tables, matrices and scalars.
const auto kOrder = [](const auto& a, const auto& b) { return OrderOfStacks(a.GetStack(), b.GetStack()); };

/// A bare array of numbers, or of texts and nulls, as the object form with the number type that goes with it.
bool ObjectOfArray(const JsonValue& elements, JsonValue& json) {
  bool allNumbers = true, allTexts = true;
  for (const JsonValue& element : elements.GetElements()) {
    allNumbers = allNumbers && element.IsNumber();
    allTexts = allTexts && (element.IsString() || element.IsNull());
  }
  if (!allNumbers && !allTexts) return false;
  json = JsonValue(JsonValueType::Object);
  json.Set("NumberType", JsonValue(static_cast<int>(allNumbers ? KgdaFloat64 : KgdaString)));
  json.Set("Values", elements);
  return true;
}

/// Rows of one length as the object form.
bool ObjectOfRows(const JsonValue& rows, JsonValue& json) {
  JsonValue elements(JsonValueType::Array);
  unsigned columns = 0;
  for (const JsonValue& row : rows.GetElements()) {
    if (!row.IsArray() || row.Count() == 0) return false;
    if (columns != 0 && row.Count() != columns) return false;
    columns = row.Count();
    for (const JsonValue& element : row.GetElements()) elements.Append(element);
  }
  if (!ObjectOfArray(elements, json)) return false;
  json.Set("Rows", JsonValue::FromUint64(rows.Count()));
  json.Set("Columns", JsonValue::FromUint64(columns));
  return true;
}

template <typename W>
bool ReadText(W& data, const std::wstring& text, bool (*toObject)(const JsonValue&, JsonValue&)) {
  JsonValue json, object;
  if (!json.Deserialize(text)) return false;
  if (json.IsObject()) return data.FromJSON(json);
  return json.IsArray() && toObject && toObject(json, object) && data.FromJSON(object);
}

/// Reads a stack and hands it on to `make`.
template <typename W, typename Read, typename Make>
bool ReadStack(W& data, const JsonValue& json, Read read, Make make) {
  if (json.IsNull()) {
    data.SetDataPointer(nullptr);
    return true;
  }
  KgdaBaseDataStack stack;
  if (!read(json, stack)) return false;
  data.SetDataPointer(make(std::move(stack)));
  return true;
}

template <typename W, typename Make>
boost::shared_ptr<Data> CopyStack(const W& data, Make make) {
  if (data.HasNoValue()) return boost::make_shared<W>();
  return boost::make_shared<W>(make(data.GetDataValue().GetStack()));
}

template <typename W>
std::uint64_t SizeOf(const W& data) {
  return sizeof(W) + (data.HasNoValue() ? 0 : StackSize(data.GetDataValue().GetStack()));
}

}  // namespace

// Tables.

std::wstring TableData::ToString() const {
  return HasNoValue() ? std::wstring() : ColumnText(GetDataValue().GetStack(), kNoLimit);
}

std::wstring TableData::ToShortString() const {
  return HasNoValue() ? std::wstring() : CutToLine(ColumnText(GetDataValue().GetStack(), kLineLength));
}

boost::shared_ptr<Data> TableData::Clone() const { return CopyStack(*this, &MakeTable); }

bool TableData::FromString(const std::wstring& text) { return ReadText(*this, text, &ObjectOfArray); }

bool TableData::ToJSON(JsonValue& json) const {
  json = HasNoValue() ? JsonValue() : TableToJson(GetDataValue().GetStack());
  return true;
}

bool TableData::FromJSON(const JsonValue& json) { return ReadStack(*this, json, &TableFromJson, &MakeTable); }

std::uint64_t TableData::SizeInBytes() const { return SizeOf(*this); }

tessera::DataRef TableData::operator[](std::int32_t index) {
  if (index < 0 || index >= Count()) return {};
  return tessera::DataRef(boost::make_shared<ScalarData>(GetDataValue().GetScalarAt(index)));
}

std::int32_t TableData::Count() const { return HasNoValue() ? 0 : GetDataValue().GetCount(); }

TESSERA_ORDER(TableData, kOrder)

// Matrices.

std::wstring MatrixData::ToString() const {
  return HasNoValue() ? std::wstring() : GridText(GetDataValue().GetStack(), kNoLimit);
}

std::wstring MatrixData::ToShortString() const {
  return HasNoValue() ? std::wstring() : CutToLine(GridText(GetDataValue().GetStack(), kLineLength));
}

boost::shared_ptr<Data> MatrixData::Clone() const { return CopyStack(*this, &MakeMatrix); }

bool MatrixData::FromString(const std::wstring& text) { return ReadText(*this, text, &ObjectOfRows); }

bool MatrixData::ToJSON(JsonValue& json) const {
  json = HasNoValue() ? JsonValue() : MatrixToJson(GetDataValue().GetStack());
  return true;
}

bool MatrixData::FromJSON(const JsonValue& json) { return ReadStack(*this, json, &MatrixFromJson, &MakeMatrix); }

std::uint64_t MatrixData::SizeInBytes() const { return SizeOf(*this); }

TESSERA_ORDER(MatrixData, kOrder)

// Scalars.

std::wstring ScalarData::ToString() const {
  if (HasNoValue()) return {};
  const Scalar& scalar = GetDataValue();
  if (scalar.IsColor()) return ColorText(scalar.GetColor());
  const Kgda_BaseDataLayer& layer = scalar.GetStack().GetLayer(0);
  if (scalar.GetStack().GetLayerCount() > 1) return GridText(scalar.GetStack(), kNoLimit);
  if (layer.pixelType != KgdaString) return ElementText(layer, 0, 0);
  const char* text = kgda_ElementAsString(layer, 0, 0);
  return text ? kstr_FromUtf8Lossy(text) : std::wstring();
}

boost::shared_ptr<Data> ScalarData::Clone() const { return CopyStack(*this, &MakeScalar); }

bool ScalarData::FromString(const std::wstring& text) {
  double number = 0;
  std::vector<double> parts;
  if (ReadDouble(text, number)) {
    SetDataPointer(CreateScalar(number, KgdaFloat64));
  } else if (ReadDoubles(text, parts) && (parts.size() == 3 || parts.size() == 4)) {
    SetDataPointer(CreateColorScalar(Color(parts[0], parts[1], parts[2], parts.size() == 4 ? parts[3] : 1)));
  } else {
    SetDataPointer(CreateStringScalar(text));
  }
  return true;
}

bool ScalarData::ToJSON(JsonValue& json) const {
  json = HasNoValue() ? JsonValue() : ScalarToJson(GetDataValue().GetStack());
  return true;
}

bool ScalarData::FromJSON(const JsonValue& json) { return ReadStack(*this, json, &ScalarFromJson, &MakeScalar); }

std::uint64_t ScalarData::SizeInBytes() const { return SizeOf(*this); }

TESSERA_ORDER(ScalarData, kOrder)

// Stacks.

std::wstring BaseDataStackData::ToString() const {
  return HasNoValue() ? std::wstring() : GridText(GetDataValue(), kNoLimit);
}

std::wstring BaseDataStackData::ToShortString() const {
  return HasNoValue() ? std::wstring() : CutToLine(GridText(GetDataValue(), kLineLength));
}

boost::shared_ptr<Data> BaseDataStackData::Clone() const { return CopyOf(*this); }

bool BaseDataStackData::FromString(const std::wstring& text) { return ReadText(*this, text, nullptr); }

bool BaseDataStackData::ToJSON(JsonValue& json) const {
  json = HasNoValue() ? JsonValue() : StackToJson(GetDataValue());
  return true;
}

bool BaseDataStackData::FromJSON(const JsonValue& json) { return ReadJson(*this, json, &StackFromJson); }

std::uint64_t BaseDataStackData::SizeInBytes() const {
  return sizeof(BaseDataStackData) + (HasNoValue() ? 0 : StackSize(GetDataValue()));
}

TESSERA_ORDER(BaseDataStackData, &OrderOfStacks)

}  // namespace Tamrin::TesseraBasic
