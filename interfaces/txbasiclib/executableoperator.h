#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "txlib/operator.h"

namespace Tamrin::TesseraBasic {

/// What an ExecutableOperator that wants to know its program's exit status derives from as well.
class ExecutableOperator2 {
 public:
  /// The exit status, or 128 and the number of the signal that ended the program.
  virtual void SetReturnCode(std::int32_t code) = 0;
  virtual ~ExecutableOperator2() = default;
};

/// An operator that runs an external program. A program that ends with another status than 0 is no failure; one that
/// can't be found or started is. Cancelling the run ends the program and what it started.
class ExecutableOperator : public Tessera::Operator {
 public:
  /// Name of the program. With a '/' it is a file name, without it is looked for along the search path.
  virtual std::wstring GetExecutable() = 0;
  /// Its line of arguments. Blanks separate them, double quotes keep blanks together and are dropped; \" is a double
  /// quote itself. No shell reads the line.
  virtual std::wstring GetArguments() = 0;
  /// Folders separated by colons or semicolons, looked through before those of PATH.
  virtual std::wstring GetSearchPath() = 0;
  /// Called when the program has ended.
  virtual void PostRun() {}
  /// True where the program takes file names in the system's internal form: it lies in this installation.
  virtual bool IsKORVENExecutable();

  /// What the last run's program wrote on standard output and standard error; bytes that are no UTF-8 as U+FFFD.
  const std::wstring& GetConsoleOutput() const { return consoleOutput_; }

  /// The arguments of a line. A quote that is not closed runs to the end.
  static std::vector<std::wstring> SplitArgumentLine(const std::wstring& line);

 protected:
  void OnExecute() override;

 private:
  /// Native name of the program; empty where it is nowhere.
  std::string FindExecutable();
  std::wstring consoleOutput_;
};

}  // namespace Tamrin::TesseraBasic
