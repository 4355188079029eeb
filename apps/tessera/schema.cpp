#include <set>

#include "kcommon/kstr.h"
#include "program.h"
#include "txlib/conversion.h"
#include "txlib/datajson.h"
#include "txlib/factories.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;

namespace {

/// What doesn't depend on the catalogue. A value may be plain JSON wherever one stands: whether it suits its port is
/// found by conversions, when the model is opened or run.
constexpr const char* kFrame = R"({
  "$schema": "https://json-schema.org/draft/2020-12/schema",
  "title": "Tessera model document",
  "type": "object",
  "required": ["format", "version"],
  "properties": {
    "format": {"const": "TesseraModelFormat"},
    "version": {"const": 1},
    "operator": {"$ref": "#/$defs/operatorName", "description": "What the model is; VANTIX.Model where it is left out"}
  },
  "$ref": "#/$defs/model",
  "$defs": {
    "model": {
      "type": "object",
      "properties": {
        "name": {"type": "string"},
        "namespace": {"type": "string"},
        "displayName": {"type": "string"},
        "displayCategory": {"type": "string"},
        "icon": {"type": "string"},
        "description": {"type": "string"},
        "keywords": {"type": "string"},
        "ports": {"type": "array", "items": {"$ref": "#/$defs/modelPort"}},
        "operators": {"type": "array", "items": {"$ref": "#/$defs/operator"}},
        "connections": {
          "type": "array",
          "items": {
            "type": "object",
            "required": ["from", "to"],
            "properties": {"from": {"$ref": "#/$defs/place"}, "to": {"$ref": "#/$defs/place"}}
          }
        },
        "order": {
          "type": "array",
          "items": {
            "type": "object",
            "required": ["before", "after"],
            "properties": {"before": {"$ref": "#/$defs/id"}, "after": {"$ref": "#/$defs/id"}}
          }
        },
        "tails": {"type": "array", "items": {"$ref": "#/$defs/id"}},
        "attributes": {"$ref": "#/$defs/values"}
      }
    },
    "id": {"type": "string", "pattern": "^[A-Za-z0-9_-]+$"},
    "place": {"type": "string", "pattern": "^[A-Za-z0-9_-]+[.].+$", "description": "ID.PORT"},
    "modelPort": {
      "type": "object",
      "required": ["name", "alias"],
      "properties": {
        "name": {"type": "string", "minLength": 1},
        "alias": {
          "anyOf": [
            {"$ref": "#/$defs/place"},
            {"type": "array", "items": {"$ref": "#/$defs/place"}, "minItems": 1}
          ]
        },
        "value": {"$ref": "#/$defs/value"},
        "displayName": {"type": "string"},
        "optional": {"type": "boolean"},
        "hidden": {"type": "boolean"}
      }
    },
    "operator": {
      "type": "object",
      "required": ["id", "operator"],
      "properties": {
        "id": {"$ref": "#/$defs/id"},
        "operator": {"$ref": "#/$defs/operatorName"},
        "displayName": {"type": "string"},
        "expansions": {"type": "integer", "minimum": -20000, "maximum": 20000},
        "values": {"$ref": "#/$defs/values"},
        "attributes": {"$ref": "#/$defs/values"},
        "ports": {
          "type": "array",
          "items": {
            "type": "object",
            "required": ["name"],
            "properties": {
              "name": {"type": "string", "minLength": 1},
              "kind": {"enum": ["input", "output", "setting"]},
              "type": {"type": "string"},
              "displayName": {"type": "string"},
              "optional": {"type": "boolean"},
              "hidden": {"type": "boolean"},
              "removed": {"type": "boolean"}
            }
          }
        },
        "model": {"$ref": "#/$defs/model"}
      }
    },
    "operatorName": {
      "description": "NAMESPACE.NAME; one that isn't known keeps its place, and fails only when it is run",
      "anyOf": [{"enum": []}, {"type": "string", "minLength": 1}]
    },
    "values": {"type": "object", "additionalProperties": {"$ref": "#/$defs/value"}},
    "value": {
      "anyOf": [
        {"type": ["null", "boolean", "number", "string"]},
        {"type": "array", "items": {"$ref": "#/$defs/value"}},
        {
          "type": "object",
          "if": {"required": ["Type", "Value"], "maxProperties": 2},
          "then": {"$ref": "#/$defs/typedValue"},
          "else": {"additionalProperties": {"$ref": "#/$defs/value"}}
        }
      ]
    },
    "typedValue": {
      "description": "A value of exactly that type; null for no data",
      "properties": {"Type": {"anyOf": [{"enum": []}, {"type": "string", "minLength": 1}]}},
      "allOf": []
    },
    "item": {"anyOf": [{"type": "null"}, {"$ref": "#/$defs/value"}]},
    "stack": {"type": "object"},
    "real": {"anyOf": [{"type": "number"}, {"enum": ["NaN", "Infinity", "-Infinity"]}]}
  }
})";

