#pragma once

#include <string>

#include "txlib/basicdata.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::Tessera {

/// Why a JSON value was refused, and where inside it. The path is put together from the inside out.
struct JsonFault {
  std::wstring error;
  std::wstring path;  ///< "[2].Value"; empty for the value itself
};

bool ListToJson(const DataListData& list, JsonValue& json);
bool ListFromJson(const JsonValue& json, DataListData& list, JsonFault& fault);
bool DictionaryToJson(const DictionaryData& dictionary, JsonValue& json);
bool DictionaryFromJson(const JsonValue& json, DictionaryData& dictionary, JsonFault& fault);

/// The value of JSON text in the form of a document; null where it has none.
boost::shared_ptr<Data> DataFromText(const std::wstring& text);

}  // namespace Tamrin::Tessera
