#include "esritext.h"

#include <charconv>

#include "unittable.h"

namespace kprj {

namespace {

/// The end of the bracket that opens at `open`; npos where it doesn't end.
std::size_t EndOfBracket(const std::string& text, std::size_t open) {
  int depth = 0;
  bool quoted = false;
  for (std::size_t i = open; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"') quoted = !quoted;
    if (quoted) continue;
    if (c == '[') ++depth;
    if (c == ']' && --depth == 0) return i;
  }
  return std::string::npos;
}

/// The element `NAME[...]`, whole; empty where there is none.
std::string Element(const std::string& text, const std::string& name) {
  const std::size_t at = text.find(name + "[");
  const std::size_t end = at == std::string::npos ? at : EndOfBracket(text, at + name.size());
  return end == std::string::npos ? std::string() : text.substr(at, end + 1 - at);
}

/// PROJ names units as EPSG does, all but three.
std::string WithEsriUnits(const std::string& text) {
  constexpr std::string_view start = "UNIT[\"";  // LINUNIT too
  std::string out;
  std::size_t from = 0;
  for (std::size_t at = text.find(start); at != std::string::npos; at = text.find(start, from)) {
    const std::size_t name = at + start.size();
    const std::size_t end = text.find("\",", name);
    if (end == std::string::npos) break;
    double factor = 0;
    std::from_chars(text.data() + end + 2, text.data() + text.size(), factor);
    const std::string own = text.substr(name, end - name);
    const std::string esri = EsriUnitName(own, factor);
    out.append(text, from, name - from).append(esri.empty() ? own : esri);
    from = end;
  }
  return out.append(text, from);
}

/// With 15 digits, as PROJ writes the others.
std::string Number(double value) {
  char digits[40];
  const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 15).ptr;
  std::string text(digits, end);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

/// The vertical part of heights or depths over the ellipsoid of the horizontal one.
std::string EllipsoidalTail(const std::string& horizontal, const Kprj_ElevationInfo& elevation) {
  const std::string datum = Element(horizontal, "DATUM");
  const proj::Unit unit = UnitOfElevation(elevation);
  const std::size_t quote = datum.find('"');
  if (quote == std::string::npos) return {};
  std::string name = datum.substr(quote + 1, datum.find('"', quote + 1) - quote - 1);
  if (name.starts_with("D_")) name.erase(0, 2);
  return ",VERTCS[\"" + name + "\"," + datum + ",PARAMETER[\"Vertical_Shift\",0.0],PARAMETER[\"Direction\"," +
         (elevation.elevationType == KprjDepth ? "-1.0" : "1.0") + "],UNIT[\"" + unit.name + "\"," +
         Number(unit.factor) + "]]";
}

/// PROJ writes every third axis of a projected system in metres and upwards, and names ellipsoidal datums as vertical
/// ones.
std::string WithRightTail(const Record& record, const std::string& text) {
  const bool projected3D = record.facts.kind == proj::Kind::Projected && record.facts.axes.size() == 3;
  if (!projected3D && record.facts.kind != proj::Kind::Compound) return text;
  const Parts& parts = record.GetParts();
  if (!parts.elevation || parts.elevation->spheroidName.empty()) return text;
  const bool asWritten = parts.elevation->elevationType == KprjHeight && UnitOfElevation(*parts.elevation).factor == 1;
  if (projected3D && asWritten) return text;
  const std::size_t tail = text.find(",VERTCS[");
  if (tail == std::string::npos) return text;
  const std::string horizontal = text.substr(0, tail);
  return horizontal + EllipsoidalTail(horizontal, *parts.elevation);
}

}  // namespace

bool IsEsriText(std::string_view text) {
  return text.starts_with("PROJCS[") || text.starts_with("GEOGCS[") || text.starts_with("VERTCS[");
}

std::string EsriTextOf(const Record& record) {
  if (!record.text.empty()) return record.text;
  if (record.source.IsEmpty()) return {};
  const std::string text = proj::GetCalls().EsriText(record.source);
  return text.empty() ? text : WithEsriUnits(WithRightTail(record, text));
}

}  // namespace kprj
