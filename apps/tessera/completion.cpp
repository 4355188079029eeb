#include "commandfacts.h"
#include "program.h"

namespace TesseraProgram {

namespace {

enum class ValueKind { Free, Choice, File, Folder, Model, Operator };

ValueKind KindOf(const OptionFacts& option) {
  if (!option.choices.empty()) return ValueKind::Choice;
  if (option.value == "MODEL") return ValueKind::Model;
  if (option.value == "OPERATOR") return ValueKind::Operator;
  if (option.value == "FOLDER") return ValueKind::Folder;
  if (option.value == "FILE" || option.value == "[FILE]" || option.value == "OUTPUT") return ValueKind::File;
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

// bash

std::string BashReply(const OptionFacts& option) {
  switch (KindOf(option)) {
    case ValueKind::Choice:
      return "words='" + Join(option.choices, " ") + "'";
    case ValueKind::Operator:
      return "words=$(\"${COMP_WORDS[0]}\" list operators 2>/dev/null)";
    case ValueKind::File:
      return "_tessera_files -f; return";
    case ValueKind::Folder:
      return "_tessera_files -d; return";
    case ValueKind::Model:
      return "_tessera_files -f -X '!*.tsm[xc]'; _tessera_files -d; return";
    case ValueKind::Free:
      return "return";
  }
  return "return";
}

std::string BashCommand(const CommandFacts& command) {
  std::string options, values, places;
  unsigned place = 0;
  for (const OptionFacts& option : command.options) {
    if (option.isPositional) {
      const std::string number = option.isRepeatable ? "*" : std::to_string(++place);
      places += "        " + number + ") " + BashReply(option) + " ;;\n";
    } else if (!option.value.empty() && !option.isValueOptional) {
      values += "        " + Join(option.names, "|") + ") " + BashReply(option) + " ;;\n";
    }
  }
  options = Join(OptionNames(command.options), " ");
  std::string text = "    " + command.name + ")\n";
  if (!values.empty()) {
    text += "      valued=" +
            Quote(" " +
                  [&] {
                    std::vector<std::string> names;
                    for (const OptionFacts& option : command.options)
                      if (!option.isPositional && !option.value.empty() && !option.isValueOptional)
                        names.insert(names.end(), option.names.begin(), option.names.end());
                    return Join(names, " ");
                  }() +
                  " ") +
            "\n";
    text += "      case $previous in\n" + values + "      esac\n";
  }
  text += "      if [[ $current == -* ]]; then\n        words=" + Quote(options) + "\n";
  if (!places.empty())
    text +=
        "      elif [[ -z $words ]]; then\n        _tessera_place\n        case $? in\n" + places + "        esac\n";
  return text + "      fi ;;\n";
}

std::string Bash(const ProgramFacts& program) {
  std::vector<std::string> first;
  for (const CommandFacts& command : program.commands) first.push_back(command.name);
  const std::vector<std::string> options = OptionNames(program.options);
  first.insert(first.end(), options.begin(), options.end());
  std::string text = R"(# Completion of tessera for bash, made by: tessera completion bash

_tessera_files() {
  compopt -o filenames
  local reply
  mapfile -t reply < <(compgen "$@" -- "$current")
  COMPREPLY+=("${reply[@]}")
}

# Returns how many words stand here that are no options, the present one included.
_tessera_place() {
  local i place=1
  for ((i = 2; i < COMP_CWORD; i++)); do
    if [[ ${COMP_WORDS[i]} == -* ]]; then
      [[ $valued == *" ${COMP_WORDS[i]} "* ]] && ((i++))
    else
      ((place++))
    fi
  done
  return $place
}

_tessera() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} words= valued=
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    mapfile -t COMPREPLY < <(compgen -W )" +
                     Quote(Join(first, " ")) + R"( -- "$current")
    return
  fi
  case ${COMP_WORDS[1]} in
)";
  for (const CommandFacts& command : program.commands) text += BashCommand(command);
  return text + R"(  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _tessera tessera
)";
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
  std::string text =
      "#compdef tessera\n# Completion of tessera for zsh, made by: tessera completion zsh\n\n"
      "_tessera() {\n  local -a commands\n  commands=(\n";
  for (const CommandFacts& command : program.commands) text += "    " + Quote(command.name + ":" + command.text) + "\n";
  text += "  )\n  if (( CURRENT == 2 )); then\n    _describe command commands\n    _arguments";
  for (const OptionFacts& option : program.options) text += ZshOption(option);
  text += "\n    return\n  fi\n  local command=$words[2]\n  shift words\n  (( CURRENT-- ))\n  case $command in\n";
  for (const CommandFacts& command : program.commands) {
    text += "    " + command.name + ")\n      _arguments";
    for (const OptionFacts& option : command.options) text += ZshOption(option);
    text += " ;;\n";
  }
  return text + "  esac\n}\n\n_tessera \"$@\"\n";
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

std::string FishOption(const OptionFacts& option, const std::string& condition) {
  std::string text = "complete -c tessera -n " + condition;
  if (option.isPositional) return KindOf(option) == ValueKind::Free ? "" : text + FishValue(option) + "\n";
  for (const std::string& name : option.names)
    text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  if (!option.value.empty() && !option.isValueOptional) text += FishValue(option);
  return text + " -d " + QuoteForFish(option.text) + "\n";
}

std::string Fish(const ProgramFacts& program) {
  std::string text = "# Completion of tessera for fish, made by: tessera completion fish\n\ncomplete -c tessera -f\n";
  for (const OptionFacts& option : program.options) text += FishOption(option, "__fish_use_subcommand");
  for (const CommandFacts& command : program.commands) {
    text +=
        "complete -c tessera -n __fish_use_subcommand -a " + command.name + " -d " + QuoteForFish(command.text) + "\n";
    for (const OptionFacts& option : command.options)
      text += FishOption(option, "'__fish_seen_subcommand_from " + command.name + "'");
  }
  return text;
}

}  // namespace

int Completion(const Arguments& arguments) {
  const ProgramFacts program = GetProgramFacts();
  const std::string text = arguments.shell == "bash"  ? Bash(program)
                           : arguments.shell == "zsh" ? Zsh(program)
                                                      : Fish(program);
  WriteOutput(text);
  return kDone;
}

}  // namespace TesseraProgram
