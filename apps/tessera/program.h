#pragma once

#include <boost/shared_ptr.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "txlib/document.h"
#include "txlib/jsonvalue.h"
#include "txlib/model.h"

namespace TesseraProgram {

using Tamrin::Tessera::JsonValue;

enum ExitStatus { kDone = 0, kModelFailed = 1, kRefused = 2 };

/// A call, document or input that is wrong. The text goes behind "error: " as it stands.
class Refusal : public std::runtime_error {
 public:
  explicit Refusal(const std::wstring& text);
};

struct Arguments {
  std::string command;
  std::vector<std::string> models;
  std::string model, output, category, library, operatorName, action, preference, value, shell;
  std::vector<std::string> sets, prefs;
  std::string inputs, outputs, preferences, log, messages, progress = "auto";
  std::string preview, profile;
  unsigned threads = 0;
  bool hasThreads = false, hasPreview = false, hasProfile = false, json = false, quiet = false, noExternal = false;
};

/// Reads the command line. True where there is a command to run; otherwise `status` is what to exit with.
bool ReadArguments(int count, char** words, Arguments& arguments, int& status);

int Run(const Arguments& arguments);
int Info(const Arguments& arguments);
int Check(const Arguments& arguments);
int Save(const Arguments& arguments);
int List(const Arguments& arguments);
/// The kernels of a library.
int ListKernels(const Arguments& arguments);
int Describe(const Arguments& arguments);
int Draw(const Arguments& arguments);
int Preferences(const Arguments& arguments);
int Completion(const Arguments& arguments);
int Manual(const Arguments& arguments);
/// A JSON Schema of documents, made from the catalogue.
int Schema(const Arguments& arguments);

// What the commands share.

/// Wide text of a word of the command line; bytes that are no UTF-8 survive in file names.
std::wstring WideWord(const std::string& word);
/// Standard output. A failure is told by FlushOutput, which every command ends with; it raises Refusal.
void WriteOutput(const std::string& bytes);
void FlushOutput();
void Print(const std::wstring& text);
void PrintError(const std::wstring& text);
void PrintJson(const JsonValue& json);
/// Warns, once, of plug-ins that can't be used: what a document or a call misses may be theirs.
void PrintPluginProblems();
/// Tells each fault on a line of its own.
void PrintProblems(const std::string& file, const std::vector<Tamrin::Tessera::DocumentProblem>& problems);
/// Bytes of a document, "-" being standard input.
std::string ReadModelBytes(const std::string& model);
/// Opens a document; its warnings are told unless `quiet`. Raises Refusal where it can't be read.
boost::shared_ptr<Tamrin::Tessera::Model> OpenModel(const std::string& model, bool quiet);
/// Tells the programs that a model would start and the files that it would write or delete, as far as that is known:
/// on standard output, or in an array.
void TellEffects(const std::string& file, Tamrin::Tessera::Model& model, JsonValue* json);
/// Text of what was thrown, to be called in a catch block.
std::wstring CurrentExceptionText();
/// Reads a JSON file of the user; raises Refusal.
JsonValue ReadJsonFile(const std::string& file);
/// Kind of a port: "input", "output", "setting".
const wchar_t* KindName(Tamrin::Tessera::PortType kind);
JsonValue PortToJson(Tamrin::Tessera::Port& port);
std::wstring PortToText(Tamrin::Tessera::Port& port);

// Preferences: installation, user, file, command line.
void LoadPreferences(const Arguments& arguments);

}  // namespace TesseraProgram
