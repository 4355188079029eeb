#include "wkt.h"

#include "facts.h"

using kprj::proj::WktResult;

namespace {

std::string Joined(const TextList& list) {
  std::string text;
  for (char** one = list.get(); one && *one; ++one) text += (text.empty() ? "" : "; ") + TextOf(*one);
  return text;
}

std::string WktOf(const PJ* system, PJ_WKT_TYPE type) {
  const char* const options[] = {"MULTILINE=NO", nullptr};
  ForgetWords();
  return TextOf(::proj_as_wkt(Context(), system, type, options));
}

}  // namespace

WktResult ReadWktText(const std::string& text) {
  WktResult result;
  PJ_CONTEXT* const context = Context();
  ForgetWords();
  char** warnings = nullptr;
  char** errors = nullptr;
  const Object system = WithoutTie(Object(::proj_create_from_wkt(context, text.c_str(), nullptr, &warnings, &errors)));
  const TextList warningsOwner(warnings);
  const TextList errorsOwner(errors);
  result.warnings = Joined(warningsOwner);
  result.fault = Joined(errorsOwner);
  if (!result.fault.empty()) return result;
  if (!system) {
    result.fault = LastWords().empty() ? "it is no coordinate reference system" : LastWords();
    return result;
  }
  if (!::proj_is_crs(system.get())) {
    result.fault = "it is no coordinate reference system";
    return result;
  }
  result.facts = FactsOf(system.get());
  for (const auto& axis : result.facts.axes)
    if (!(axis.unit.factor > 0)) result.fault = "the unit \"" + axis.unit.name + "\" is not larger than 0";
  if (result.facts.axes.empty()) result.fault = "it has no axes";
  return result;
}

std::string EsriTextOf(const PJ* system) {
  const std::string text = WktOf(system, PJ_WKT1_ESRI);
  for (const char* const start : {"PROJCS[", "GEOGCS[", "VERTCS["})
    if (text.starts_with(start)) return text;
  return {};
}

std::string Wkt2Of(const PJ* system) { return WktOf(system, PJ_WKT2_2019); }
