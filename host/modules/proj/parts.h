#pragma once

#include "context.h"

kprj::proj::Split SplitOf(Object system);
/// `system` is a vertical one.
kprj::proj::Vertical VerticalOf(const PJ* system);
std::optional<kprj::proj::DatumRow> ResolvedGeodeticDatum(const std::string& name);
bool BuildOf(const kprj::proj::Build& build, kprj::proj::Facts& facts, std::string& reason);
