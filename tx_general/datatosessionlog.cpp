#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <cstdint>
#include <string>

#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kstr.h"
#include "support.h"

namespace korven::tx_general {
namespace {

constexpr std::size_t kLargestLogPiece = 15500;

/// Length of the next piece of a format line: as large as may be, but a "%%" stays whole, or it would not give
/// its one "%".
std::size_t LogPieceLength(const std::wstring& line, std::size_t start) {
  if (line.size() - start <= kLargestLogPiece) return line.size() - start;
  std::size_t percents = 0;
  while (percents < kLargestLogPiece && line[start + kLargestLogPiece - 1 - percents] == L'%') ++percents;
  return kLargestLogPiece - percents % 2;
}

void WriteToSessionLog(const std::wstring& text) {
  const std::wstring format = boost::replace_all_copy(text, L"%", L"%%");
  for (std::size_t start = 0; start < format.size();) {
    const std::size_t end = std::min(format.find(L'\n', start), format.size());
    const std::wstring line = format.substr(start, end - start);
    for (std::size_t at = 0; at < line.size();) {
      const std::size_t length = LogPieceLength(line, at);
      kerr_MessageLog(0, line.substr(at, length));
      at += length;
    }
    start = end + 1;
  }
}

}  // namespace

inline constexpr OperatorSheet kDataToSessionLog{
    .name = L"Report",
    .displayName = L"Report",
    .category = L"Output|View",
    .icon = L"notebook2.ico",
    .colorCategory = L"Input_Output",
    .description =
        L"Provides a means of creating a text output from different types of sources for debugging and "
        L"development purposes. The report operator can convert any of the various object types into a "
        L"representative text message.",
    .keywords = L"Session|Log|Text|Message",
};

class DataToSessionLog : public Described<kDataToSessionLog> {
 public:
  void DeclarePorts() override {
    SetExpandible(true);
    Hidden(Optional(CreatePort(L"ToSessionLog", PortType::Input, MakeData<BoolData>(true))));
    Hidden(Optional(CreateFileInput(*this, L"TextFilename", {L"Report File (*.txt)", L"*.txt", L"text", false})));
    CreatePort(L"ConfigString", StringData::DefaultTypeName(), PortType::Setting);
    SetUIProvider(L"ReportDialog", L"VANTIX");
    AddExpansionPorts();
  }

  void AddExpansionPorts() override {
    const auto number = std::to_wstring(++count_);
    const auto input = CreatePort(L"Input" + number, Data::DefaultTypeName(), PortType::Input);
    if (count_ > 1) Optional(input);
    Hidden(CreatePort(L"Output" + number, Data::DefaultTypeName(), PortType::Output));
    const std::wstring entry = L"$Input" + number;
    auto text = ReadPortOr<std::wstring>(*this, L"ConfigString", {});
    if (text.find(entry) != std::wstring::npos) return;
    if (!text.empty() && text.back() != L'\n') text += L'\n';
    WritePort(*this, L"ConfigString", text + entry + L'\n');
  }

  void RemoveExpansionPorts() override {
    if (count_ == 1) return;
    const auto number = std::to_wstring(count_);
    RemovePort(L"Input" + number);
    RemovePort(L"Output" + number);
    --count_;
    const std::wstring entry = L"$Input" + number + L'\n';
    const std::wstring text = ReadTemplate();
    // Any of the entry's characters at the end counts as the entry: templates rely on the length that is cut.
    if (text.empty() || text.find_last_of(entry) != text.size() - 1) return;
    WritePort(*this, L"ConfigString", text.substr(0, text.size() - std::min(text.size(), entry.size())));
  }

 protected:
  void OnExecute() override {
    std::wstring text = ReadTemplate();
    const bool toSessionLog = ReadPortOr<bool>(*this, L"ToSessionLog", false);
    const auto fileName = GetPortDataOf<FileData>(RequirePort(*this, L"TextFilename"), true);
    const bool toFile = fileName && !fileName->empty();
    for (const auto& input : GetInputPorts()) {
      const auto data = input->GetData();
      if (toSessionLog || toFile) {
        boost::replace_all(text, L"$" + input->GetName(), data ? data->ToReportString() : std::wstring());
      }
      if (data) PassOn(*input, data);
    }
    if (toSessionLog) WriteToSessionLog(text);
    if (toFile) kfio::WriteFile(kstr_PathExpand(*fileName), text);
  }

 private:
  std::wstring ReadTemplate() {
    const auto port = RequirePort(*this, L"ConfigString");
    const auto text = AsDataOf<StringData>(port->GetExistingData());
    if (!text || text->HasNoValue()) RaisePortMessage(*port, L"Existing data not found on port(");
    return text->GetDataValue();
  }

  void PassOn(const Port& input, const DataPtr& data) {
    const auto output = GetPort(boost::replace_all_copy(input.GetName(), L"Input", L"Output"));
    if (output && output->IsOutput()) output->SetData(data);
  }

  std::int32_t count_ = 0;
};

TX_GENERAL_FACTORY(DataToSessionLog)

}  // namespace korven::tx_general
