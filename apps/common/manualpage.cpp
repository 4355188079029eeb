#include <algorithm>

#include "programfacts.h"

namespace ProgramPages {

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

/// A call: the positionals of a command, or all that a program without commands takes.
std::string Usage(const std::string& call, const std::vector<OptionFacts>& options, bool isWhole) {
  std::string text = "\\fB" + Literal(call) + "\\fR";
  bool hasOptions = false;
  for (const OptionFacts& option : options) {
    hasOptions = hasOptions || !option.isPositional;
    if (option.isPage || (!option.isPositional && !isWhole)) continue;
    const std::string word = Signature(option) + (option.isPositional && option.isRepeatable ? " ..." : "");
    text += option.isRequired ? " " + word : " [" + word + "]";
  }
  return text + (hasOptions && !isWhole ? " [\\fIOPTIONS\\fR]" : "");
}

std::string Section(const char* title, const std::vector<Row>& rows) {
  if (rows.empty()) return {};
  std::string text = std::string(".SH ") + title + "\n";
  for (const Row& row : rows) text += ".TP\n\\fB" + Literal(row.name) + "\\fR\n" + Literal(row.meaning) + ".\n";
  return text;
}

}  // namespace

std::string ManualPage(const ProgramFacts& program) {
  std::string title = program.name;
  std::transform(title.begin(), title.end(), title.begin(), [](char c) { return c >= 'a' && c <= 'z' ? c - 32 : c; });
  std::string text = ".\\\" Made by the program itself, from what its help tells.\n.TH " + title + " 1 \"\" \"" +
                     program.version + "\" \"Tessera\"\n.SH NAME\n" + Literal(program.name) + " \\- " +
                     Literal(program.summary) + "\n.SH SYNOPSIS\n";
  if (program.commands.empty()) text += Usage(program.name, program.options, true) + "\n";
  for (const CommandFacts& command : program.commands)
    text += Usage(program.name + " " + command.name, command.options, false) + "\n.br\n";
  text += ".SH DESCRIPTION\n" + Literal(program.text) + "\n";
  if (program.commands.empty()) text += ".SH OPTIONS\n";
  text += Describe(program.options);
  if (!program.commands.empty()) text += ".SH COMMANDS\n";
  for (const CommandFacts& command : program.commands)
    text += ".SS " + Usage(program.name + " " + command.name, command.options, false) + "\n" + Literal(command.text) +
            ".\n" + Describe(command.options);
  return text + Section("EXIT STATUS", program.exitStatuses) + Section("ENVIRONMENT", program.variables);
}

}  // namespace ProgramPages
