#pragma once

#include <string>
#include <string_view>

#include "txlib/basicdata.h"
#include "txlib/jsonfault.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::Tessera {

/// What a value is, for a message: "the string \"abc\"", "an array".
std::wstring DescribeJson(const JsonValue& json);
/// Puts a step in front of the path; false.
bool At(JsonFault& fault, std::string_view key);
bool At(JsonFault& fault, std::size_t index);

bool ListToJson(const DataListData& list, JsonValue& json);
bool ListFromJson(const JsonValue& json, DataListData& list, JsonFault& fault);
bool DictionaryToJson(const DictionaryData& dictionary, JsonValue& json);
bool DictionaryFromJson(const JsonValue& json, DictionaryData& dictionary, JsonFault& fault);

/// The value of JSON text in the form of a document; null where it has none.
boost::shared_ptr<Data> DataFromText(const std::wstring& text);

}  // namespace Tamrin::Tessera
