#include <boost/make_shared.hpp>
#include <stdexcept>

#include "cache.h"
#include "esritext.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "kprj/crsfactory.h"
#include "kprjcode.h"
#include "monikertext.h"
#include "parts.h"
#include "referencing/authority.h"
#include "registries.h"
#include "translate.h"

namespace kprj {

namespace {

using iso::referencing::crs::CRSAuthorityFactory;
using iso::referencing::crs::CRSPtr;

constexpr std::size_t kKeptSystems = 4096;
constexpr std::size_t kKeptTranslations = 16384;
constexpr const wchar_t* kPrj = L"PRJ";

/// What one code makes: an object, or the reason why there is none.
struct Made {
  CRSPtr crs;
  std::wstring reason;
};

// Of the whole process, and never destroyed: threads may still run while it ends.
BoundedCache<Made>& Systems() {
  static auto& cache = *new BoundedCache<Made>(kKeptSystems);
  return cache;
}
BoundedCache<std::wstring>& Translations() {
  static auto& cache = *new BoundedCache<std::wstring>(kKeptTranslations);
  return cache;
}

std::wstring Shortened(const std::wstring& code) {
  constexpr std::size_t longest = 200;
  return code.size() <= longest ? code : code.substr(0, longest) + L"…";
}

/// What all factories of this room have in common; `Base` is the interface that they show.
template <typename Base>
class FactoryOf : public Base, public coordinateReferencing::CodeFinder {
 public:
  explicit FactoryOf(std::wstring authority) : authority_(std::move(authority)) {}

  std::wstring getAuthority() const override { return authority_; }
  CRSPtr tryCreateCoordinateReferenceSystem(const std::wstring& code) const override { return Get(code).crs; }

  CRSPtr createCoordinateReferenceSystem(const std::wstring& code) const override {
    Made made = Get(code);
    if (made.crs) return made.crs;
    KorvenLog::CPPException<std::runtime_error>(L"kprj\\factories",
                                                L"CRSAuthorityFactory::createCoordinateReferenceSystem")
        .Throw(__LINE__, Explain(code, made.reason));
  }

  std::wstring findCode(const CRSPtr& crs) const override {
    const RecordPtr record = RecordOf(crs);
    if (!record) return {};
    if (record->authority == authority_) return record->code;
    const std::wstring key = authority_ + L'\n' + record->Key();
    if (const auto known = Translations().Find(key)) return *known;
    return Translations().Keep(key, Find(record));
  }

 protected:
  /// Null with the reason.
  virtual RecordPtr Read(const std::wstring& code, std::wstring& reason) const = 0;
  virtual std::wstring Find(const RecordPtr& record) const = 0;
  virtual bool IsKept(const std::wstring& /*code*/) const { return true; }
  virtual std::wstring Explain(const std::wstring& code, const std::wstring& reason) const {
    return L"The code \"" + Shortened(code) + L"\" of the authority \"" + authority_ +
           L"\" makes no coordinate reference system: " + reason + L".";
  }
  Made Make(const std::wstring& code) const {
    Made made;
    const RecordPtr record = Read(code, made.reason);
    if (record) made.crs = MakeSystemObject(record);
    return made;
  }

  const std::wstring authority_;

 private:
  Made Get(const std::wstring& code) const {
    if (!IsKept(code)) return Make(code);
    const std::wstring key = authority_ + L'\n' + code;
    if (auto known = Systems().Find(key)) return std::move(*known);
    return Systems().Keep(key, Make(code));
  }
};

class RegistryFactory final : public FactoryOf<CRSAuthorityFactory> {
 public:
  explicit RegistryFactory(const std::wstring& authority) : FactoryOf(authority), registry_(RegistryOf(authority)) {}

 protected:
  RecordPtr Read(const std::wstring& code, std::wstring& reason) const override {
    return ReadRegistryCode(authority_, code, reason);
  }
  std::wstring Find(const RecordPtr& record) const override {
    return kstr_FromUtf8Lossy(FindRegistryCode(record, registry_));
  }
  std::wstring Explain(const std::wstring& code, const std::wstring& /*reason*/) const override {
    return DescribeUnknownCode(authority_, Shortened(code));
  }

