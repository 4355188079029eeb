#pragma once

#include "referencing/identifiedobject.h"

namespace iso::referencing::datum {

/// How a coordinate system is tied to a body.
class Datum : public IdentifiedObject {};

class GeodeticDatum : public Datum {};
class VerticalDatum : public Datum {};
class EngineeringDatum : public Datum {};
class ImageDatum : public Datum {};

}  // namespace iso::referencing::datum
