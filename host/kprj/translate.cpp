#include "translate.h"

#include <optional>
#include <string_view>

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

bool IsFromText(const Record& record) { return !record.text.empty() && !record.source.IsRegistered(); }

/// Of the text of a vertical system.
std::string SearchedText(const proj::Source& source, const std::string& name, const std::string& text,
                         const std::string& registry) {
  std::string code = GetCalls().PickByText(source, text, registry, VerticalIndex::Of(registry).FindNamed(name));
  return code.empty() ? GetCalls().IdentifyText(text, registry) : code;
}

/// The element of a text that holds a vertical system, and the one before it.
constexpr std::string_view kVerticalPart = ",VERTCS[";

std::string SearchedVertical(const RecordPtr& record, const std::string& registry) {
  const Parts& parts = record->GetParts();
  if (!parts.elevation || IsLocal(*parts.elevation)) return {};
  if (IsFromText(*record)) {
    // Some registries have one definition under two names.
    const auto& codes = VerticalIndex::Of(registry).FindNamed(record->facts.name);
    std::string code = GetCalls().PickByText(record->source, record->text, registry, codes);
    if (!code.empty()) return code;
  }
  if (const auto* row = VerticalIndex::Of(registry).Find(*parts.elevation)) return row->code;
  // A text may call the datum as no registry does.
  return IsFromText(*record) ? SearchedText(record->source, record->facts.name, record->text, registry) : std::string();
}

/// The vertical part of a compound system: in the registry itself before any other that calls it so.
std::optional<RegistryCode> VerticalCodeOf(const RecordPtr& record, const std::string& registry) {
  const Kprj_ElevationInfo& elevation = *record->GetParts().elevation;
  if (const auto* row = VerticalIndex::Of(registry).Find(elevation)) return RegistryCode{registry, row->code};
  const std::size_t at = IsFromText(*record) ? record->text.find(kVerticalPart) : std::string::npos;
  if (at != std::string::npos) {
    const std::string code = GetCalls().IdentifyText(record->text.substr(at + 1), registry);
    if (!code.empty()) return RegistryCode{registry, code};
  }
  return FindVertical(elevation, registry);
}

std::string SearchedCompound(const RecordPtr& record, const std::string& registry) {
  const Parts& parts = record->GetParts();
  const RecordPtr part = parts.projection && parts.elevation ? HorizontalOf(record) : nullptr;
  const std::string horizontal = part ? FindRegistryCode(part, registry) : std::string();
  if (horizontal.empty()) return {};
  const auto vertical = VerticalCodeOf(record, registry);
  if (!vertical) return {};
  const auto* row = CompoundIndex::Of(registry).Find(registry, horizontal, vertical->authority, vertical->code);
  return row ? row->code : std::string();
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
  if (facts.kind == Kind::Vertical) return SearchedVertical(record, registry);
  if (facts.kind == Kind::Compound) return SearchedCompound(record, registry);
  return IsFromText(*record) ? GetCalls().IdentifyText(record->text, registry) : GetCalls().Identify(source, registry);
}

RecordPtr HorizontalOf(const RecordPtr& record) {
  const Parts& parts = record->GetParts();
  if (!parts.elevation) return record;
  std::wstring reason;
  RecordPtr horizontal = TryBuildRecord(parts.projection, parts.units, nullptr, reason);
  if (!horizontal) return nullptr;
  if (!IsFromText(*record)) return horizontal;
  auto fromText = std::make_shared<Record>(*horizontal, horizontal->authority, horizontal->code, horizontal->form);
  const std::size_t tail = record->text.find(kVerticalPart);
  fromText->text = tail == std::string::npos ? GetCalls().EsriText(horizontal->source) : record->text.substr(0, tail);
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