 private:
  const std::string registry_;
};

class PrjFactory final : public FactoryOf<CRSAuthorityFactory> {
 public:
  PrjFactory() : FactoryOf(kPrj) {}

 protected:
  // A file may hold another text the next time.
  bool IsKept(const std::wstring& code) const override { return IsEsriText(kstr_ToUtf8(code.substr(0, 7))); }
  RecordPtr Read(const std::wstring& code, std::wstring& reason) const override {
    if (IsKept(code)) return ReadPrjCode(code, reason);
    const auto text = ReadPrjFile(code, reason);
    if (!text) return nullptr;
    const std::wstring wide = kstr_FromUtf8Lossy(*text);
    const RecordPtr read = RecordOf(tryCreateCoordinateReferenceSystem(wide));
    return read ? std::make_shared<Record>(*read, kPrj, code, read->form) : ReadEsriText(*text, code, reason);
  }
  std::wstring Find(const RecordPtr& record) const override { return kstr_FromUtf8Lossy(EsriTextOf(*record)); }
};

class MonikerFactory final : public FactoryOf<CRSAuthorityFactory> {
 public:
  MonikerFactory() : FactoryOf(kMonikerAuthority) {}

 protected:
  RecordPtr Read(const std::wstring& code, std::wstring& reason) const override {
    return ReadMonikerCode(code, reason);
  }
  std::wstring Find(const RecordPtr& record) const override { return MonikerOf(record); }
};

class KprjFactory final : public FactoryOf<ICRSFactory> {
 public:
  KprjFactory() : FactoryOf(kKprj) {}

  CRSPtr CreateCRSFromParts(const Kprj_MapProjection* projection, const std::wstring& units,
                            const Kprj_ElevationInfo* elevation) const override {
    const ProjectionPtr own = projection ? std::make_shared<Kprj_MapProjection>(*projection) : nullptr;
    return MakeSystemObject(BuildRecord(own, units, elevation));
  }

  void SplitCRS(const CRSPtr& crs, ProjectionHolder& projection, std::wstring& units,
                ElevationHolder& elevation) const override {
    projection.reset();
    units.clear();
    elevation.reset();
    const RecordPtr record = RecordOf(crs);
    if (!record) return;
    const Parts& parts = record->GetParts();
    if (parts.projection) projection.reset(new Kprj_MapProjection(*parts.projection));
    units = parts.units;
    if (parts.elevation) elevation.reset(new Kprj_ElevationInfo(*parts.elevation));
  }

 protected:
  RecordPtr Read(const std::wstring& code, std::wstring& reason) const override { return ReadKprjCode(code, reason); }
  std::wstring Find(const RecordPtr& record) const override { return KprjCodeOf(record); }
};

class Provider final : public coordinateReferencing::AuthorityProvider {
 public:
  std::vector<std::wstring> GetAuthorities() const override {
    return {L"EPSG", L"ESRI", L"OGC", L"IGNF", L"IAU", L"IAU_2015", L"NKG", kPrj, kKprj, kMonikerAuthority};
  }
  boost::shared_ptr<CRSAuthorityFactory> Create(const std::wstring& authority) const override {
    if (authority == kPrj) return boost::make_shared<PrjFactory>();
    if (authority == kKprj) return boost::make_shared<KprjFactory>();
    if (authority == kMonikerAuthority) return boost::make_shared<MonikerFactory>();
    if (RegistryOf(authority).empty()) return nullptr;
    return boost::make_shared<RegistryFactory>(authority);
  }
};

struct Registrar {
  Registrar() { coordinateReferencing::ReferencingFactoryFinder::addProvider(boost::make_shared<Provider>()); }
};
const Registrar kRegistrar;

}  // namespace

}  // namespace kprj
