#pragma once

#include <string>
#include <vector>

#include "txlib/dictionary.h"

namespace Tamrin::TesseraBasic {

/// Red, green, blue and opacity, nominally 0 to 1; not clamped. Keys "Red", "Green", "Blue", "Opacity".
class Color : public Tessera::SchemaBasedDictionary {
 public:
  Color() = default;
  Color(double red, double green, double blue) : red_(red), green_(green), blue_(blue) {}
  Color(double red, double green, double blue, double opacity)
      : red_(red), green_(green), blue_(blue), opacity_(opacity) {}
  Color(const Color&) = default;
  Color& operator=(const Color&) = default;

  double GetRed() const { return red_; }
  double GetGreen() const { return green_; }
  double GetBlue() const { return blue_; }
  double GetOpacity() const { return opacity_; }
  std::vector<std::wstring> GetKeys() const override;
  boost::shared_ptr<Tessera::Data> operator[](const std::wstring& key) const override;
  friend bool operator==(const Color& a, const Color& b) {
    return a.red_ == b.red_ && a.green_ == b.green_ && a.blue_ == b.blue_ && a.opacity_ == b.opacity_;
  }

 private:
  double red_ = 0;
  double green_ = 0;
  double blue_ = 0;
  double opacity_ = 1;
};

}  // namespace Tamrin::TesseraBasic
