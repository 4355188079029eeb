#include "lists.h"

#include <algorithm>

#include "facts.h"
#include "parts.h"

using kprj::proj::CompoundRow;
using kprj::proj::DatumRow;
using kprj::proj::VerticalRow;

namespace {

std::vector<std::string> Copied(const TextList& list) {
  std::vector<std::string> texts;
  for (char** one = list.get(); one && *one; ++one) texts.push_back(*one);
  return texts;
}

/// In rising order: short codes first, so that numbers are ordered as numbers.
std::vector<std::string> CodesOf(const std::string& authority, PJ_TYPE type) {
  std::vector<std::string> codes =
      Copied(TextList(::proj_get_codes_from_database(Context(), authority.c_str(), type, 1)));
  std::sort(codes.begin(), codes.end(), [](const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  });
  return codes;
}

template <typename Action>
void ForEachDatum(PJ_TYPE type, PJ_CATEGORY category, Action action) {
  for (const std::string& authority : AuthorityList())
    for (const std::string& code : CodesOf(authority, type)) {
      const Object datum(::proj_create_from_database(Context(), authority.c_str(), code.c_str(), category, 0, nullptr));
      if (datum) action(datum.get());
    }
}

}  // namespace

std::vector<std::string> AuthorityList() { return Copied(TextList(::proj_get_authorities_from_database(Context()))); }

std::vector<std::string> SystemCodeList(const std::string& authority) {
  std::vector<std::string> codes = CodesOf(authority, PJ_TYPE_CRS);
  codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
  return codes;
}

std::vector<VerticalRow> VerticalList(const std::string& authority) {
  std::vector<VerticalRow> rows;
  for (const std::string& code : CodesOf(authority, PJ_TYPE_VERTICAL_CRS)) {
    const Object system = MakeSystem({authority, code, {}});
    if (!system) continue;
    VerticalRow row{code, TextOf(::proj_get_name(system.get())),  VerticalOf(system.get()), {},
                    {},   ::proj_is_deprecated(system.get()) != 0};
    const Object datum(::proj_crs_get_datum_forced(Context(), system.get()));
    if (datum) {
      row.datumAuthority = IdAuthorityOf(datum.get());
      row.datumCode = IdCodeOf(datum.get());
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<CompoundRow> CompoundList(const std::string& authority) {
  std::vector<CompoundRow> rows;
  for (const std::string& code : CodesOf(authority, PJ_TYPE_COMPOUND_CRS)) {
    const Object system = MakeSystem({authority, code, {}});
    if (!system) continue;
    const Object horizontal(::proj_crs_get_sub_crs(Context(), system.get(), 0));
    const Object vertical(::proj_crs_get_sub_crs(Context(), system.get(), 1));
    if (!horizontal || !vertical) continue;
    rows.push_back({code, TextOf(::proj_get_name(system.get())), IdAuthorityOf(horizontal.get()),
                    IdCodeOf(horizontal.get()), IdAuthorityOf(vertical.get()), IdCodeOf(vertical.get()),
                    ::proj_is_deprecated(system.get()) != 0});
  }
  return rows;
}

std::vector<DatumRow> GeodeticDatumList() {
  std::vector<DatumRow> rows;
  const auto add = [&rows](const PJ* datum) {
    std::string ellipsoid = EllipsoidNameOf(datum);
    // Sets of vertical datums are listed with the others.
    if (!ellipsoid.empty()) rows.push_back({WithoutEnsemble(TextOf(::proj_get_name(datum))), std::move(ellipsoid)});
  };
  ForEachDatum(PJ_TYPE_GEODETIC_REFERENCE_FRAME, PJ_CATEGORY_DATUM, add);
  ForEachDatum(PJ_TYPE_DATUM_ENSEMBLE, PJ_CATEGORY_DATUM_ENSEMBLE, add);
  return rows;
}

std::vector<std::string> VerticalDatumList() {
  std::vector<std::string> names;
  ForEachDatum(PJ_TYPE_VERTICAL_REFERENCE_FRAME, PJ_CATEGORY_DATUM,
               [&names](const PJ* datum) { names.push_back(TextOf(::proj_get_name(datum))); });
  ForEachDatum(PJ_TYPE_DATUM_ENSEMBLE, PJ_CATEGORY_DATUM_ENSEMBLE, [&names](const PJ* datum) {
    if (EllipsoidNameOf(datum).empty()) names.push_back(WithoutEnsemble(TextOf(::proj_get_name(datum))));
  });
  return names;
}
