#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "txlib/basicdata.h"
#include "txlib/operator.h"

namespace Tamrin::TesseraBasic {

/// What an ExecutableOperator that wants to know its program's exit status derives from as well.
class ExecutableOperator2 {
 public:
  /// The exit status, or 128 and the number of the signal that ended the program.
  virtual void SetReturnCode(std::int32_t code) = 0;
  virtual ~ExecutableOperator2() = default;
};

/// An operator that runs an external program. What the program writes goes to the session log line by line, and is
/// kept. A program that ends with another status than 0 is no failure, and one that a signal ends is a warning; one
/// that can't be found or started, or that may not be, is a failure. Cancelling the run ends the program and its
/// process group.
class ExecutableOperator : public Tessera::Operator {
 public:
  /// Name of the program. With a '/' it is a file name, without it is looked for along the search path.
  virtual std::wstring GetExecutable() = 0;
  /// Its line of arguments; see SplitArgumentLine.
  virtual std::wstring GetArguments() = 0;
  /// Folders separated by colons or semicolons, with environment variables, looked through before those of PATH.
  virtual std::wstring GetSearchPath() = 0;
  /// Called when the program has ended.
  virtual void PostRun() {}
  /// True where the program takes file names in the system's internal form: it lies in this installation.
  virtual bool IsKORVENExecutable();

 protected:
  /// The arguments of the line that GetArguments gave: by default what SplitArgumentLine makes of it. An operator that
  /// knows what it joined gives that, since a line can't tell all of them apart.
  virtual std::vector<std::wstring> TakeApart(const std::wstring& line) { return SplitArgumentLine(line); }

 public:
  /// What the last run's program wrote on standard output and standard error; bytes that are no UTF-8 as U+FFFD.
  const std::wstring& GetConsoleOutput() const;
  /// The same as a value to be set on a port, without a copy. Null before the first run.
  const boost::shared_ptr<Tessera::StringData>& GetConsoleData() const { return console_; }

  /// File name of the program as it would be started now; empty where it is nowhere.
  std::wstring FindProgram();

  /// The arguments of a line: one blank stands between two of them, so that two blanks hold an empty one. One that has
  /// white space and no double quote is written between double quotes. One that has double quotes is written as it
  /// is: they are part of it, and so are blanks between two of them. No shell reads the line. An empty line has no
  /// arguments.
  static std::vector<std::wstring> SplitArgumentLine(const std::wstring& line);
  /// White space as lines of arguments know it.
  static bool IsArgumentSpace(wchar_t c);

 protected:
  void OnExecute() override;
  /// Raises where this run, or the preference "folders" of category "external", doesn't let the program be started.
  void RequireStartAllowed();

 private:
  struct Search;
  Search Find();
  boost::shared_ptr<Tessera::StringData> console_;
};

/// From here on no ExecutableOperator of this process starts a program, nor those of the processes that it starts. To
/// be called before there are threads.
void ForbidExternalPrograms();

}  // namespace Tamrin::TesseraBasic
