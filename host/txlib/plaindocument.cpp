#include <string.h>

#include <functional>
#include <list>
#include <mutex>
#include <optional>

#include "documentreader.h"
#include "jsonlib/events.h"
#include "kcommon/kstr.h"

namespace Tamrin::Tessera {

namespace {

using namespace DocumentKeys;

/// What is known of texts that were opened before, the last used first.
class ParsedTexts {
 public:
  struct Known {
    JsonValue json;
    bool wasRead = false;                          ///< the text was opened more than once
    boost::shared_ptr<const DocumentSteps> steps;  ///< null where the text is to be read again each time
  };

  bool Find(std::string_view text, Known& known) {
    const std::size_t hash = std::hash<std::string_view>()(text);
    const std::lock_guard lock(mutex_);
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
      if (entry->hash != hash || entry->text != text) continue;
      known = entry->known;
      entry->known.wasRead = true;
      entries_.splice(entries_.begin(), entries_, entry);
      return true;
    }
    return false;
  }
  /// The steps of a text that was last asked for as wide text; null for any other.
  boost::shared_ptr<const DocumentSteps> FindSteps(std::wstring_view text) {
    const std::lock_guard lock(mutex_);
    for (const Entry& entry : entries_) {
      if (entry.wide == text) return entry.known.steps;
    }
    return nullptr;
  }
  void Keep(std::string_view text, const JsonValue& json) {
    std::list<Entry> dropped;  // destroyed outside of the lock
    const std::lock_guard lock(mutex_);
    entries_.push_front({std::hash<std::string_view>()(text), std::string(text), {}, {json, false, nullptr}});
    if (entries_.size() > kMost) dropped.splice(dropped.begin(), entries_, std::prev(entries_.end()));
  }
  void KeepSteps(std::string_view text, const boost::shared_ptr<const DocumentSteps>& steps) {
    const std::lock_guard lock(mutex_);
    for (Entry& entry : entries_) {
      if (entry.text == text) entry.known.steps = steps;
    }
  }
  void KeepWide(std::string_view text, const std::wstring& wide) {
    const std::lock_guard lock(mutex_);
    for (Entry& entry : entries_) {
      if (entry.text == text) entry.wide = wide;
    }
  }

 private:
  static constexpr std::size_t kMost = 8;
  struct Entry {
    std::size_t hash;
    std::string text;
    std::wstring wide;
    Known known;
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

bool Parse(std::string_view text, ParsedTexts::Known& known, DocumentFaults& faults, DocumentProblem& problem) {
  if (Texts().Find(text, known)) return true;
  JsonValue& json = known.json;
  std::string error;
  bool hasEqualKeys = false;
  if (json.DeserializeUtf8(text, true, &error, &hasEqualKeys)) {
    // What is refused each time need not be kept.
    if (hasEqualKeys)
      faults.NoteRepeatedKeys();
    else if (!UnkeptTextScope::IsActive())
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

/// False, and a fault, where the outermost model can't be made.
bool MakeOutermost(DocumentReading& reading, const JsonValue& json) {
  const DocumentPlace root;
  const JsonValue* name = json.Find(kModel[OperatorOf]);
  const DocumentPlace place(root, kModel[OperatorOf]);
  if (name && !reading.IsText(*name, place)) return false;
  // Without its operator nothing could be run or shown.
  reading.unknownOperatorIsError = true;
  const OperatorMaker maker = reading.FindMaker(name ? name->AsUtf8() : "VANTIX.Model", place);
  if (!maker) return false;
  const auto memory = boost::make_shared<DocumentMemory>();
  bool isModel = false;
  reading.Guard(place, [&] {
    reading.Do([maker, memory](DocumentCopy& copy) {
      const auto op = maker();
      DocumentSlot(*op) = memory;
      auto* const model = dynamic_cast<Model*>(op.get());
      if (model) ModelState::Of(*model).documentFolder = DocumentFolderScope::Shared();
      copy.Add(op);
    });
    isModel = dynamic_cast<Model*>(reading.made.Op(0).get()) != nullptr;
    if (!isModel) reading.WrongType(*name, place, L"the name of an operator that holds a model");
  });
  return isModel;
}

/// Null where there are no steps, or where an operator is no longer as it was; then the text has to be read.
boost::shared_ptr<Model> Repeat(const boost::shared_ptr<const DocumentSteps>& steps) {
  if (!steps) return nullptr;
  const ReadingScope scope;  // whatever is wrong is told by the reading that follows
  try {
    return steps->Repeat();
  } catch (const CancellationBase&) {
    throw;
  } catch (const std::exception&) {
    return nullptr;
  }
}

/// Reads the text, or, where it was read before without a fault, does again what was done then.
boost::shared_ptr<Model> Read(std::string_view text, bool checking, std::vector<DocumentProblem>& problems) {
  ParsedTexts::Known known;
  const ReadingScope scope;
  DocumentReading reading;
  DocumentProblem malformed;
  if (!Parse(text, known, reading.faults, malformed)) {
    problems.push_back(std::move(malformed));
    return nullptr;
  }
  if (known.wasRead && !checking) {
    if (const auto copy = Repeat(known.steps)) return copy;
    reading.steps = boost::make_shared<DocumentSteps>();
  }
  boost::shared_ptr<Model> model;
  if (reading.IsObject(known.json, {})) {
    CheckVersion(reading, known.json);
    // A document of another format or version would only bring faults that are none.
    if (!reading.faults.HasErrors() && MakeOutermost(reading, known.json)) {
      model = boost::static_pointer_cast<Model>(reading.made.Op(0));
      reading.unknownOperatorIsError = checking;
      DocumentModelReader(reading, 0, known.json, {}, true).Read();
    }
  }
  if (!reading.faults.IsEmpty()) {
    problems = reading.faults.TakeLocated(text);
  } else if (reading.steps) {
    reading.steps->ShareFacts(reading.made);
    Texts().KeepSteps(text, reading.steps);
  }
  return model;
}

}  // namespace

namespace {
thread_local unsigned unkeptTexts = 0;

struct ShortLivedText {
  explicit ShortLivedText(const std::wstring& text) : bytes(kstr_ToUtf8(text)) {}
  ~ShortLivedText() { ::explicit_bzero(bytes.data(), bytes.size()); }
  std::string bytes;
};
}  // namespace

UnkeptTextScope::UnkeptTextScope() { ++unkeptTexts; }
UnkeptTextScope::~UnkeptTextScope() { --unkeptTexts; }
bool UnkeptTextScope::IsActive() { return unkeptTexts != 0; }

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

boost::shared_ptr<Model> OpenWide(const std::wstring& text) {
  if (const auto copy = Repeat(Texts().FindSteps(text))) return copy;
  if (UnkeptTextScope::IsActive()) {
    const ShortLivedText utf8(text);
    return Open(utf8.bytes);
  }
  const std::string utf8 = kstr_ToUtf8(text);
  auto model = Open(utf8);
  Texts().KeepWide(utf8, text);
  return model;
}

std::vector<DocumentProblem> Check(std::string_view utf8, const std::wstring& file) {
  std::vector<DocumentProblem> problems;
  std::optional<OpeningScope> opening;
  if (!file.empty()) opening.emplace(file);
  Read(utf8, true, problems);
  return problems;
}

}  // namespace PlainDocument

}  // namespace Tamrin::Tessera
