#include "altering.h"
#include "facts.h"
#include "find.h"
#include "lists.h"
#include "parts.h"
#include "wkt.h"

namespace {

using namespace kprj::proj;

class ProjCalls final : public Calls {
 public:
  bool Describe(const Source& source, Facts& facts, std::string& reason) const override {
    return Keep(MakeSystem(source), facts, reason);
  }

  WktResult ReadWkt(const std::string& text) const override { return ReadWktText(text); }

  kprj::proj::Split SplitSystem(const Source& source) const override {
    kprj::proj::Split split = SplitOf(MakeSystem(source));
    if (split.horizontal && source.IsRegistered()) {
      split.horizontal->source.authority = split.horizontal->facts.authority;
      split.horizontal->source.code = split.horizontal->facts.code;
    }
    return split;
  }

  bool BuildSystem(const kprj::proj::Build& build, Facts& facts, std::string& reason) const override {
    return BuildOf(build, facts, reason);
  }

  bool BuildUserProjection(const UserProjection& projection, Facts& facts, std::string& reason) const override {
    return Keep(UserProjected(projection), facts, reason);
  }

  std::string FindBase(const Source& horizontal) const override {
    const Object system = MakeSystem(horizontal);
    const Object base(system ? ::proj_crs_get_geodetic_crs(Context(), system.get()) : nullptr);
    if (!base) return {};
    const std::string code = CodeIn(base.get(), "EPSG");
    const Object known = code.empty() ? nullptr : MakeSystem({"EPSG", code, {}});
    return known && Equivalent(base.get(), known.get(), true) ? code : IdentifyOf(base.get(), "EPSG", {});
  }

  std::string FindGeographic3D(const Source& horizontal) const override {
    const Object system = MakeSystem(horizontal);
    const Object base(system ? ::proj_crs_get_geodetic_crs(Context(), system.get()) : nullptr);
    const Object promoted = base ? Promoted(base.get()) : nullptr;
    return promoted ? CodeIn(promoted.get(), "EPSG") : std::string();
  }

  bool AreEquivalent(const Source& one, const Source& other, bool anyAxisOrder) const override {
    const Object first = MakeSystem(one);
    const Object second = MakeSystem(other);
    return first && second && Equivalent(first.get(), second.get(), anyAxisOrder);
  }

  std::string Identify(const Source& source, const std::string& authority) const override {
    const Object system = MakeSystem(source);
    return system ? IdentifyOf(system.get(), authority, {}) : std::string();
  }

  std::string IdentifyText(const std::string& text, const std::string& authority) const override {
    return ::IdentifyText(text, authority);
  }

  std::string PickByText(const Source& source, const std::string& text, const std::string& authority,
                         const std::vector<std::string>& codes) const override {
    const Object system = codes.empty() ? nullptr : MakeSystem(source);
    return system ? PickedByText(system.get(), text, authority, codes) : std::string();
  }

  std::string EsriText(const Source& source) const override {
    const Object system = MakeSystem(source);
    return system ? EsriTextOf(system.get()) : std::string();
  }

  std::string Wkt2(const Source& source) const override {
    const Object system = MakeSystem(source);
    return system ? Wkt2Of(system.get()) : std::string();
  }

  std::vector<std::string> Authorities() const override {
    Context();
    return AuthorityList();
  }
  std::vector<std::string> SystemCodes(const std::string& authority) const override {
    return SystemCodeList(authority);
  }
  std::vector<VerticalRow> VerticalSystems(const std::string& authority) const override {
    return VerticalList(authority);
  }
  std::vector<CompoundRow> CompoundSystems(const std::string& authority) const override {
    return CompoundList(authority);
  }
  std::vector<DatumRow> GeodeticDatums() const override { return GeodeticDatumList(); }
  std::vector<std::string> VerticalDatums() const override { return VerticalDatumList(); }
  std::optional<DatumRow> ResolveGeodeticDatum(const std::string& name) const override {
    Context();
    return ResolvedGeodeticDatum(name);
  }

 private:
  static bool Keep(const Object& system, Facts& facts, std::string& reason) {
    if (!system) {
      reason = LastWords();
      return false;
    }
    facts = FactsOf(system.get());
    return true;
  }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const void* TesseraModule() {
  static const ProjCalls calls;
  return static_cast<const Calls*>(&calls);
}
