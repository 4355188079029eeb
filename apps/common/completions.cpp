#include <algorithm>

#include "programfacts.h"

namespace ProgramPages {

namespace {

enum class ValueKind { Free, Choice, File, Folder, Model, Operator };

ValueKind KindOf(const OptionFacts& option) {
  if (!option.choices.empty()) return ValueKind::Choice;
  if (option.value == "MODEL") return ValueKind::Model;
  if (option.value == "OPERATOR") return ValueKind::Operator;
  if (option.value == "FOLDER") return ValueKind::Folder;
  for (const char* name : {"FILE", "[FILE]", "OUTPUT", "JOB", "LIST", "LOG"})
    if (option.value == name) return ValueKind::File;
  return ValueKind::Free;
}

std::string Join(const std::vector<std::string>& words, const char* between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::string Replace(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t i = text.find(what); i != std::string::npos; i = text.find(what, i + by.size()))
    text.replace(i, what.size(), by);
  return text;
}

/// In single quotes, as all three shells read them; fish takes a backslash there for its own.
std::string Quote(const std::string& text) { return "'" + Replace(text, "'", "'\\''") + "'"; }
std::string QuoteForFish(const std::string& text) {
  return "'" + Replace(Replace(text, "\\", "\\\\"), "'", "\\'") + "'";
}

std::vector<std::string> OptionNames(const std::vector<OptionFacts>& options) {
  std::vector<std::string> names;
  for (const OptionFacts& option : options)
    if (!option.isPositional) names.insert(names.end(), option.names.begin(), option.names.end());
  return names;
}

/// The shell function of a program's completion.
std::string FunctionName(const ProgramFacts& program) {
  std::string name = "_" + program.name;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

std::string Head(const ProgramFacts& program, const char* shell) {
  const char* const call = program.commands.empty() ? " --completion " : " completion ";
  return "# Completion of " + program.name + " for " + shell + ", made by: " + program.name + call + shell + "\n\n";
}

// bash

std::string BashReply(const OptionFacts& option, const std::string& function) {
  switch (KindOf(option)) {
    case ValueKind::Choice:
      return "words='" + Join(option.choices, " ") + "'";
    case ValueKind::Operator:
      return "words=$(\"${COMP_WORDS[0]}\" list operators 2>/dev/null)";
    case ValueKind::File:
      return function + "_files -f; return";
    case ValueKind::Folder:
      return function + "_files -d; return";
    case ValueKind::Model:
      return function + "_files -f -X '!*.tsm[xc]'; " + function + "_files -d; return";
    case ValueKind::Free:
      return "return";
  }
  return "return";
}

/// What offers words behind those that stand in the line already.
std::string BashWords(const std::vector<OptionFacts>& options, const std::string& function, const std::string& indent) {
  std::vector<std::string> valued;
  std::string values, places;
  unsigned place = 0;
  for (const OptionFacts& option : options) {
    if (option.isPositional) {
      const std::string number = option.isRepeatable ? "*" : std::to_string(++place);
      places += indent + "  " + number + ") " + BashReply(option, function) + " ;;\n";
    } else if (!option.value.empty() && !option.isValueOptional) {
      values += indent + "  " + Join(option.names, "|") + ") " + BashReply(option, function) + " ;;\n";
      valued.insert(valued.end(), option.names.begin(), option.names.end());
    }
  }
  std::string text;
  if (!values.empty())
    text += indent + "valued=" + Quote(" " + Join(valued, " ") + " ") + "\n" + indent + "case $previous in\n" + values +
            indent + "esac\n";
  text +=
      indent + "if [[ $current == -* ]]; then\n" + indent + "  words=" + Quote(Join(OptionNames(options), " ")) + "\n";
  if (!places.empty())
    text += indent + "elif [[ -z $words ]]; then\n" + indent + "  " + function + "_place\n" + indent +
            "  case $? in\n" + places + indent + "  esac\n";
  return text + indent + "fi";
}

std::string BashCommands(const ProgramFacts& program, const std::string& function) {
  std::vector<std::string> first;
  for (const CommandFacts& command : program.commands) first.push_back(command.name);
  const std::vector<std::string> options = OptionNames(program.options);
  first.insert(first.end(), options.begin(), options.end());
  std::string text = R"(  if ((COMP_CWORD == 1)); then
    mapfile -t COMPREPLY < <(compgen -W )" +
                     Quote(Join(first, " ")) + R"( -- "$current")
    return
  fi
  case ${COMP_WORDS[1]} in
)";
  for (const CommandFacts& command : program.commands)
    text += "    " + command.name + ")\n" + BashWords(command.options, function, "      ") + " ;;\n";
  return text + "  esac\n";
}

std::string Bash(const ProgramFacts& program) {
  const std::string function = FunctionName(program);
  const char* const first = program.commands.empty() ? "1" : "2";
  return Head(program, "bash") + function + R"(_files() {
  compopt -o filenames
  local reply
  mapfile -t reply < <(compgen "$@" -- "$current")
  COMPREPLY+=("${reply[@]}")
}

# Returns how many words stand here that are no options, the present one included.
)" + function +
         R"(_place() {
  local i place=1
  for ((i = )" +
         first + R"(; i < COMP_CWORD; i++)); do
    if [[ ${COMP_WORDS[i]} == -* ]]; then
      [[ $valued == *" ${COMP_WORDS[i]} "* ]] && ((i++))
    else
      ((place++))
    fi
  done
  return $place
}

)" + function +
         R"(() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} words= valued=
  COMPREPLY=()
)" + (program.commands.empty() ? BashWords(program.options, function, "  ") + "\n" : BashCommands(program, function)) +
         R"(  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F )" +
         function + " " + program.name + "\n";
}

