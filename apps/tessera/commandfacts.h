#pragma once

#include <string>
#include <vector>

namespace TesseraProgram {

/// What the command line takes, as `--help` tells it. Completions and the manual page are made from this.
struct OptionFacts {
  /// With their dashes; a positional has its own name, such as "MODEL", alone.
  std::vector<std::string> names;
  /// What kind of value follows, such as "FILE"; empty for a flag. For a positional the same as its name.
  std::string value;
  /// The values there are, or some of them; empty where any may stand.
  std::vector<std::string> choices;
  std::string text;
  bool isPositional = false, isRequired = false, isRepeatable = false, isValueOptional = false;
};

struct CommandFacts {
  std::string name, text;
  std::vector<OptionFacts> options;
};

struct ProgramFacts {
  std::string text, version;
  /// Those of the program itself, without a command.
  std::vector<OptionFacts> options;
  std::vector<CommandFacts> commands;
};

ProgramFacts GetProgramFacts();

/// Rows of the help's end: a name, and what it means.
struct FooterRow {
  const char* name;
  const char* meaning;
};
inline constexpr FooterRow kExitStatuses[] = {
    {"0", "Done"},
    {"1", "The model failed; the last line of standard error names the operator"},
    {"2", "The call, the document or an input is wrong; nothing has run"},
    {"130, 143", "Stopped by SIGINT or SIGTERM; temporary files and locks are gone"},
};
inline constexpr FooterRow kVariables[] = {
    {"VANTIX_HOME", "Root of the installation; found from the engine's own place where it isn't set"},
    {"ARCHM", "Name of the platform, as in $VANTIX_HOME/bin/$ARCHM"},
    {"ComSpec", "The command shell of batch runs; the installation's own where it isn't set"},
    {"VANTIX_PLUGIN_PATH", "Further folders of plug-ins, separated by colons"},
    {"XDG_CONFIG_HOME",
     "The user's preferences are in tessera/preferences.json below it; ~/.config where it isn't set"},
};

}  // namespace TesseraProgram
