#pragma once

#include <string>
#include <vector>

#include "record.h"

namespace kprj {

/// The registry behind an authority: "IAU_2015" for "IAU". Empty for a name that is none of a registry's.
std::string RegistryOf(const std::wstring& authority);
/// Letters, digits, "_", "-" and "."; no leading zero. The database would take more for the same code.
bool IsPlainCode(const std::string& code);
/// A registry's own system, under the authority's name. Null with the reason.
RecordPtr ReadRegistryCode(const std::wstring& authority, const std::wstring& code, std::wstring& reason);
/// The same system as its registry shows it; that of the parts where no registry has it.
RecordPtr RegistryForm(const RecordPtr& record);
/// With the nearest known code.
std::wstring DescribeUnknownCode(const std::wstring& authority, const std::wstring& code);

}  // namespace kprj
