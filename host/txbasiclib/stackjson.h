#pragma once

#include <string_view>

#include "kcommon/kgda.h"
#include "txbasiclib/color.h"
#include "txlib/jsonvalue.h"

/// Stacks and their parts as JSON. Readers give false, and leave their target alone, for what is no such value;
/// sizes are checked against the elements that are there before anything is made. What is wrong they tell a
/// Tessera::JsonFaultScope.
namespace Tamrin::TesseraBasic {

Tessera::JsonValue DoubleToJson(double value);
bool DoubleFromJson(const Tessera::JsonValue& json, double& value);
/// Of an object, where it must be.
bool DoubleMember(const Tessera::JsonValue& json, std::string_view key, double& value);

/// [r, g, b, opacity]; opacity may be left out when read.
Tessera::JsonValue ColorToJsonArray(const Color& color);
bool ColorFromJsonArray(const Tessera::JsonValue& json, Color& color);

/// A code or its name, whatever the case.
bool ElementTypeFromJson(const Tessera::JsonValue& json, Kgda_PixelType& type);

Tessera::JsonValue TableToJson(const KgdaBaseDataStack& stack);
bool TableFromJson(const Tessera::JsonValue& json, KgdaBaseDataStack& stack);
Tessera::JsonValue MatrixToJson(const KgdaBaseDataStack& stack);
bool MatrixFromJson(const Tessera::JsonValue& json, KgdaBaseDataStack& stack);
Tessera::JsonValue ScalarToJson(const KgdaBaseDataStack& stack);
bool ScalarFromJson(const Tessera::JsonValue& json, KgdaBaseDataStack& stack);
Tessera::JsonValue StackToJson(const KgdaBaseDataStack& stack);
bool StackFromJson(const Tessera::JsonValue& json, KgdaBaseDataStack& stack);

Tessera::JsonValue BinFunctionToJson(const Kdsc_BinFunction& function);
bool BinFunctionFromJson(const Tessera::JsonValue& json, Kdsc_BinFunction& function);

}  // namespace Tamrin::TesseraBasic
