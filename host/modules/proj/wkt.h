#pragma once

#include "context.h"

kprj::proj::WktResult ReadWktText(const std::string& text);
/// Empty where it has no such form.
std::string EsriTextOf(const PJ* system);
std::string Wkt2Of(const PJ* system);
