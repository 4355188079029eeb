#include <boost/numeric/conversion/cast.hpp>
#include <cstdint>

#include "kcommon/kerr.h"
#include "kcommon/kramp.h"
#include "stackports.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kColorRampInput{
    .name = L"ColorRampInput",
    .displayName = L"Color Ramp Input",
    .category = L"Input|Color",
    .icon = L"Band_Pseudo.ico",
    .description = L"Reads a .lut color ramp file and outputs a table.",
};

class ColorRampInput : public Described<kColorRampInput> {
 public:
  void DeclarePorts() override {
    CreateFileInput(*this, L"Filename", {L"Color Ramp (*.lut)", L"*.lut", L"text", true});
    CreatePort(L"ColorTable", TableData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\colorrampinput", L"korven::tx_general::ColorRampInput::OnExecute");
    const auto name = GetPortDataOf<FileData>(RequirePort(*this, L"Filename"));
    const auto ramp = kCommon::ColorRampFromFile(*name, error);
    error.Check(__LINE__);
    const auto count = boost::numeric_cast<std::int32_t>(ramp->GetSize());
    const auto table = Tamrin::TesseraBasic::CreateColorTable(count);
    for (std::int32_t row = 0; row < count; ++row) {
      const kCommon::Color& color = ramp->GetColor(static_cast<std::uint32_t>(row));
      // The channels stay from 0 to 255; the opacity alone is brought to 1, which is wanted.
      table->SetColorAt(row, Tamrin::TesseraBasic::Color(color.red, color.green, color.blue, color.alpha / 255.0));
    }
    WriteShared<TableData>(RequirePort(*this, L"ColorTable"), table);
  }
};

TX_GENERAL_FACTORY(ColorRampInput)

}  // namespace korven::tx_general
