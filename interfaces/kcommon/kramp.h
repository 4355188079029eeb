#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kcommon/kgda.h"

class KerrException;

/// The colours of the text of a colour ramp file, one row each, as a table of three layers of 64-bit floats from 0 to
/// 1, or of four where a colour isn't opaque. Red, green and blue, with or without opacity behind or an index in front,
/// or hexadecimal colours; see docs/formats.md. No layers, and the failure in `error`, where it can't be read.
KgdaBaseDataStack ColorRampFromText(std::string_view text, const std::wstring& source, KerrException& error);

namespace korven::kCommon {

/// Each part from 0 to 255.
struct Color {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
  std::uint8_t alpha = 255;
  friend bool operator==(const Color&, const Color&) = default;
};

/// The colours of a colour ramp file. Not changed once it is read.
class ColorRamp {
 public:
  explicit ColorRamp(std::vector<Color> colors) : colors_(std::move(colors)) {}
  std::uint64_t GetSize() const { return colors_.size(); }
  const Color& GetColor(std::uint32_t index) const { return colors_[index]; }  ///< of an index below the size

 private:
  std::vector<Color> colors_;
};

/// Variables in the name are expanded. Null, and the failure in `error`, where the file can't be read.
boost::shared_ptr<ColorRamp> ColorRampFromFile(const std::wstring& fileName, KerrException& error);

}  // namespace korven::kCommon
