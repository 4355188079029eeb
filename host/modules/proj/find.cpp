#include "find.h"

#include <algorithm>
#include <cmath>
#include <optional>
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

/// What a system that was found has to have in common with the one that is looked for.
class Judge {
 public:
  Judge(const PJ* system, const std::string& authority, const std::vector<std::string>& texts)
      : system_(system), authority_(authority), units_(SortedUnits(system)) {
    for (const std::string& text : texts) texts_.push_back(WithoutUnitNames(text));
  }

  /// Nothing for one that won't do.
  std::optional<Candidate> Try(const PJ* found, int confidence) const {
    const std::string code = found ? CodeIn(found, authority_) : std::string();
    if (code.empty() || !SameUnits(units_, SortedUnits(found))) return std::nullopt;
    const bool exact = Equivalent(system_, found, false);
    const bool byText =
        !texts_.empty() && std::find(texts_.begin(), texts_.end(), WithoutUnitNames(EsriTextOf(found))) != texts_.end();
    if (!byText && !exact && !Equivalent(system_, found, true)) return std::nullopt;
    return Candidate{byText, exact, ::proj_is_deprecated(found) != 0, confidence, code};
  }

 private:
  const PJ* const system_;
  const std::string& authority_;
  const std::vector<double> units_;
  std::vector<std::string> texts_;
};

}  // namespace

bool Equivalent(const PJ* one, const PJ* other, bool anyAxisOrder) {
  return ::proj_is_equivalent_to_with_ctx(
             Context(), one, other, anyAxisOrder ? PJ_COMP_EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS : PJ_COMP_EQUIVALENT) !=
         0;
}

std::string IdentifyOf(const PJ* system, const std::string& authority, const std::vector<std::string>& texts) {
  PJ_CONTEXT* const context = Context();
  const Judge judge(system, authority, texts);
  ForgetWords();
  int* confidences = nullptr;
  const ObjectList found(::proj_identify(context, system, authority.c_str(), nullptr, &confidences));
  const std::unique_ptr<int, decltype(&::proj_int_list_destroy)> owner(confidences, &::proj_int_list_destroy);
  std::vector<Candidate> candidates;
  const int count = found ? ::proj_list_get_count(found.get()) : 0;
  for (int i = 0; i < count; ++i) {
    const Object object(::proj_list_get(context, found.get(), i));
    if (auto candidate = judge.Try(object.get(), confidences ? confidences[i] : 0))
      candidates.push_back(std::move(*candidate));
  }
  const auto best = std::min_element(candidates.begin(), candidates.end(),
                                     [](const Candidate& a, const Candidate& b) { return a.Rank() < b.Rank(); });
  return best == candidates.end() ? std::string() : best->code;
}

std::string PickedByText(const PJ* system, const std::string& text, const std::string& authority,
                         const std::vector<std::string>& codes) {
  const Judge judge(system, authority, {text, EsriTextOf(system)});
  for (const std::string& code : codes) {
    const Object found = MakeSystem({authority, code, {}});
    const auto candidate = judge.Try(found.get(), 100);
    if (candidate && !candidate->deprecated && candidate->byText) return code;
  }
  return {};
}

std::string IdentifyText(const std::string& text, const std::string& authority) {
  // Read anew: that a text says nothing of the order of its axes is lost in every other form.
  const Object system = WithoutTie(Object(::proj_create_from_wkt(Context(), text.c_str(), nullptr, nullptr, nullptr)));
  if (!system) return {};
  // What is read and written again can be compared with what PROJ writes, whoever wrote the text.
  return IdentifyOf(system.get(), authority, {text, EsriTextOf(system.get())});
}
