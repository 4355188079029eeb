#include <algorithm>

#include "documentreader.h"
#include "kcommon/kstr.h"
#include "txlib/basicdata.h"
#include "txlib/conversion.h"
#include "txlib/datajson.h"

namespace Tamrin::Tessera {

namespace {

using DataPtr = boost::shared_ptr<Data>;

/// A bare value of a type that the port does not take, in the port's first type; as it is where that can't be.
DataPtr Turned(const Port& port, const DataPtr& data) {
  if (port.SupportsType(data->GetDataTypeName())) return data;
  const ObjectName& type = port.GetSupportedDataTypes().front();
  if (DataPtr converted = data->ConvertTo(type)) return converted;
  const auto* text = dynamic_cast<const StringData*>(data.get());
  if (!text || text->HasNoValue()) return data;
  const DataPtr read = DataFactory::Create(type);
  return read && read->FromString(text->GetDataValue()) ? read : data;
}

void CheckAcceptable(DocumentReading& reading, const Port& port, const Data& data, const DocumentPlace& place) {
  if (port.GetAttributeMap().empty()) return;
  const auto* text = dynamic_cast<const StringData*>(&data);
  const auto offer = boost::dynamic_pointer_cast<StringListData>(port.GetAttribute(L"AcceptableValues"));
  if (!text || text->HasNoValue() || !offer || offer->HasNoValue()) return;
  const auto& values = offer->GetDataValue();
  const std::wstring& value = text->GetDataValue();
  if (values.empty() || std::find(values.begin(), values.end(), value) != values.end()) return;
  std::wstring listed;
  for (const std::wstring& each : values) listed += (listed.empty() ? L"\"" : L", \"") + each + L"\"";
  reading.faults.Warn(place, L"found the string \"" + value + L"\", expected one of " + listed);
}

}  // namespace

void ReadPortValue(DocumentReading& reading, std::size_t op, Port& port, const JsonValue& json,
                   const DocumentPlace& place, DataPtr& applied) {
  DataPtr data;
  std::wstring error;
  std::string inside;
  if (!DataFromDocumentJson(json, data, error, inside)) {
    const bool needsStop = !inside.empty() && inside.front() != '.' && inside.front() != '[';
    reading.faults.Add(place.ToText() + (needsStop ? "." : "") + inside, error, false);
    return;
  }
  reading.Guard(place, [&] {
    if (data) {
      if (!IsTypedJson(json)) data = Turned(port, data);
      CheckAcceptable(reading, port, *data, place);
    }
    applied = data;
    reading.Do([op, name = port.GetName(), data](const DocumentCopy& copy) {
      const auto& target = copy.PortOf(op, name);
      if (!data) target->SetDefaultData(nullptr);
      target->SetData(data);
    });
  });
}

void ReadAttributes(DocumentReading& reading, std::size_t op, const JsonValue& json, const DocumentPlace& place,
                    std::vector<DataPtr>& applied) {
  if (!reading.IsObject(json, place)) return;
  applied.resize(json.Count());
  std::size_t index = 0;
  for (const JsonValue::Member& member : json.GetMembers()) {
    std::wstring error;
    std::string inside;
    DataPtr& data = applied[index++];
    const DocumentPlace memberPlace(place, member.key);
    if (DataFromDocumentJson(member.value, data, error, inside))
      reading.Do(
          [op, key = Wide(member.key), data](const DocumentCopy& copy) { copy.Op(op)->SetAttribute(key, data); });
    else
      reading.faults.Add(memberPlace.ToText() + inside, error, false);
  }
}

}  // namespace Tamrin::Tessera
