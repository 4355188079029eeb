#pragma once

#include <optional>
#include <string>
#include <vector>

/// What a program's command line takes. Its --help, its manual page and its completions are made from this.
namespace ProgramPages {

struct OptionFacts {
  /// With their dashes; a positional has its own name, such as "MODEL", alone.
  std::vector<std::string> names;
  /// What kind of value follows, such as "FILE"; empty for a flag. For a positional the same as its name.
  std::string value;
  /// The values there are, or some of them; empty where any may stand.
  std::vector<std::string> choices;
  std::string text;
  bool isPositional = false, isRequired = false, isRepeatable = false, isValueOptional = false;
  /// Asks for a page, and stands alone.
  bool isPage = false;
};

struct CommandFacts {
  std::string name, text;
  std::vector<OptionFacts> options;
};

/// A name, and what it means.
struct Row {
  std::string name, meaning;
};

struct ProgramFacts {
  /// The file's name, a few words for the manual's index, and what the program does.
  std::string name, summary, text;
  /// The name and the number, as --version tells them.
  std::string version;
  /// Those of the program itself, without a command.
  std::vector<OptionFacts> options;
  /// Empty for a program that does one thing.
  std::vector<CommandFacts> commands;
  std::vector<Row> exitStatuses, variables;
};

/// The end of a help: exit statuses and environment variables.
std::string HelpEnd(const ProgramFacts& program);
/// The whole help of a program without commands.
std::string HelpText(const ProgramFacts& program);
/// For man.
std::string ManualPage(const ProgramFacts& program);
/// For "bash", "zsh" or "fish".
std::string CompletionFor(const ProgramFacts& program, const std::string& shell);

/// Prints the help, the version, the manual page or a completion on standard output if the words of a call ask for one,
/// and gives the exit status; nothing where they ask for something else. For programs without commands.
std::optional<int> PrintPage(const ProgramFacts& program, const std::vector<std::string>& words);
/// The options by which PrintPage is asked.
std::vector<OptionFacts> PageOptions();

}  // namespace ProgramPages
