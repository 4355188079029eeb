#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support.h"
#include "txbasiclib/basicvalues.h"
#include "txbasiclib/executableoperator.h"
#include "txlib/effects.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kCommandLineOperator{
    .name = L"CommandLine",
    .displayName = L"Command Line",
    .category = L"General",
    .icon = L"OpGeneral_CommandLine.ico",
    .colorCategory = L"",
    .description =
        L"The Command Line Operator can be configured to run any executable that takes a command line consisting of "
        L"filenames and options.",
    .usableInExpression = false,
};

/// Runs an external program: ports as its attributes ask for, the argument line, and the files that the program writes.
class CommandLineOperator : public Described<kCommandLineOperator, Tamrin::TesseraBasic::ExecutableOperator>,
                            public Tamrin::TesseraBasic::ExecutableOperator2,
                            public HasEffects {
 public:
  void DeclarePorts() override;
  using Operator::Configure;
  void Configure() override;
  std::wstring GetExecutable() override;
  std::wstring GetArguments() override;
  std::wstring GetSearchPath() override;
  void SetReturnCode(std::int32_t code) override;
  std::vector<Effect> GetEffects() override;

 protected:
  void OnExecute() override;
  std::vector<std::wstring> TakeApart(const std::wstring& line) override;

 private:
  /// An output that stands for a file, with the name that its sibling's pattern gives.
  struct OutputFile {
    PortPtr port;
    std::wstring pattern;
    std::wstring name;
  };

  JsonValue GetPortDescriptions() const;  ///< null without any
  void CreateConfiguredPort(const JsonValue& description, std::size_t index);
  std::wstring GetTextAttribute(const wchar_t* key) const;
  /// False where the output has no sibling with a pattern.
  bool ExpandOutput(const PortPtr& output, OutputFile& file);

  /// The data of a port; only what is there already where nothing is to be run.
  DataPtr Read(const PortPtr& port);

  std::wstring ExpandFilenamePattern(const std::wstring& pattern);
  std::wstring ExpandFilenamePart(const std::wstring& value, const std::wstring& part);
  std::wstring GetPortValueAsString(const std::wstring& name);
  std::wstring ExpandPreferencePath(const std::wstring& category, const std::wstring& key);
  std::wstring ExpandArgumentExpression(const std::wstring& text);
  std::vector<std::wstring> SplitArguments(const std::wstring& text);
  std::wstring ExpandArgument(const std::wstring& token);
  std::wstring ResolveName(const std::wstring& name);
  std::wstring QuoteIfNeeded(const std::wstring& token);
  bool EqualsIgnoreCase(const std::wstring& a, const std::wstring& b);
  std::wstring ExpandOutputName(const std::wstring& name, const std::wstring& pattern);

  std::vector<std::wstring> arguments_;  ///< those of the line that was made last, before they were quoted
  std::vector<std::wstring> expanding_;  ///< the outputs whose patterns are being expanded, from the outermost in
  bool isLooking_ = false;               ///< nothing is to be run
  bool isKnown_ = true;                  ///< while looking: nothing that only the run will tell was met
};

}  // namespace korven::tx_general
