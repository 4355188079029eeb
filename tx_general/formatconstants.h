#pragma once

#include <cstddef>
#include <cstdint>

/// What encrypted model documents are made with, other in each build that has a key of its own: see
/// cmake/FormatKey.cmake.
namespace korven::tx_general::FormatConstants {

constexpr std::size_t kKeyBlockSize = 256;
constexpr std::size_t kModePieceCount = 10;

extern const std::uint8_t kKeyBlock[kKeyBlockSize];
extern const wchar_t* const kKeyText;                      ///< 60 letters and digits
extern const wchar_t* const kCheckSalt;                    ///< 60 letters and digits
extern const wchar_t* const kModePieces[kModePieceCount];  ///< of ten letters and digits each

}  // namespace korven::tx_general::FormatConstants
