#include <algorithm>
#include <boost/filesystem.hpp>
#include <boost/format.hpp>
#include <fstream>
#include <sstream>
#include <string>

#include "crsports.h"
#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "kprj/korvendatum.h"
#include "txgeospatiallib/crsutils.h"
#include "txlib/model.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kCRSIDOutput{
    .name = L"CRSIDOutput",
    .displayName = L"CRS ID Output",
    .category = L"Output",
    .icon = L"CRSIDOutput.ico",
    .description = L"Outputs a CRS to a file",
    .keywords = L"CRS|Coordinate Reference System|Output",
};

namespace {

/// What begins so is a projection itself, what doesn't is the name of a file.
bool IsProjectionText(const std::wstring& text) {
  return text.starts_with(L"PROJCS[") || text.starts_with(L"GEOGCS[") || text.starts_with(L"VERTCS[");
}

/// Empty where the file can't be read. What is no UTF-8 makes no system, so that it is never written again.
std::wstring ReadProjectionFile(const std::wstring& name) {
  std::ifstream file(kfnp_ToNative(name), std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  std::string bytes = content.str();
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.erase(0, 3);
  return kstr_FromUtf8Lossy(bytes);
}

bool IsFileThere(const std::wstring& name) {
  boost::system::error_code ignored;
  const auto status = boost::filesystem::status(kfnp_ToNative(name), ignored);
  return status.type() != boost::filesystem::status_error && status.type() != boost::filesystem::file_not_found;
}

std::wstring UpperCase(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](wchar_t c) { return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c; });
  return text;
}

template <typename Class>
bool IsA(const CRSPtr& crs) {
  return boost::dynamic_pointer_cast<const Class>(crs) != nullptr;
}

}  // namespace

class CRSIDOutput : public Described<kCRSIDOutput> {
 public:
  void DeclarePorts() override {
    CreateCRSPort(*this, L"CRSIn", PortType::Input);
    const auto file = Optional(CreatePort(L"FilenameIn", FileData::DefaultTypeName(), PortType::Input));
    file->SetAttribute(L"Input", MakeData<BoolData>(false));
    file->SetAttribute(
        L"FileFilterList",
        MakeData<StringListData>({L"ESRI Projection File (*.prj)", L"Nimbra Coordinate System File (*.csf)",
                                  L"KORVEN VANTIX Projection Library (*.plb)",
                                  L"KORVEN VANTIX World Coordinate System File (*.wcs)"}));
    file->SetAttribute(L"Extension", MakeData<StringData>(L"*.prj"));
    file->SetAttribute(L"Kind", MakeData<StringData>(L"text"));
    CreateCRSPort(*this, L"CRSOut", PortType::Output);
    CreatePort(L"FilenameOut", FileData::DefaultTypeName(), PortType::Output)
        ->SetAttribute(L"Kind", MakeData<StringData>(L"text"));
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\crsidoutput", L"CRSIDOutput::OnExecute");
    Job job{.id = ReadPort<CRSID>(*this, L"CRSIn"), .crs = {}, .dimension = 0, .path = {}, .out = {}};
    job.out = job.id;
    const std::wstring name = ReadFileName();
    const std::wstring format = UpperCase(kfnp_FileNameGetExtensionStringPart(name));
    job.crs = job.id.CreateCoordinateReferenceSystem();
    if (job.crs) job.dimension = job.crs->getCoordinateSystem()->getDimension();
    RefuseWhatHasNoFileForm(job);
    job.path = Expand(name, error);
    if (format == L"PRJ")
      WritePRJ(job, error);
    else if (format == L"CSF")
      WriteCSF(job);
    else if (format == L"WCS")
      WriteWCS(job);
    else if (format == L"PLB")
      WritePLB(job, error);
    else
      Fail(job, L"Unsupported output format - " + format);
    WritePort(*this, L"CRSOut", job.out);
    WritePortOf<FileData>(*this, L"FilenameOut", name);
  }

