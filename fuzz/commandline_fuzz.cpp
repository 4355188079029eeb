// Any argument expression and file name pattern is expanded or refused with a message, and what the operator joins to a
// line comes apart again as far as lines can tell.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "txbasiclib/basicvalues.h"
#include "txbasiclib/executableoperator.h"
#include "txlib/factories.h"

namespace {

using namespace Tamrin::Tessera;
using Tamrin::TesseraBasic::ExecutableOperator;

constexpr const char* kPorts = R"([{"Name": "In", "Type": 0}, {"Name": "a", "Type": 0},
  {"Name": "Out", "Type": 1, "SupportedDataNamespace": "VANTIX", "SupportedDataName": "File", "OutputFile": true},
  {"Name": "OutName", "Type": 0}, {"Name": "Two", "Type": 1}, {"Name": "TwoName", "Type": 0}])";

boost::shared_ptr<Operator> MakeProgram() {
  const auto op = OperatorFactory::Create(L"VANTIX", L"CommandLine");
  JsonValue ports;
  if (!op || !ports.DeserializeUtf8(kPorts, false, nullptr)) std::abort();
  op->SetAttribute(L"PortInformation", MakeData<Tamrin::TesseraBasic::JsonData>(ports));
  op->Configure();
  return op;
}

/// What an operator writes that joins arguments without quotes.
std::wstring Join(const std::vector<std::wstring>& arguments) {
  std::wstring line;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const auto& argument = arguments[i];
    const bool isQuoted = std::any_of(argument.begin(), argument.end(), ExecutableOperator::IsArgumentSpace);
    line += (i == 0 ? L"" : L" ") + (isQuoted ? L"\"" + argument + L"\"" : argument);
  }
  return line;
}

void CheckLine(const std::wstring& line) {
  auto arguments = ExecutableOperator::SplitArgumentLine(line);
  if (line.empty() != arguments.empty()) std::abort();
  // Nothing is lost but the quotes that wrap, and the blanks between.
  std::size_t size = arguments.empty() ? 0 : arguments.size() - 1;
  for (const auto& argument : arguments) size += argument.size();
  if (size > line.size() || size + 2 * arguments.size() < line.size()) std::abort();
  // Without quotes in the arguments, a line tells them all apart.
  for (auto& argument : arguments) argument.erase(std::remove(argument.begin(), argument.end(), L'"'), argument.end());
  const std::wstring joined = Join(arguments);
  if (!joined.empty() && ExecutableOperator::SplitArgumentLine(joined) != arguments) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const auto op = MakeProgram();
  const std::string_view input(reinterpret_cast<const char*>(bytes), size);
  // The expression, two patterns and a value, each on a line.
  std::wstring parts[4];
  std::size_t begin = 0;
  for (std::wstring& part : parts) {
    const std::size_t end = std::min(input.find('\n', begin), input.size());
    part = kstr_FromUtf8Lossy(input.substr(std::min(begin, input.size()), end - std::min(begin, input.size())));
    begin = end + 1;
  }
  CheckLine(parts[0]);
  op->SetAttribute(L"ArgumentExpression", MakeData<StringData>(parts[0]));
  op->GetPort(L"OutName")->SetData(MakeData<StringData>(parts[1]));
  op->GetPort(L"TwoName")->SetData(MakeData<StringData>(parts[2]));
  op->GetPort(L"In")->SetData(MakeData<StringData>(parts[3]));
  op->ClearMessageQueue();
  try {
    CheckLine(dynamic_cast<ExecutableOperator&>(*op).GetArguments());
  } catch (const KorvenLog::Exception& exception) {
    if (exception.get_What().empty()) std::abort();
  }
  return 0;
}
