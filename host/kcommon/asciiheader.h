#pragma once

#include <cstdint>
#include <string>

#include "kcommon/kgda.h"
#include "textlines.h"

/// What the comments at the head of a file tell about the elements behind them.
struct AsciiHeader {
  KgdaBaseDataStack::Kind kind = KgdaBaseDataStack::KindMatrix;
  Kgda_PixelType type = KgdaFloat64;
  std::uint64_t rows = 1;
  std::uint64_t columns = 1;
  std::uint64_t layers = 1;
  boost::shared_ptr<const Kdsc_BinFunction> binFunction = {};
};

bool IsAsciiHeader(std::string_view line);
/// With the walk at the first line of the header; it then stands at the last. Raises TextFault.
AsciiHeader ReadAsciiHeader(TextLines& lines);
std::string AsciiHeaderText(const KgdaBaseDataStack& stack);

/// The code of a name such as "Float64", whatever the case; kKgdaPixelTypeCount for none.
Kgda_PixelType PixelTypeOfName(std::string_view name);