 private:
  struct Job {
    CRSID id;
    CRSPtr crs;     ///< null for an id that leads to none
    int dimension;  ///< of the system; means nothing without one
    std::wstring path;
    CRSID out;
  };

  [[noreturn]] void Fail(const Job& job, const std::wstring& reason) {
    const std::string before = (boost::format("Failed to write CRS ID with authority %s and code %s. ") %
                                kstr_ToUtf8(job.id.GetAuthority()) % kstr_ToUtf8(job.id.GetCode()))
                                   .str();
    SetErrorMessage(kstr_FromUtf8Lossy(before) + reason);
  }

  /// For failures whose words don't tell that there is no such system.
  void WarnOfMissing(const Job& job) {
    if (!job.crs) SetWarningMessage(WhyMissing(job.id));
  }

  void RequireCRS(const Job& job) {
    if (!job.crs) Fail(job, WhyMissing(job.id));
  }

  std::wstring ReadFileName() {
    const auto named = GetPortDataOf<FileData>(RequirePort(*this, L"FilenameIn"), true);
    std::wstring name = named ? *named : std::wstring();
    if (name.empty()) {
      if (const auto model = GetMainProcess()) name = model->GenerateTemporaryFileName({}, L".prj");
    }
    if (name.empty()) SetErrorMessage(L"Unable to generated temporary output file name");
    return name;
  }

  static std::wstring Expand(const std::wstring& name, KerrException& error) {
    const std::wstring expanded = kfnp_FileNameInternalToExternal(kstr_PathExpand(name), error);
    error.Check(__LINE__);
    return expanded;
  }

  void RefuseWhatHasNoFileForm(const Job& job) {
    if (IsA<korven::raster::GridCRS>(job.crs)) Fail(job, L"GridCRS has no persistent representation");
    if (IsA<iso::referencing::crs::ImageCRS>(job.crs)) Fail(job, L"ImageCRS has no persistent representation");
    if (job.id == CRSID(L"KPRJ", kprj::kUnknown1D)) Fail(job, L"1D Unknown CRS has no persistent representation");
    if (job.id == CRSID(L"KPRJ", kprj::kUnknown2D)) Fail(job, L"2D Unknown CRS has no persistent representation");
  }

  void RefuseUnknown3D(const Job& job, const wchar_t* format) {
    if (job.id.GetCode() == kprj::kUnknown3D)
      Fail(job, std::wstring(L"3D Unknown CRS cannot be output to ") + format + L" format");
  }

  std::wstring ProjectionText(const Job& job, KerrException& error) {
    const std::wstring& code = job.id.GetCode();
    if (job.id.GetAuthority() != L"PRJ") {
      const std::wstring text = TranslatedCode(job.id, L"PRJ");
      if (text.empty()) {
        WarnOfMissing(job);
        Fail(job, L"Unable to translate to PRJ format.");
      }
      return text;
    }
    std::wstring text = code;
    if (!IsProjectionText(code)) {
      if (kfnp_FileNameGetNamePart(code).empty())
        Fail(job, L"Authority code is not an ESRI Projection Engine string or file path");
      if (!IsFileThere(code)) Fail(job, L"Authority code is a file path but the file does not exist");
      text = ReadProjectionFile(Expand(code, error));
      if (!IsProjectionText(text))
        Fail(job, L"Authority code is a file path but the content is not an ESRI Projection Engine string");
    }
    RequireCRS(job);
    return text;
  }

  void WritePRJ(Job& job, KerrException& error) {
    if (job.crs && job.dimension < 2) Fail(job, L"1D CRS cannot be output to PRJ format");
    RefuseUnknown3D(job, L"PRJ");
    const std::string text = kstr_ToUtf8(ProjectionText(job, error)) + "\n";
    std::ofstream file(kfnp_ToNative(job.path), std::ios::binary | std::ios::trunc);
    // A file that can't be opened is no failure of this operator; one that breaks off is.
    if (file && !(file << text).flush()) error.Throw(__LINE__, L"Unable to write file: " + job.path);
    job.out = CRSID(L"PRJ", job.path);
  }

