#include "datatext.h"
#include "txlib/basicdata.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::Tessera {
namespace {

template <typename W>
boost::shared_ptr<Data> Copy(const W& data) {
  if (data.HasNoValue()) return boost::make_shared<W>();
  return MakeData<W>(data.GetDataValue());
}

}  // namespace

std::wstring StringData::ToString() const { return HasNoValue() ? std::wstring() : GetDataValue(); }

bool StringData::FromString(const std::wstring& text) {
  SetDataPointer(boost::make_shared<std::wstring>(text));
  return true;
}

bool StringData::ToJSON(JsonValue& json) const {
  json = HasNoValue() ? JsonValue() : JsonValue(GetDataValue());
  return true;
}

bool StringData::FromJSON(const JsonValue& json) {
  if (json.IsNull())
    SetDataPointer(nullptr);
  else if (json.IsString())
    SetDataPointer(boost::make_shared<std::wstring>(json.AsString()));
  else
    return false;
  return true;
}

boost::shared_ptr<Data> StringData::Clone() const { return Copy(*this); }
boost::shared_ptr<Data> FileData::Clone() const { return Copy(*this); }
boost::shared_ptr<Data> DirectoryData::Clone() const { return Copy(*this); }

bool StringData::operator>(const boost::shared_ptr<Data>& other) const {
  return !other || CompareData(*this, *other) > 0;
}

bool StringData::operator<(const boost::shared_ptr<Data>& other) const {
  return other && CompareData(*this, *other) < 0;
}

std::uint64_t StringData::SizeInBytes() const {
  return sizeof(StringData) + (HasNoValue() ? 0 : sizeof(std::wstring) + GetDataValue().size() * sizeof(wchar_t));
}

}  // namespace Tamrin::Tessera
