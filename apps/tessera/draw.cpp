#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

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
    if (c == '"' || c == '\\') quoted += '\\';
    if (c == '\n')
      quoted += "\\n";
    else
      quoted += c;
  }
  return quoted + "\"";
}

class Picture {
 public:
  std::string Draw(const Model& model) {
    text_ = "digraph {\n  rankdir=LR;\n  node [shape=box, style=rounded];\n";
    DrawInside(model, "  ");
    for (const auto& port : model.GetPorts()) DrawModelPort(*port);
    return text_ + edges_ + "}\n";
  }

 private:
  std::string Name(const Operator* op) {
    return "n" + std::to_string(numbers_.try_emplace(op, numbers_.size()).first->second);
  }
  void DrawInside(const Model& model, const std::string& indent) {
    for (const auto& op : model.GetOperators()) {
      const auto* inner = dynamic_cast<const Model*>(op.get());
      const bool isBox =
          inner && inner->IsDrawnWithChildren() && inner->AllowsReflection() && !inner->GetOperators().empty();
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
  void DrawModelPort(const Port& port) {
    const std::string name = "p" + std::to_string(ports_++);
    text_ += "  " + name + " [label=" + Quoted(port.GetDisplayName()) + ", shape=ellipse];\n";
    for (const auto& inner : port.GetInnerAliasedPorts()) {
      const auto op = inner->TryGetOperator();
      if (!op) continue;
      edges_ += port.IsOutput() ? "  " + Name(op.get()) + " -> " + name + ";\n"
                                : "  " + name + " -> " + Name(op.get()) + ";\n";
    }
  }

  std::string text_, edges_;
  std::map<const Operator*, std::size_t> numbers_;
  int ports_ = 0;
};

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

void WriteSvg(const std::string& dot, const std::string& output) {
  // Beside its place, then renamed.
  const std::string pid = std::to_string(::getpid());
  const std::string source = output + "." + pid + ".dot";
  const std::string target = output + "." + pid + ".tmp";
  kfio::WriteBytes(WideWord(source), dot);
  const char* const words[] = {"dot", "-Tsvg", "-o", target.c_str(), source.c_str(), nullptr};
  pid_t child = 0;
  const int failure = ::posix_spawnp(&child, "dot", nullptr, nullptr, const_cast<char**>(words), environ);
  int status = 0;
  if (failure == 0) ::waitpid(child, &status, 0);
  ::unlink(source.c_str());
  if (failure == 0 && status == 0 && std::rename(target.c_str(), output.c_str()) == 0) return;
  ::unlink(target.c_str());
  throw Refusal(WideWord(output) + (failure ? L": the program \"dot\" is not installed; write a .dot file instead"
                                            : L": the picture can't be written"));
}

}  // namespace

int Draw(const Arguments& arguments) {
  LoadPreferences(arguments);
  const auto model = OpenModel(arguments.model, false);
  const std::string dot = Picture().Draw(*model);
  if (arguments.output.empty()) {
    std::fwrite(dot.data(), 1, dot.size(), stdout);
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
