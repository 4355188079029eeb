#pragma once

#include <string>
#include <string_view>

/// Codes of the authority "GeoKey Moniker": `key=value` joined by ";", the keys GeoTIFF key numbers in rising order.
/// See docs/coordinate-reference-systems.md.
namespace kprj {

/// Whether a .csf file can hold the moniker: a horizontal system by its EPSG code, with or without a vertical one by
/// its EPSG code in the units of that. No for text that is no moniker. Any thread.
bool IsMonikerForCSF(const std::wstring& moniker);
/// The moniker without its vertical part where that is what stands in the way, else as it is.
std::wstring AdjustMonikerForCSF(const std::wstring& moniker);
/// Writes the file as a whole, or leaves what was there and raises KorvenLog::CPPException with path and reason. The
/// name is taken as it is, without expansion.
void WriteMonikerToCSF(const std::wstring& moniker, const std::wstring& fileName);
/// Raises KorvenLog::CPPException where the file is no such file.
std::wstring ReadMonikerFromCSF(const std::wstring& fileName);

/// The same for the text of a file; `source` is how messages call it.
std::string FormatCSF(const std::wstring& moniker);
std::wstring ParseCSF(std::string_view text, const std::wstring& source);

}  // namespace kprj
