#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <limits>

#include "common/programfacts.h"
#include "kcommon/kstr.h"
#include "program.h"

namespace TesseraProgram {

using namespace ProgramPages;

namespace {

constexpr const char* kModelHelp = "Model document; - for standard input";

/// Values that help and completions name, while the command itself tells of others.
CLI::Validator Suggested(const char* values) {
  return CLI::Validator([](std::string&) { return std::string(); }, values);
}

/// Empty for a whole number that fits.
std::string WhyNoCount(const std::string& word) {
  unsigned count = 0;
  const auto read = std::from_chars(word.data(), word.data() + word.size(), count);
  if (read.ec == std::errc() && read.ptr == word.data() + word.size()) return {};
  return "found \"" + word + "\", expected a whole number from 0 to " +
         std::to_string(std::numeric_limits<unsigned>::max());
}

void AddRun(CLI::App& app, Arguments& a) {
  CLI::App* run = app.add_subcommand("run", "Run a model");
  run->add_option("MODEL", a.model, kModelHelp);
  run->add_option("--set", a.sets, "Set an input: NAME=VALUE, or NAME=@FILE to read the value from a file")
      ->type_name("NAME=VALUE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  run->add_option("--inputs", a.inputs, "JSON file of inputs")->type_name("FILE");
  run->add_option("--outputs", a.outputs, "Write the outputs as JSON")->type_name("FILE");
  run->add_flag("--json", a.json, "Print the outputs as JSON");
  run->add_option("--threads", a.threads, "Number of threads; 0 runs everything serially")
      ->type_name("N")
      ->check(&WhyNoCount);
  run->add_option("--preferences", a.preferences, "JSON file of preferences")->type_name("FILE");
  run->add_option("--pref", a.prefs, "Set a preference for this run")
      ->type_name("CATEGORY/NAME=VALUE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  run->add_option("--log", a.log, "Write the session log there instead of to standard error")->type_name("FILE");
  run->add_option("--messages", a.messages, "Write each message as a line of JSON")->type_name("FILE");
  run->add_option("--progress", a.progress, "How progress is shown")
      ->check(CLI::IsMember({"auto", "bar", "plain", "none"}))
      ->type_name("KIND");
  run->add_option("--preview", a.preview, "Write what Preview operators show as files there")->type_name("FOLDER");
  run->add_option("--profile", a.profile, "Tell what each operator took, or write it as JSON to FILE")
      ->type_name("[FILE]")
      ->expected(0, 1);
  run->add_flag("--no-external", a.noExternal, "Start no external programs: operators that would fail");
  run->add_flag("--quiet", a.quiet, "Tell nothing but errors");
}

void AddOthers(CLI::App& app, Arguments& a) {
  CLI::App* info = app.add_subcommand("info", "Ports, types, defaults and operators of a model");
  info->add_option("MODEL", a.model, kModelHelp)->required();
  info->add_flag("--json", a.json, "As JSON");
  CLI::App* check = app.add_subcommand("check", "Validate documents, and tell what they would start, write and delete");
  check->add_option("MODEL", a.models, kModelHelp)->required();
  check->add_flag("--json", a.json, "As JSON");
  CLI::App* save = app.add_subcommand("save", "Write a model in the format of another extension");
  save->add_option("MODEL", a.model, kModelHelp)->required();
  save->add_option("OUTPUT", a.output, "File to write (.tsmx, .tsmc)")->required();
  CLI::App* list = app.add_subcommand("list", "The catalogue: operators, conversions, data types, formats");
  list->add_option("CATEGORY", a.category, "What to list; everything but the kernels where it is left out")
      ->check(Suggested("{operators,conversions,data,datarequests,modelformats,uiproviders,kernels}"));
  list->add_option("--library", a.library, "With kernels: another kernel library than the installation's")
      ->type_name("FILE");
  list->add_flag("--json", a.json, "As JSON");
  CLI::App* describe = app.add_subcommand("describe", "An operator's ports, types, defaults and texts");
  describe->add_option("OPERATOR", a.operatorName, "Name, such as VANTIX.Report")->required();
  describe->add_flag("--json", a.json, "As JSON");
  CLI::App* draw = app.add_subcommand("draw", "A picture of a model: DOT text, or SVG with -o");
  draw->add_option("MODEL", a.model, kModelHelp)->required();
  draw->add_option("-o,--output", a.output, "Picture to write (.svg), or DOT text (.dot)")->type_name("FILE");
  CLI::App* preferences = app.add_subcommand("preferences", "The preference store");
  preferences->add_option("ACTION", a.action, "get, set or list")->check(CLI::IsMember({"get", "set", "list"}));
  preferences->add_option("NAME", a.preference, "CATEGORY/NAME");
  preferences->add_option("VALUE", a.value, "The value to set");
  preferences->add_flag("--json", a.json, "As JSON");
  CLI::App* completion = app.add_subcommand("completion", "Completions of this command line for a shell");
  completion->add_option("SHELL", a.shell, "The shell")->required()->check(CLI::IsMember({"bash", "zsh", "fish"}));
  app.add_subcommand("schema", "A JSON Schema of model documents, for editors and validators");
  app.add_subcommand("manual", "This help as a manual page, for man");
}

/// What stands nowhere in the command line's own description.
ProgramFacts OwnFacts() {
  ProgramFacts facts;
  facts.name = "tessera";
  facts.summary = "run dataflow models";
  facts.text = "Runs dataflow models.";
  facts.version = "tessera " TESSERA_VERSION;
  facts.exitStatuses = {
      {"0", "Done"},
      {"1", "The model failed; the last line of standard error names the operator"},
      {"2", "The call, the document or an input is wrong, and nothing has run; or a file could not be written"},
      {"129, 130, 143", "Stopped by SIGHUP, SIGINT or SIGTERM; temporary files and locks are gone"}};
  facts.variables = {{"VANTIX_HOME", "Root of the installation; found from the engine's own place where it isn't set"},
                     {"ARCHM", "Name of the platform, as in $VANTIX_HOME/bin/$ARCHM"},
                     {"ComSpec", "The command shell of batch runs; the installation's own where it isn't set"},
                     {"VANTIX_PLUGIN_PATH", "Further folders of plug-ins, separated by colons"},
                     {"XDG_CONFIG_HOME",
                      "The user's preferences are in tessera/preferences.json below it; ~/.config where it isn't set"},
                     {"TESSERA_PREFERENCES",
                      "A file of preferences that hold after the user's own; set for the processes of a batch run"}};
  return facts;
}

void Describe(CLI::App& app, Arguments& a) {
  const ProgramFacts own = OwnFacts();
  app.description(own.text);
  app.name(own.name);
  app.set_version_flag("--version", own.version, "The version");
  app.require_subcommand(1);
  app.footer([own] { return HelpEnd(own); });
  AddRun(app, a);
  AddOthers(app, a);
}

OptionFacts GetFacts(const CLI::Option& option) {
  OptionFacts facts;
  facts.isPositional = option.get_positional();
  if (facts.isPositional) facts.names.push_back(option.get_name(true));
  for (const std::string& name : option.get_snames()) facts.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) facts.names.push_back("--" + name);
  facts.text = option.get_description();
  facts.isRequired = option.get_required();
  facts.isRepeatable =
      option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll || option.get_items_expected_max() > 1;
  if (option.get_items_expected_max() == 0) return facts;
  // "TYPE:{one,two}" where the values are known.
  std::string type = option.get_type_name();
  if (const std::size_t braces = type.find(":{"); braces != std::string::npos) {
    std::string values = type.substr(braces + 2, type.rfind('}') - braces - 2);
    facts.choices = CLI::detail::split(values, ',');
    type.resize(braces);
  }
  facts.value = facts.isPositional ? facts.names.front() : type;
  facts.isValueOptional = option.get_items_expected_min() == 0;
  return facts;
}

std::vector<OptionFacts> GetFacts(const CLI::App& app) {
  std::vector<OptionFacts> facts;
  for (const CLI::Option* option : app.get_options()) facts.push_back(GetFacts(*option));
  return facts;
}

ProgramFacts GetProgramFacts() {
  CLI::App app;
  Arguments unused;
  Describe(app, unused);
  ProgramFacts facts = OwnFacts();
  facts.options = GetFacts(app);
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    facts.commands.push_back({command->get_name(), command->get_description(), GetFacts(*command)});
  return facts;
}

int Misused(const std::string& text) {
  std::fprintf(stderr, "error: %s (see tessera --help)\n", text.c_str());
  return kRefused;
}

bool IsModelName(const std::string& name) {
  return name.size() > 5 && (name.ends_with(".tsmx") || name.ends_with(".tsmc"));
}

/// The file of --profile may be left out, and what stands behind it then is the model.
bool CompleteRun(const CLI::App& run, Arguments& a, int& status) {
  a.hasThreads = run.get_option("--threads")->count() > 0;
  a.hasPreview = run.get_option("--preview")->count() > 0;
  a.hasProfile = run.get_option("--profile")->count() > 0;
  if (a.model.empty()) a.model.swap(a.profile);
  if (a.model.empty())
    status = Misused("MODEL is required");
  else if (IsModelName(a.profile))
    status = Misused("--profile: " + a.profile + " is a model, not a file to be written");
  else
    return true;
  return false;
}

/// Where the call has a command that there is none of; empty otherwise.
std::string WrongCommand(const CLI::App& app, int count, char** words) {
  if (!app.get_subcommands().empty()) return {};
  const auto* const word =
      std::find_if(words + std::min(count, 1), words + count, [](const char* w) { return *w != '-'; });
  if (word == words + count) return {};
  std::vector<std::wstring> known;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    known.push_back(WideWord(command->get_name()));
  const std::wstring nearest = kstr_NearestName(WideWord(*word), known);
  return std::string("there is no command \"") + *word + "\"" +
         (nearest.empty() ? "" : "; did you mean \"" + kstr_ToUtf8(nearest) + "\"?");
}

/// An empty text is a value as well: one that is missing is told apart by the call alone.
bool CompletePreferences(const CLI::App& preferences, const Arguments& a, int& status) {
  if (a.action != "set" || preferences.get_option("VALUE")->count() > 0) return true;
  status = Misused(a.preference.empty() ? "preferences set: NAME and VALUE are required"
                                        : "preferences set: VALUE is required");
  return false;
}

}  // namespace

int Completion(const Arguments& arguments) {
  WriteOutput(CompletionFor(GetProgramFacts(), arguments.shell));
  return kDone;
}

int Manual(const Arguments&) {
  WriteOutput(ManualPage(GetProgramFacts()));
  return kDone;
}

bool ReadArguments(int count, char** words, Arguments& arguments, int& status) {
  CLI::App app;
  Describe(app, arguments);
  try {
    app.parse(count, words);
  } catch (const CLI::Success& success) {
    status = app.exit(success);
    return false;
  } catch (const CLI::ParseError& error) {
    std::string text = WrongCommand(app, count, words);
    if (text.empty()) text = error.what();
    while (!text.empty() && text.back() == '\n') text.pop_back();
    status = Misused(text);
    return false;
  }
  const CLI::App* command = app.get_subcommands().front();
  arguments.command = command->get_name();
  if (arguments.command == "preferences") return CompletePreferences(*command, arguments, status);
  return arguments.command != "run" || CompleteRun(*command, arguments, status);
}

}  // namespace TesseraProgram