  void WriteCSF(Job& job) {
    namespace monikers = korven::tx_geosupport::CRSUtils;
    RefuseUnknown3D(job, L"CSF");
    if (job.crs && job.dimension < 2) Fail(job, L"1D CRS cannot be output to CSF format");
    std::wstring moniker = TranslatedCode(job.id, L"GeoKey Moniker");
    if (moniker.empty()) {
      WarnOfMissing(job);
      SetErrorMessage(L"Failed to translate CRS to GeoKey Moniker");
    }
    if (!monikers::CSSSupportsMoniker(moniker)) {
      const std::wstring adjusted = monikers::AdjustMonikerForCSS(moniker);
      // Where there was nothing to adjust the write decides.
      if (adjusted != moniker && !monikers::CSSSupportsMoniker(adjusted))
        SetErrorMessage(L"CRS is not supported for output to CSF format");
      moniker = adjusted;
    }
    monikers::WriteMonikerToCSF(moniker, job.path);
    job.out = CRSID(L"GeoKey Moniker", moniker);
  }

  void WriteWCS(Job& job) {
    RequireCRS(job);
    if (job.dimension != 3) Fail(job, L"Only 3D CRS can be output to PLB format");
    kprj::ProjectionHolder projection;
    std::wstring units;
    kprj::ElevationHolder elevation;
    PartsFactory()->SplitCRS(job.crs, projection, units, elevation);
    // Such a file would say nothing.
    if (!projection && units.empty() && !elevation)
      Fail(job, L"A CRS without horizontal and vertical parts cannot be output to WCS format");
    KorvenDatum::WorldCoordinateSystem(projection.get(), units, elevation.get()).WriteToWCSFile(job.path);
    job.out = CRSID(job.crs);
  }

  void WritePLB(Job& job, KerrException& error) {
    RefuseUnknown3D(job, L"PLB");
    if (job.crs && job.dimension != 2) Fail(job, L"Only 2D CRS can be output to PLB format");
    const std::wstring translated = TranslatedCode(job.id, L"KPRJ");
    if (translated.empty()) {
      WarnOfMissing(job);
      SetErrorMessage(L"Failed to translate to KPRJ CRS");
    }
    if (translated.find(L"Transient") != std::wstring::npos)
      SetErrorMessage(L"Cannot persist a transient CRS definition");
    const coordinateReferencing::AuthorityCode item(translated);
    const coordinateReferencing::AuthorityCode parent(item.fullParent());
    WriteLibrary(job, parent.baseSelf(), item.baseSelf(), error);
    // The code stays the input's.
    job.out.SetAuthority(L"KPRJ");
  }

  static void WriteLibrary(const Job& job, const std::wstring& title, const std::wstring& itemName,
                           KerrException& error) {
    const kprj::ProjectionLibraryHolder library(kprj_ProjectionLibraryCreate(error));
    error.Check(__LINE__);
    kprj_ProjectionLibrarySetTitle(library.get(), title, error);
    error.Check(__LINE__);
    kprj::ProjectionHolder projection;
    std::wstring units;
    kprj::ElevationHolder dropped;
    PartsFactory()->SplitCRS(job.crs, projection, units, dropped);
    kprj::ProParametersHolder parameters(
        kprj_ProParametersCopy(kprj_MapProjectionCSRGet(projection.get(), L"Kprj_ProParameters"), error));
    error.Check(__LINE__);
    kprj::ProjectionItemHolder item(
        kprj_ProjectionItemCreateWithUnits(itemName, itemName, parameters.release(), units, error));
    error.Check(__LINE__);
    kprj_ProjectionLibraryAddItem(library.get(), item.release(), error);
    error.Check(__LINE__);
    kprj_ProjectionLibraryWrite(library.get(), job.path, error);
    error.Check(__LINE__);
  }
};

TX_GENERAL_FACTORY(CRSIDOutput)

}  // namespace korven::tx_general
