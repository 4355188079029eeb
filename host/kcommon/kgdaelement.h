#pragma once

#include <complex>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "kcommon/kgda.h"

/// Storage and bounds of each code, so that loops are written once and compiled per type.
template <typename T>
struct Element {
  using Type = T;
  double lowest;
  double highest;
};

template <typename Visit>
void VisitType(Kgda_PixelType type, Visit visit) {
  switch (type) {
    case KgdaBit:
      return visit(Element<std::uint8_t>{0, 1});
    case KgdaTwoBit:
      return visit(Element<std::uint8_t>{0, 3});
    case KgdaNibble:
      return visit(Element<std::uint8_t>{0, 15});
    case KgdaUInt8:
      return visit(Element<std::uint8_t>{0, 255});
    case KgdaInt8:
      return visit(Element<std::int8_t>{-128, 127});
    case KgdaUInt16:
      return visit(Element<std::uint16_t>{0, 65535});
    case KgdaInt16:
      return visit(Element<std::int16_t>{-32768, 32767});
    case KgdaUInt32:
      return visit(Element<std::uint32_t>{0, 4294967295.0});
    case KgdaInt32:
      return visit(Element<std::int32_t>{-2147483648.0, 2147483647.0});
    case KgdaFloat32:
      return visit(
          Element<float>{-double{std::numeric_limits<float>::max()}, double{std::numeric_limits<float>::max()}});
    case KgdaFloat64:
      return visit(Element<double>{0, 0});
    case KgdaComplex64:
      return visit(Element<std::complex<float>>{-double{std::numeric_limits<float>::max()},
                                                double{std::numeric_limits<float>::max()}});
    case KgdaComplex128:
      return visit(Element<std::complex<double>>{0, 0});
    case KgdaString:
      return visit(Element<char*>{0, 0});
  }
}

template <typename T>
inline constexpr bool kIsComplex = std::is_same_v<T, std::complex<float>> || std::is_same_v<T, std::complex<double>>;
