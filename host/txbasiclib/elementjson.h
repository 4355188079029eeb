#pragma once

#include "kcommon/kgda.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::TesseraBasic {

Tessera::JsonValue ElementToJson(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column);
bool ElementFromJson(const Tessera::JsonValue& json, Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column);

}  // namespace Tamrin::TesseraBasic
