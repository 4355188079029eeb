#pragma once

#include <optional>
#include <string>

#include "indexes.h"
#include "record.h"

namespace kprj {

/// The system of these parts, of the authority "KPRJ". Raises KorvenLog::CPPException where they don't fit.
RecordPtr BuildRecord(const ProjectionPtr& projection, const std::wstring& units, const Kprj_ElevationInfo* elevation);
/// The same, but null with the reason.
RecordPtr TryBuildRecord(const ProjectionPtr& projection, const std::wstring& units,
                         const Kprj_ElevationInfo* elevation, std::wstring& reason);
/// A registry's system, of the authority "KPRJ". Null with the reason where it has none.
RecordPtr NamedRecord(const std::string& authority, const std::string& code, std::wstring& reason);
/// One of the three predefined ones.
RecordPtr UnknownRecord(int dimension);

/// Where the vertical system of this elevation is registered: in `first`, then in the other registries.
std::optional<RegistryCode> FindVertical(const Kprj_ElevationInfo& elevation, const std::string& first);
/// No datum that anybody knows, no direction, or no unit: nothing that PROJ could express.
bool IsLocal(const Kprj_ElevationInfo& elevation);

}  // namespace kprj
