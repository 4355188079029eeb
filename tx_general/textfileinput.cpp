#include <algorithm>
#include <cstdint>
#include <limits>

#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "support.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kTextFileInput{
    .name = L"TextFileInput",
    .displayName = L"Text File Input",
    .category = L"Input|Filename",
    .icon = L"text_binary.ico",
    .colorCategory = L"Input_Output",
    .description =
        L"Reads a text file as a string. This operator also has the option to limit the number of "
        L"characters that are read into the String, as well as to skip a number of characters from the "
        L"start of the file.",
};

class TextFileInput : public Described<kTextFileInput> {
 public:
  void DeclarePorts() override {
    CreateFileInput(*this, L"Filename", {L"Text File (*.txt)", L"*.txt", L"text", true});
    Hidden(Optional(CreatePort(L"Offset", UnsignedData::DefaultTypeName(), PortType::Input)));
    Hidden(Optional(CreatePort(L"Size", UnsignedData::DefaultTypeName(), PortType::Input)));
    CreatePort(L"String", StringData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\textfileinput", L"korven::tx_general::TextFileInput::OnExecute");
    const std::wstring given = *GetPortDataOf<FileData>(RequirePort(*this, L"Filename"));
    const std::wstring name = kfnp_FileNameEvaluateEnv(given, error);
    error.Check(__LINE__);
    const auto offset = ReadPortOr<unsigned>(*this, L"Offset", 0);
    const auto size = ReadPortOr<unsigned>(*this, L"Size", 0);
    std::wstring text;
    try {
      text = offset > 0 || size > 0 ? kfio::ReadFile(name, Clamped(offset), size > 0 ? Clamped(size) : -1)
                                    : kfio::ReadFile(name);
    } catch (...) {
      kerr_LogCurrentException(error, __LINE__);
    }
    if (error.IsPending()) SetErrorMessage(L"Unable to open file: " + name + L" " + error.get_What());
    WritePort(*this, L"String", std::move(text));
  }

 private:
  // The file calls count in signed numbers; no file has more characters than they can say.
  static std::int32_t Clamped(unsigned count) {
    return static_cast<std::int32_t>(std::min<unsigned>(count, std::numeric_limits<std::int32_t>::max()));
  }
};

TX_GENERAL_FACTORY(TextFileInput)

}  // namespace korven::tx_general
