#include <algorithm>
#include <cstdio>

#include "programfacts.h"

namespace ProgramPages {

namespace {

constexpr std::size_t kColumn = 20;

std::string Line(const std::string& name, const std::string& meaning) {
  const std::size_t gap = name.size() < kColumn ? kColumn - name.size() : 1;
  return "  " + name + std::string(gap, ' ') + meaning + "\n";
}

std::string Rows(const char* title, const std::vector<Row>& rows) {
  if (rows.empty()) return {};
  std::string text = std::string("\n") + title + ":\n";
  for (const Row& row : rows) text += Line(row.name, row.meaning);
  return text;
}

std::string Signature(const OptionFacts& option) {
  std::string text;
  for (const std::string& name : option.names) text += (text.empty() ? "" : ",") + name;
  return option.value.empty() || option.isPositional ? text : text + " " + option.value;
}

}  // namespace

std::string HelpEnd(const ProgramFacts& program) {
  return Rows("Exit status", program.exitStatuses) + Rows("Environment", program.variables);
}

std::string HelpText(const ProgramFacts& program) {
  std::string usage = "Usage: " + program.name, options;
  for (const OptionFacts& option : program.options) {
    if (!option.isPage) usage += option.isRequired ? " " + Signature(option) : " [" + Signature(option) + "]";
    options += Line(Signature(option), option.text);
  }
  return program.text + "\n" + usage + "\n\nOptions:\n" + options + HelpEnd(program);
}

std::vector<OptionFacts> PageOptions() {
  std::vector<OptionFacts> options(4);
  for (OptionFacts& option : options) option.isPage = true;
  options[0].names = {"--help"};
  options[0].text = "Print this help message and exit";
  options[1].names = {"--version"};
  options[1].text = "The version";
  options[2].names = {"--manual"};
  options[2].text = "This help as a manual page, for man";
  options[3].names = {"--completion"};
  options[3].value = "SHELL";
  options[3].choices = {"bash", "zsh", "fish"};
  options[3].text = "Completions of this command line for a shell";
  return options;
}

std::optional<int> PrintPage(const ProgramFacts& program, const std::vector<std::string>& words) {
  using Words = std::vector<std::string>;
  std::string text;
  if (std::find(words.begin(), words.end(), "--help") != words.end()) {
    text = HelpText(program);
  } else if (words == Words{"--version"}) {
    text = program.version + "\n";
  } else if (words == Words{"--manual"}) {
    text = ManualPage(program);
  } else if (!words.empty() && words[0] == "--completion") {
    if (words.size() == 2) text = CompletionFor(program, words[1]);
    if (text.empty()) {
      std::fprintf(stderr, "%s: --completion: expected bash, zsh or fish behind it, and nothing else\n",
                   program.name.c_str());
      return 2;
    }
  } else {
    return std::nullopt;
  }
  std::fputs(text.c_str(), stdout);
  return std::fflush(stdout) == 0 ? 0 : 2;
}

}  // namespace ProgramPages
