#include "find.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <tuple>

#include "facts.h"
#include "wkt.h"

using kprj::proj::CsKind;

namespace {

/// The name of a unit may be ESRI's or EPSG's; its size stands behind it.
std::string WithoutUnitNames(const std::string& text) {
  std::string out;
  std::size_t from = 0;
  constexpr std::string_view start = "UNIT[\"";  // LINUNIT too
  for (std::size_t at = text.find(start); at != std::string::npos; at = text.find(start, from)) {
    const std::size_t end = text.find('"', at + start.size());
    if (end == std::string::npos) break;
    out.append(text, from, at + start.size() - from);
    from = end;
  }
  return out.append(text, from);
}

std::vector<double> SortedUnits(const PJ* system) {
  CsKind kind = CsKind::Other;
  std::vector<double> factors;
  for (const auto& axis : AxesOf(system, kind)) factors.push_back(axis.unit.factor);
  std::sort(factors.begin(), factors.end());
  return factors;
}

bool SameUnits(const std::vector<double>& one, const std::vector<double>& other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](double a, double b) { return std::abs(a - b) <= 1e-9 * std::abs(a); });
}

struct Candidate {
  bool byText;
  bool equivalent;
  bool deprecated;
  int confidence;
  std::string code;

  auto Rank() const {
    return std::tuple(!byText, !equivalent, deprecated, -confidence, code.size(), std::string_view(code));
  }
};

}  // namespace

bool Equivalent(const PJ* one, const PJ* other, bool anyAxisOrder) {
  return ::proj_is_equivalent_to_with_ctx(
             Context(), one, other, anyAxisOrder ? PJ_COMP_EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS : PJ_COMP_EQUIVALENT) !=
         0;
}

std::string IdentifyOf(const PJ* system, const std::string& authority, const std::vector<std::string>& texts) {
  PJ_CONTEXT* const context = Context();
  int* confidences = nullptr;
  ForgetWords();
  const ObjectList found(::proj_identify(context, system, authority.c_str(), nullptr, &confidences));
  const std::unique_ptr<int, decltype(&::proj_int_list_destroy)> owner(confidences, &::proj_int_list_destroy);
  if (!found) return {};
  std::vector<std::string> plainTexts;
  for (const std::string& text : texts) plainTexts.push_back(WithoutUnitNames(text));
  const std::vector<double> units = SortedUnits(system);
  std::vector<Candidate> candidates;
  const int count = ::proj_list_get_count(found.get());
  for (int i = 0; i < count; ++i) {
    const Object candidate(::proj_list_get(context, found.get(), i));
    const std::string code = candidate ? CodeIn(candidate.get(), authority) : std::string();
    if (code.empty() || !SameUnits(units, SortedUnits(candidate.get()))) continue;
    const bool exact = Equivalent(system, candidate.get(), false);
    const bool swapped = exact || Equivalent(system, candidate.get(), true);
    const bool byText =
        !plainTexts.empty() && std::find(plainTexts.begin(), plainTexts.end(),
                                         WithoutUnitNames(EsriTextOf(candidate.get()))) != plainTexts.end();
    if (!swapped && !byText) continue;
    candidates.push_back(
        {byText, exact, ::proj_is_deprecated(candidate.get()) != 0, confidences ? confidences[i] : 0, code});
  }
  const auto best = std::min_element(candidates.begin(), candidates.end(),
                                     [](const Candidate& a, const Candidate& b) { return a.Rank() < b.Rank(); });
  return best == candidates.end() ? std::string() : best->code;
}
