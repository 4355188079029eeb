#pragma once

#include <string>

#include "record.h"

namespace kprj {

/// The code of a system in a registry; empty where it has none that is the same in definition, units and dimension.
std::string FindRegistryCode(const RecordPtr& record, const std::string& registry);
/// "KPRJ"'s code: a named one where a registry has the system. Empty for what no code can hold.
std::wstring KprjCodeOf(const RecordPtr& record);
/// The horizontal part in its units, as a system of its own.
RecordPtr HorizontalOf(const RecordPtr& record);

}  // namespace kprj
