#include "itemports.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kRange{
    .name = L"Range",
    .displayName = L"Range",
    .category = L"General",
    .icon = L"OpCategory_Distance.ico",
    .description = L"Constructs a Range with a start and end index.",
};

class Range : public Described<kRange> {
 public:
  void DeclarePorts() override {
    CreatePort(L"RangeStart", DoubleData::DefaultTypeName(), PortType::Input);
    Optional(CreatePort(L"RangeEnd", DoubleData::DefaultTypeName(), PortType::Input));
    CreatePort(L"Output", RangeData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    const auto start = ReadPort<double>(*this, L"RangeStart");
    const auto end = ReadPortOr<double>(*this, L"RangeEnd", start);
    WritePort(*this, L"Output", RangeClass(start, end));
  }
};

TX_GENERAL_FACTORY(Range)

}  // namespace korven::tx_general
