#include <functional>
#include <list>
#include <mutex>

#include "documentreader.h"
#include "jsonlib/events.h"
#include "kcommon/kstr.h"

namespace Tamrin::Tessera {

namespace {

using namespace DocumentKeys;

/// Parsed texts, the last used first.
class ParsedTexts {
 public:
  bool Find(std::string_view text, JsonValue& json) {
    const std::size_t hash = std::hash<std::string_view>()(text);
    const std::lock_guard lock(mutex_);
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
      if (entry->hash != hash || entry->text != text) continue;
      json = entry->json;
      entries_.splice(entries_.begin(), entries_, entry);
      return true;
    }
    return false;
  }
  void Keep(std::string_view text, const JsonValue& json) {
    std::list<Entry> dropped;  // destroyed outside of the lock
    const std::lock_guard lock(mutex_);
    entries_.push_front({std::hash<std::string_view>()(text), std::string(text), json});
    if (entries_.size() > kMost) dropped.splice(dropped.begin(), entries_, std::prev(entries_.end()));
  }

 private:
  static constexpr std::size_t kMost = 8;
  struct Entry {
    std::size_t hash;
    std::string text;
    JsonValue json;
  };
  std::mutex mutex_;
  std::list<Entry> entries_;
};

// Never destroyed: models of static objects may be opened and closed late.
ParsedTexts& Texts() {
  static ParsedTexts& texts = *new ParsedTexts;
  return texts;
}

/// Tells where the text stops being JSON.
class NoEvents : public korven::jsonlib::EventHandler {
 public:
  bool Null() override { return true; }
  bool Bool(bool) override { return true; }
  bool Int(std::int64_t) override { return true; }
  bool Unsigned(std::uint64_t) override { return true; }
  bool Double(double) override { return true; }
  bool String(std::string_view) override { return true; }
  bool StartObject() override { return true; }
  bool Key(std::string_view) override { return true; }
  bool EndObject() override { return true; }
  bool StartArray() override { return true; }
  bool EndArray() override { return true; }
};

bool Parse(std::string_view text, JsonValue& json, DocumentFaults& faults, DocumentProblem& problem) {
  if (Texts().Find(text, json)) return true;
  std::string error;
  bool hasEqualKeys = false;
  if (json.DeserializeUtf8(text, true, &error, &hasEqualKeys)) {
    // What is refused each time need not be kept.
    if (hasEqualKeys)
      faults.NoteRepeatedKeys();
    else
      Texts().Keep(text, json);
    return true;
  }
  NoEvents handler;
  korven::jsonlib::ParseError where;
  korven::jsonlib::ParseEvents(text, handler, {}, where);
  problem.line = where.line;
  problem.column = where.column;
  problem.text = Wide(where.text.empty() ? error : where.text);
  return false;
}

void CheckVersion(DocumentReading& reading, const JsonValue& json) {
  const DocumentPlace root;
  const DocumentPlace formatPlace(root, kModel[Format]);
  const JsonValue* format = json.Find(kModel[Format]);
  if (!format)
    reading.faults.Error(formatPlace, L"found nothing, expected \"" + Wide(kPlainFormat) + L"\"");
  else if (format->AsUtf8() != kPlainFormat)
    reading.WrongType(*format, formatPlace, L"\"TesseraModelFormat\"");
  const DocumentPlace versionPlace(root, kModel[Version]);
  const JsonValue* version = json.Find(kModel[Version]);
  if (!version)
    reading.faults.Error(versionPlace, L"found nothing, expected 1");
  else if (!version->IsInteger() || version->AsInt64() < 1)
    reading.WrongType(*version, versionPlace, L"1");
  else if (version->AsInt64() > kPlainVersion)
    reading.faults.Error(versionPlace, L"found version " + version->Serialize() +
                                           L", but this program reads documents up to version 1; a newer one is "
                                           L"needed");
}

boost::shared_ptr<Model> MakeOutermost(DocumentReading& reading, const JsonValue& json) {
  const DocumentPlace root;
  const JsonValue* name = json.Find(kModel[OperatorOf]);
  const DocumentPlace place(root, kModel[OperatorOf]);
  boost::shared_ptr<Model> model;
  if (!name || (reading.IsText(*name, place) && name->AsUtf8() == "VANTIX.Model")) {
    model = boost::make_shared<Model>();
    model->Initialize();
  } else if (name->IsString()) {
    // Without its operator nothing could be run or shown.
    reading.unknownOperatorIsError = true;
    const auto made = reading.Create(name->AsUtf8(), place);
    model = boost::dynamic_pointer_cast<Model>(made);
    if (made && !model) reading.WrongType(*name, place, L"the name of an operator that holds a model");
  }
  if (model && !DocumentFolderScope::Current().empty())
    model->SetDocumentFolder(DocumentFolderScope::Current());
  return model;
}

boost::shared_ptr<Model> Read(std::string_view text, bool checking, std::vector<DocumentProblem>& problems) {
  JsonValue json;
  DocumentReading reading;
  DocumentProblem malformed;
  if (!Parse(text, json, reading.faults, malformed)) {
    problems.push_back(std::move(malformed));
    return nullptr;
  }
  boost::shared_ptr<Model> model;
  if (reading.IsObject(json, {})) {
    CheckVersion(reading, json);
    // A document of another format or version would only bring faults that are none.
    if (!reading.faults.HasErrors()) model = MakeOutermost(reading, json);
    if (model) {
      reading.unknownOperatorIsError = checking;
      DocumentModelReader(reading, model, json, {}, true).Read();
    }
  }
  if (!reading.faults.IsEmpty()) problems = reading.faults.TakeLocated(text);
  return model;
}

}  // namespace

namespace PlainDocument {

boost::shared_ptr<Model> Open(std::string_view utf8, std::vector<DocumentProblem>* warnings) {
  std::vector<DocumentProblem> problems;
  auto model = Read(utf8, false, problems);
  for (const DocumentProblem& problem : problems) {
    if (!problem.warning) throw DocumentException(std::move(problems));
  }
  if (warnings) warnings->insert(warnings->end(), problems.begin(), problems.end());
  return model;
}

std::vector<DocumentProblem> Check(std::string_view utf8) {
  std::vector<DocumentProblem> problems;
  Read(utf8, true, problems);
  return problems;
}

}  // namespace PlainDocument

}  // namespace Tamrin::Tessera
