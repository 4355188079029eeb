#include "txlib/effects.h"

#include <set>

#include "kcommon/kstr.h"
#include "program.h"
#include "txlib/factories.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;

namespace {

/// Ids from the outermost model's inwards; the display name where a document gave none.
std::wstring PathOf(const Operator& op) {
  std::wstring path;
  for (const OperatorStep& step : GetOperatorPath(op)) {
    const std::string id = GetDocumentId(*step.op);
    path += (path.empty() ? L"" : L".") + (id.empty() ? step.op->GetDisplayName() : kstr_FromUtf8Lossy(id));
  }
  return path.empty() ? op.GetDisplayName() : path;
}

const wchar_t* VerbOf(Effect::Kind kind) {
  return kind == Effect::Kind::Start ? L"starts" : kind == Effect::Kind::Write ? L"writes" : L"deletes";
}

std::wstring TextOf(const Effect& effect) {
  const std::wstring verb = VerbOf(effect.kind) + std::wstring(L" ");
  if (effect.kind == Effect::Kind::Start) {
    const bool isFile = effect.name.find(L'/') != std::wstring::npos;
    return verb + effect.source + (isFile ? L" (" + effect.name + L")" : std::wstring());
  }
  return verb + (effect.name.empty() ? L"what only the run will tell, by " + effect.source : effect.name);
}

JsonValue ToJson(const std::wstring& path, const Effect& effect) {
  JsonValue json(JsonValueType::Object);
  json.Set("operator", JsonValue(path));
  json.Set("effect", JsonValue(VerbOf(effect.kind)));
  json.Set("name", effect.name.empty() ? JsonValue() : JsonValue(effect.name));
  json.Set("source", JsonValue(effect.source));
  return json;
}

class Teller {
 public:
  Teller(const std::string& file, JsonValue* json) : file_(WideWord(file)), json_(json) {}

  void Tell(Operator& op) {
    const Operator& visible = Model::GetVisible(op);
    const std::wstring path = PathOf(visible);
    try {
      for (const Effect& effect : GetEffects(op)) Tell(path, &visible == &op ? effect : Hidden(effect.kind));
    } catch (const std::exception&) {
      PrintError(L"warning: " + file_ + L": " + path + L": " + CurrentExceptionText());
    }
  }

 private:
  /// That something is done is told of a model that hides its inside, and not what.
  static Effect Hidden(Effect::Kind kind) {
    if (kind == Effect::Kind::Start) return {kind, {}, L"a program that the model hides"};
    return {kind, {}, L"an operator that the model hides"};
  }

  void Tell(const std::wstring& path, const Effect& effect) {
    const std::wstring line = file_ + L": " + path + L": " + TextOf(effect);
    if (!told_.insert(line).second) return;
    if (json_)
      json_->Append(ToJson(path, effect));
    else
      Print(line);
  }

  const std::wstring file_;
  JsonValue* const json_;
  std::set<std::wstring> told_;  ///< what is hidden is the same for many operators
};

}  // namespace

void TellEffects(const std::string& file, Model& model, JsonValue* json) {
  Teller teller(file, json);
  for (const auto& op : model.GetAllOperators(true)) teller.Tell(*op);
}

}  // namespace TesseraProgram
