#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <map>

#include "kcommon/kfio.h"
#include "kcommon/kstr.h"
#include "program.h"

extern char** environ;

namespace TesseraProgram {

using namespace Tamrin::Tessera;

namespace {

std::string Quoted(const std::wstring& text) {
  std::string quoted = "\"";
  for (const char c : kstr_ToUtf8(text)) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (c == '\n') {
      quoted += "\\n";
    } else if (c == '&') {
      quoted += "&amp;";  // otherwise a name that looks like an entity would be shown as its character
    } else {
      const auto byte = static_cast<unsigned char>(c);
      quoted += byte < 0x20 || byte == 0x7F ? ' ' : c;  // XML has no room for control characters
    }
  }
  return quoted + "\"";
}

class Picture {
 public:
  std::string Draw(const Model& model) {
    text_ = "digraph {\n  rankdir=LR;\n  node [shape=box, style=rounded];\n";
    const Operator* const whole = model.AllowsReflection() ? nullptr : &model;
    if (whole)
      text_ += "  " + Name(whole) + " [label=" + Quoted(model.GetDisplayName()) + "];\n";
    else
      DrawInside(model, "  ");
    for (const auto& port : model.GetPorts()) DrawModelPort(*port, whole);
    return text_ + edges_ + "}\n";
  }

 private:
  std::string Name(const Operator* op) {
    return "n" + std::to_string(numbers_.try_emplace(op, numbers_.size()).first->second);
  }
  void DrawInside(const Model& model, const std::string& indent) {
    for (const auto& op : model.GetOperators()) {
      const auto* inner = dynamic_cast<const Model*>(op.get());
      const bool isBox = inner && inner->IsDrawnWithChildren() && inner->IsOpenable() && inner->AllowsReflection() &&
                         !inner->GetOperators().empty();
      if (isBox) {
        text_ += indent + "subgraph cluster_" + Name(op.get()) + " {\n" + indent +
                 "  label=" + Quoted(op->GetDisplayName()) + ";\n";
        text_ += indent + "  " + Name(op.get()) + " [label=" + Quoted(op->GetDisplayName()) + ", style=dashed];\n";
        DrawInside(*inner, indent + "  ");
        text_ += indent + "}\n";
      } else {
        text_ += indent + Name(op.get()) + " [label=" + Quoted(op->GetDisplayName()) + "];\n";
      }
      for (const auto& port : op->GetPorts()) DrawIncoming(*op, *port);
      for (const auto& parent : op->GetParentsWithoutConnection())
        edges_ += "  " + Name(parent.get()) + " -> " + Name(op.get()) + " [style=dotted];\n";
    }
  }
  void DrawIncoming(const Operator& op, const Port& port) {
    const auto connection = port.GetIncomingConnection();
    const auto source = connection ? connection->GetSource() : nullptr;
    const auto from = source ? source->TryGetOperator() : nullptr;
    if (!from) return;
    edges_ += "  " + Name(from.get()) + " -> " + Name(&op) + " [taillabel=" + Quoted(source->GetName()) +
              ", headlabel=" + Quoted(port.GetName()) + "];\n";
  }
  /// `whole` is the model where it shows nothing of its inside, otherwise null.
  void DrawModelPort(const Port& port, const Operator* whole) {
    const std::string name = "p" + std::to_string(ports_++);
    text_ += "  " + name + " [label=" + Quoted(port.GetDisplayName()) + ", shape=ellipse];\n";
    if (whole) {
      DrawModelEdge(port, name, *whole);
      return;
    }
    for (const auto& inner : port.GetInnerAliasedPorts()) {
      if (const auto op = inner->TryGetOperator()) DrawModelEdge(port, name, *op);
    }
  }
  void DrawModelEdge(const Port& port, const std::string& name, const Operator& op) {
    edges_ += port.IsOutput() ? "  " + Name(&op) + " -> " + name + ";\n" : "  " + name + " -> " + Name(&op) + ";\n";
  }

  std::string text_, edges_;
  std::map<const Operator*, std::size_t> numbers_;
  int ports_ = 0;
};

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// A file in memory; raises Refusal where there is none to be had.
class MemoryFile {
 public:
  explicit MemoryFile(const std::wstring& output) : number_(::memfd_create("picture", MFD_CLOEXEC)) {
    if (number_ < 0) throw Refusal(output + L": the picture can't be written");
  }
  ~MemoryFile() { ::close(number_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  int Get() const { return number_; }
  std::wstring Name() const { return L"/proc/self/fd/" + std::to_wstring(number_); }

 private:
  const int number_;
};

/// Runs dot from one open file to another. Zero, or the error number of a program that can't be started; `status`
/// is its end.
int RunDot(int from, int to, int& status) {
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, from, STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, to, STDOUT_FILENO);
  const char* const words[] = {"dot", "-Tsvg", nullptr};
  pid_t child = 0;
  const int failure = ::posix_spawnp(&child, "dot", &actions, nullptr, const_cast<char**>(words), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  while (failure == 0 && ::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return failure;
}

void WriteSvg(const std::string& dot, const std::string& output) {
  const std::wstring name = WideWord(output);
  const MemoryFile source(name), picture(name);
  kfio::WriteBytes(source.Name(), dot);
  ::lseek(source.Get(), 0, SEEK_SET);
  int status = 0;
  const int failure = RunDot(source.Get(), picture.Get(), status);
  if (failure == ENOENT) throw Refusal(name + L": the program \"dot\" is not installed; write a .dot file instead");
  if (failure || status != 0) throw Refusal(name + L": the program \"dot\" could not draw the picture");
  kfio::WriteBytes(name, kfio::ReadBytes(picture.Name()));
}

/// A name without an extension, such as that of a pipe, takes DOT text.
void RequireKnownForm(const std::string& output) {
  const std::size_t slash = output.rfind('/');
  const std::string file = slash == std::string::npos ? output : output.substr(slash + 1);
  const std::size_t stop = file.rfind('.');
  if (stop == std::string::npos || stop == 0) return;
  const std::string extension = file.substr(stop);
  if (extension != ".svg" && extension != ".dot" && extension != ".gv")
    throw Refusal(WideWord(output) + L": found the extension \"" + WideWord(extension) + L"\", expected .svg or .dot");
}

}  // namespace

int Draw(const Arguments& arguments) {
  RequireKnownForm(arguments.output);
  LoadPreferences(arguments);
  const auto model = OpenModel(arguments.model, false);
  const std::string dot = Picture().Draw(*model);
  if (arguments.output.empty()) {
    WriteOutput(dot);
    return kDone;
  }
  try {
    if (EndsWith(arguments.output, ".svg"))
      WriteSvg(dot, arguments.output);
    else
      kfio::WriteBytes(WideWord(arguments.output), dot);
  } catch (const Refusal&) {
    throw;
  } catch (const std::exception&) {
    throw Refusal(WideWord(arguments.output) + L": " + CurrentExceptionText());
  }
  return kDone;
}

}  // namespace TesseraProgram
