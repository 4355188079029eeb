#include "translate.h"

#include <vector>

#include "esritext.h"
#include "indexes.h"
#include "kcommon/kstr.h"
#include "kprjcode.h"
#include "parts.h"
#include "registries.h"

namespace kprj {

using proj::GetCalls;
using proj::Kind;

namespace {

std::string SearchedVertical(const RecordPtr& record, const Parts& parts, const std::string& registry,
                             const std::vector<std::string>& texts) {
  if (!parts.elevation || IsLocal(*parts.elevation)) return {};
  if (const auto* row = VerticalIndex::Of(registry).Find(*parts.elevation)) return row->code;
  // A text may call the datum as no registry does.
  return texts.empty() ? std::string() : GetCalls().Identify(record->source, registry, texts);
}

std::string SearchedCompound(const RecordPtr& record, const Parts& parts, const std::string& registry) {
  if (!parts.projection || !parts.elevation) return {};
  const RecordPtr part = HorizontalOf(record);
  const std::string horizontal = part ? FindRegistryCode(part, registry) : std::string();
  if (horizontal.empty()) return {};
  const auto vertical = FindVertical(*parts.elevation, registry);
  if (!vertical) return {};
  const auto* row = CompoundIndex::Of(registry).Find(registry, horizontal, vertical->authority, vertical->code);
  return row ? row->code : std::string();
}

/// What the text says, and what PROJ makes of it.
std::vector<std::string> TextsOf(const Record& record) {
  if (record.text.empty() || record.source.IsRegistered()) return {};
  std::vector<std::string> texts{record.text};
  if (std::string own = GetCalls().EsriText(record.source); !own.empty()) texts.push_back(std::move(own));
  return texts;
}

}  // namespace

std::string FindRegistryCode(const RecordPtr& record, const std::string& registry) {
  const proj::Source& source = record->source;
  if (source.authority == registry) return source.code;
  if (source.IsEmpty()) return {};
  const proj::Facts& facts = record->facts;
  if (!source.IsRegistered() && facts.authority == registry && !facts.code.empty() &&
      GetCalls().AreEquivalent(source, {registry, facts.code, {}}, false))
    return facts.code;
  const std::vector<std::string> texts = TextsOf(*record);
  if (facts.kind == Kind::Vertical) return SearchedVertical(record, record->GetParts(), registry, texts);
  if (facts.kind == Kind::Compound) return SearchedCompound(record, record->GetParts(), registry);
  return GetCalls().Identify(source, registry, texts);
}

RecordPtr HorizontalOf(const RecordPtr& record) {
  const Parts& parts = record->GetParts();
  if (!parts.elevation) return record;
  std::wstring reason;
  RecordPtr horizontal = TryBuildRecord(parts.projection, parts.units, nullptr, reason);
  if (!horizontal) return nullptr;
  if (record->text.empty() || record->source.IsRegistered()) return horizontal;
  auto fromText = std::make_shared<Record>(*horizontal, horizontal->authority, horizontal->code, horizontal->form);
  fromText->text = GetCalls().EsriText(horizontal->source);
  return fromText;
}

std::wstring KprjCodeOf(const RecordPtr& record) {
  if (record->authority == kKprj) return record->code;
  if (record->source.IsRegistered()) return NamedCode(record->facts, record->source.authority, record->source.code);
  if (!record->source.IsEmpty()) {
    for (const char* registry : kSearched) {
      const std::string code = FindRegistryCode(record, registry);
      std::wstring reason;
      const RecordPtr named = code.empty() ? nullptr : NamedRecord(registry, code, reason);
      if (named) return named->code;
    }
  }
  const Parts& parts = record->GetParts();
  if (!parts.projection && parts.units.empty() && !parts.elevation) return {};
  std::wstring reason;
  const RecordPtr built =
      TryBuildRecord(parts.projection, parts.units, parts.elevation ? &*parts.elevation : nullptr, reason);
  return built ? built->code : std::wstring();
}

}  // namespace kprj