// zsh

std::string ZshAction(const OptionFacts& option) {
  switch (KindOf(option)) {
    case ValueKind::Choice:
      return "(" + Join(option.choices, " ") + ")";
    case ValueKind::Operator:
      return "{compadd -- ${(f)\"$(_call_program operators tessera list operators)\"}}";
    case ValueKind::File:
      return "_files";
    case ValueKind::Folder:
      return "_files -/";
    case ValueKind::Model:
      return "_files -g \"*.tsm[xc]\"";
    case ValueKind::Free:
      break;
  }
  return " ";
}

std::string ZshText(const std::string& text) {
  return Replace(Replace(Replace(text, "[", "\\["), "]", "\\]"), ":", "\\:");
}

std::string ZshOption(const OptionFacts& option) {
  const std::string value =
      option.value.empty() ? std::string()
                           : (option.isValueOptional ? "::" : ":") + ZshText(option.value) + ":" + ZshAction(option);
  if (option.isPositional) {
    const std::string place = option.isRepeatable ? "*" : option.isRequired ? "" : ":";
    return " \\\n        " + Quote(place + value);
  }
  std::string words;
  for (const std::string& name : option.names) {
    words +=
        " \\\n        " + Quote((option.isRepeatable ? "*" : "") + name + "[" + ZshText(option.text) + "]" + value);
  }
  return words;
}

std::string Zsh(const ProgramFacts& program) {
  const std::string function = FunctionName(program);
  std::string text = "#compdef " + program.name + "\n" + Head(program, "zsh") + function + "() {\n";
  std::string own = "_arguments";
  for (const OptionFacts& option : program.options) own += ZshOption(option);
  if (program.commands.empty()) return text + "  " + own + "\n}\n\n" + function + " \"$@\"\n";
  text += "  local -a commands\n  commands=(\n";
  for (const CommandFacts& command : program.commands) text += "    " + Quote(command.name + ":" + command.text) + "\n";
  text += "  )\n  if (( CURRENT == 2 )); then\n    _describe command commands\n    " + own +
          "\n    return\n  fi\n  local command=$words[2]\n  shift words\n  (( CURRENT-- ))\n  case $command in\n";
  for (const CommandFacts& command : program.commands) {
    text += "    " + command.name + ")\n      _arguments";
    for (const OptionFacts& option : command.options) text += ZshOption(option);
    text += " ;;\n";
  }
  return text + "  esac\n}\n\n" + function + " \"$@\"\n";
}

// fish

std::string FishValue(const OptionFacts& option) {
  switch (KindOf(option)) {
    case ValueKind::Choice:
      return " -x -a " + QuoteForFish(Join(option.choices, " "));
    case ValueKind::Operator:
      return " -x -a '(tessera list operators 2>/dev/null)'";
    case ValueKind::File:
      return " -r -F";
    case ValueKind::Folder:
      return " -x -a '(__fish_complete_directories)'";
    case ValueKind::Model:
      return " -k -x -a '(__fish_complete_suffix .tsmx .tsmc)'";
    case ValueKind::Free:
      break;
  }
  return " -x";
}

/// Options with one dash and several letters have a flag of their own.
std::string FishName(const std::string& name) {
  if (name.starts_with("--")) return " -l " + name.substr(2);
  return (name.size() > 2 ? " -o " : " -s ") + name.substr(1);
}

std::string FishOption(const OptionFacts& option, const std::string& begin) {
  std::string text = begin;
  if (option.isPositional) return KindOf(option) == ValueKind::Free ? "" : text + FishValue(option) + "\n";
  for (const std::string& name : option.names) text += FishName(name);
  if (!option.value.empty() && !option.isValueOptional) text += FishValue(option);
  return text + " -d " + QuoteForFish(option.text) + "\n";
}

std::string Fish(const ProgramFacts& program) {
  const std::string begin = "complete -c " + program.name;
  const std::string first = program.commands.empty() ? begin : begin + " -n __fish_use_subcommand";
  std::string text = Head(program, "fish") + begin + " -f\n";
  for (const OptionFacts& option : program.options) text += FishOption(option, first);
  for (const CommandFacts& command : program.commands) {
    text += first + " -a " + command.name + " -d " + QuoteForFish(command.text) + "\n";
    for (const OptionFacts& option : command.options)
      text += FishOption(option, begin + " -n '__fish_seen_subcommand_from " + command.name + "'");
  }
  return text;
}

}  // namespace

std::string CompletionFor(const ProgramFacts& program, const std::string& shell) {
  if (shell == "bash") return Bash(program);
  if (shell == "zsh") return Zsh(program);
  return shell == "fish" ? Fish(program) : std::string();
}

}  // namespace ProgramPages