/// The "Value" of the types that have one to be told of.
constexpr std::pair<const char*, const char*> kTypes[] = {
    {"Bool", R"({"type": "boolean"})"},
    {"Int", R"({"type": "integer", "minimum": -2147483648, "maximum": 2147483647})"},
    {"Unsigned", R"({"type": "integer", "minimum": 0, "maximum": 4294967295})"},
    {"Double", R"({"$ref": "#/$defs/real"})"},
    {"String", R"({"type": "string"})"},
    {"File", R"({"type": "string"})"},
    {"Directory", R"({"type": "string"})"},
    {"DistanceUnitType", R"({"type": "string"})"},
    {"VectorFeatureType", R"({"type": "string"})"},
    {"Password", R"({"type": "string"})"},
    {"DateTime", R"({"type": "string"})"},
    {"StringList", R"({"type": "array", "items": {"type": "string"}})"},
    {"List", R"({"type": "array", "items": {"$ref": "#/$defs/item"}})"},
    {"Dictionary", R"({"type": "object", "additionalProperties": {"$ref": "#/$defs/item"}})"},
    {"NumberType", R"({"type": ["string", "integer"]})"},
    {"SimpleDataType", R"({"type": ["string", "integer"]})"},
    {"Table", R"({"$ref": "#/$defs/stack"})"},
    {"Matrix", R"({"$ref": "#/$defs/stack"})"},
    {"Scalar", R"({"$ref": "#/$defs/stack"})"},
    {"BaseDataStack", R"({"$ref": "#/$defs/stack", "required": ["Layers"]})"},
    {"AttributeTable", R"({"$ref": "#/$defs/stack", "required": ["Columns"]})"},
    {"Range", R"({"type": "object", "required": ["Start", "End"]})"},
    {"RangeList", R"({"type": "array", "items": {"type": "object", "required": ["Start", "End"]}})"},
    {"Color", R"({"type": "object", "required": ["Red", "Green", "Blue"]})"},
    {"CoordinateReferenceSystemID", R"({"type": "object", "required": ["Authority", "Code"]})"},
};

JsonValue Parse(const char* text) {
  JsonValue json;
  std::string error;
  if (!json.DeserializeUtf8(text, false, &error)) throw Refusal(L"the schema's frame: " + kstr_FromUtf8Lossy(error));
  return json;
}

/// {"if": {"properties": {KEY: {"const": NAME}}}, "then": {"properties": {INSIDE: SCHEMA}}}
JsonValue Case(const char* key, const std::wstring& name, const char* inside, JsonValue schema) {
  JsonValue json(JsonValueType::Object);
  json[L"if"][L"properties"].Member8(key)[L"const"] = JsonValue(name);
  json[L"if"][L"required"].Append(JsonValue(kstr_FromUtf8Lossy(key)));
  json[L"then"][L"properties"].Set(inside, std::move(schema));
  return json;
}

void AddTypes(JsonValue& typed) {
  JsonValue& names = typed[L"properties"][L"Type"][L"anyOf"][0][L"enum"];
  for (const ObjectName& name : DataFactory::GetNames()) names.Append(JsonValue(name.ToString()));
  for (const auto& [name, text] : kTypes) {
    JsonValue schema(JsonValueType::Object);
    schema[L"anyOf"].Append(Parse(R"({"type": "null"})"));
    schema[L"anyOf"].Append(Parse(text));
    typed[L"allOf"].Append(Case("Type", L"VANTIX." + kstr_FromUtf8Lossy(name), "Value", std::move(schema)));
  }
}

JsonValue DescribePort(Port& port) {
  JsonValue json(JsonValueType::Object);
  json[L"title"] = JsonValue(port.GetDisplayName());
  std::wstring types;
  for (const ObjectName& type : port.GetSupportedDataTypes()) types += (types.empty() ? L"" : L" | ") + type.ToString();
  json[L"description"] = JsonValue(types + (port.IsOptional() ? L", optional" : L""));
  JsonValue value;
  if (port.GetDefaultData() && DataToTypedJson(port.GetDefaultData(), value)) json[L"default"] = value;
  // An offer, not a bound: examples, which editors offer as well.
  const auto& attributes = port.GetAttributeMap();
  const auto offered = attributes.find(L"AcceptableValues");
  if (offered != attributes.end() && offered->second && DataToTypedJson(offered->second, value) &&
      value[L"Value"].IsArray() && value[L"Value"].Count() > 0)
    json[L"examples"] = value[L"Value"];
  json[L"$ref"] = JsonValue(L"#/$defs/value");
  return json;
}

JsonValue DescribeValues(Operator& op) {
  JsonValue json(JsonValueType::Object);
  JsonValue properties(JsonValueType::Object);
  std::set<std::wstring> families;
  for (const auto& port : op.GetPorts()) {
    if (port->IsOutput()) continue;
    properties.Set(kstr_ToUtf8(port->GetName()), DescribePort(*port));
    const std::size_t end = port->GetName().find_last_not_of(L"0123456789");
    families.insert(port->GetName().substr(0, end + 1));
  }
  json[L"properties"] = std::move(properties);
  if (op.IsExpandible()) {
    for (const std::wstring& family : families)
      json[L"patternProperties"][L"^" + family + L"[0-9]+$"][L"$ref"] = JsonValue(L"#/$defs/value");
  }
  return json;
}

void AddOperators(JsonValue& definitions) {
  JsonValue& names = definitions[L"operatorName"][L"anyOf"][0][L"enum"];
  JsonValue& cases = definitions[L"operator"][L"allOf"];
  for (const std::wstring& name : OperatorFactory::GetNames()) {
    names.Append(JsonValue(name));
    const std::size_t stop = name.find(L'.');
    const auto op = OperatorFactory::Create(name.substr(0, stop), name.substr(stop + 1));
    if (!op) continue;
    JsonValue one = Case("operator", name, "values", DescribeValues(*op));
    one[L"then"][L"title"] = JsonValue(op->GetDisplayName());
    one[L"then"][L"description"] = JsonValue(op->GetDescription());
    cases.Append(std::move(one));
  }
}

}  // namespace

int Schema(const Arguments&) {
  JsonValue schema = Parse(kFrame);
  AddTypes(schema[L"$defs"][L"typedValue"]);
  AddOperators(schema[L"$defs"]);
  PrintJson(schema);
  return kDone;
}

}  // namespace TesseraProgram
