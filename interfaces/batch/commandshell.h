#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace korven::batch {

/// One command of a shell line.
struct ShellCommand {
  struct Word {
    std::string text;
    bool quoted = false;  ///< a part of it stood in double quotes
  };
  std::vector<Word> words;
  std::string text;  ///< the command as it was written, without the blanks around it
};

/// Takes a line apart at "&&", and each command at its blanks; double quotes hold blanks and signs together and are
/// dropped; two of them within are one that stays. Raises std::invalid_argument where a quote is not closed, a command
/// is missing, or a sign stands outside of quotes that other shells have a meaning for.
std::vector<ShellCommand> ParseShellLine(std::string_view line);

/// The line that a call "/C LINE" asks for: its words with a blank between them. Double quotes around the whole are
/// taken off, except where they hold nothing but the name of a program. Raises std::invalid_argument for another call.
std::string ShellLineOf(const std::vector<std::string>& words);

/// Runs the commands one after the other as long as they succeed. The last takes this process's place where it is a
/// program. Gives the exit status of the last command that ran; 126 and 127 where a program can't be run or found.
/// What is wrong is told on standard error.
int RunShell(const std::vector<ShellCommand>& commands);

/// The same for the words of a call behind the program's name; 2 where the call is wrong.
int ShellMain(const std::vector<std::string>& words);

}  // namespace korven::batch
