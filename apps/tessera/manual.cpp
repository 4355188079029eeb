#include "commandfacts.h"
#include "program.h"

namespace TesseraProgram {

namespace {

/// Text as the manual's formatter prints it to the letter.
std::string Literal(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else {
      result += c;
    }
  }
  return result.starts_with('.') || result.starts_with('\'') ? "\\&" + result : result;
}

std::string Value(const OptionFacts& option) {
  if (option.value.empty()) return {};
  return option.isValueOptional ? "[\\fI" + Literal(option.value.substr(1, option.value.size() - 2)) + "\\fR]"
                                : "\\fI" + Literal(option.value) + "\\fR";
}

std::string Signature(const OptionFacts& option) {
  if (option.isPositional) return Value(option);
  std::string text;
  for (const std::string& name : option.names) text += (text.empty() ? "\\fB" : ", \\fB") + Literal(name) + "\\fR";
  return option.value.empty() ? text : text + " " + Value(option);
}

std::string Describe(const std::vector<OptionFacts>& options) {
  std::string text;
  for (const OptionFacts& option : options) {
    text += ".TP\n" + Signature(option) + "\n" + Literal(option.text) + ".";
    if (!option.choices.empty()) {
      text += " One of";
      for (const std::string& choice : option.choices)
        text += (&choice == &option.choices.front() ? " \\fB" : ", \\fB") + Literal(choice) + "\\fR";
      text += '.';
    }
    text += '\n';
  }
  return text;
}

std::string Usage(const CommandFacts& command) {
  std::string text = "\\fBtessera " + Literal(command.name) + "\\fR";
  bool hasOptions = false;
  for (const OptionFacts& option : command.options) {
    hasOptions = hasOptions || !option.isPositional;
    if (option.isPositional) {
      const std::string word = Value(option) + (option.isRepeatable ? " ..." : "");
      text += option.isRequired ? " " + word : " [" + word + "]";
    }
  }
  return text + (hasOptions ? " [\\fIOPTIONS\\fR]" : "");
}

template <std::size_t N>
std::string Rows(const FooterRow (&rows)[N]) {
  std::string text;
  for (const FooterRow& row : rows) text += ".TP\n\\fB" + Literal(row.name) + "\\fR\n" + Literal(row.meaning) + ".\n";
  return text;
}

}  // namespace

int Manual(const Arguments&) {
  const ProgramFacts program = GetProgramFacts();
  std::string text = ".\\\" Made by: tessera manual\n.TH TESSERA 1 \"\" \"" + program.version +
                     "\" \"Tessera\"\n.SH NAME\ntessera \\- run dataflow models\n.SH SYNOPSIS\n";
  for (const CommandFacts& command : program.commands) text += Usage(command) + "\n.br\n";
  text += ".SH DESCRIPTION\n" + Literal(program.text) + "\n" + Describe(program.options) + ".SH COMMANDS\n";
  for (const CommandFacts& command : program.commands)
    text += ".SS " + Usage(command) + "\n" + Literal(command.text) + ".\n" + Describe(command.options);
  text += ".SH EXIT STATUS\n" + Rows(kExitStatuses) + ".SH ENVIRONMENT\n" + Rows(kVariables);
  WriteOutput(text);
  return kDone;
}

}  // namespace TesseraProgram
