#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

#include "txlib/data.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::Tessera {

/// {"Type": "VANTIX.Int", "Value": 5}. A null pointer gives {"Type": "VANTIX.Data", "Value": null}. False
/// where the value has no JSON form.
bool DataToTypedJson(const boost::shared_ptr<Data>& data, JsonValue& json);

/// The value of a typed JSON object; a null pointer where "Value" is null. False, and `error` says what was
/// found and expected, where the type is unknown or can't read the value.
bool DataFromTypedJson(const JsonValue& json, boost::shared_ptr<Data>& data, std::wstring& error);

/// A value of a document: typed, or bare by the table of the document format. `path` is the place inside
/// `json` where the error lies, such as "[2].Value"; empty for the value itself.
bool DataFromDocumentJson(const JsonValue& json, boost::shared_ptr<Data>& data, std::wstring& error, std::string& path);
/// True for an object whose keys are exactly "Type" and "Value".
bool IsTypedJson(const JsonValue& json);

}  // namespace Tamrin::Tessera
