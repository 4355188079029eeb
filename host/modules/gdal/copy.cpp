#include <cpl_string.h>
#include <gdal.h>

#include <exception>
#include <filesystem>

#include "gdalparts.h"
#include "kcommon/kstr.h"
#include "kcommon/unfinishedfolder.h"

namespace Tamrin::GdalModule {

namespace fs = std::filesystem;

namespace {

bool CanWrite(GDALDriverH driver) {
  const auto has = [driver](const char* what) { return GDALGetMetadataItem(driver, what, nullptr) != nullptr; };
  return has(GDAL_DCAP_RASTER) && (has(GDAL_DCAP_CREATECOPY) || has(GDAL_DCAP_CREATE));
}

/// The first format that has the extension; those that the library is asked for most come first.
GDALDriverH DriverByExtension(const std::wstring& target) {
  const std::string extension = fs::path(NativeName(target)).extension().native();
  for (int index = 0; index < GDALGetDriverCount() && extension.size() > 1; ++index) {
    const GDALDriverH driver = GDALGetDriver(index);
    if (!CanWrite(driver)) continue;
    const char* const known = GDALGetMetadataItem(driver, GDAL_DMD_EXTENSIONS, nullptr);
    const std::unique_ptr<char*, decltype(&CSLDestroy)> words(CSLTokenizeString(known), &CSLDestroy);
    if (CSLFindString(words.get(), extension.c_str() + 1) >= 0) return driver;
  }
  Refuse(L"CopyRaster", __LINE__,
         L"No format is known that is written to \"" + target + L"\" by its extension; name one as Format, such as " +
             L"\"GTiff\".");
}

GDALDriverH DriverByName(const std::wstring& format) {
  const GDALDriverH driver = GDALGetDriverByName(kstr_ToUtf8(format).c_str());
  if (driver && CanWrite(driver)) return driver;
  if (driver) Refuse(L"CopyRaster", __LINE__, L"The raster format \"" + format + L"\" can be read, but not written.");
  std::vector<std::wstring> names;
  for (int index = 0; index < GDALGetDriverCount(); ++index) {
    if (CanWrite(GDALGetDriver(index))) names.push_back(TextOf(GDALGetDriverShortName(GDALGetDriver(index))));
  }
  const std::wstring nearest = kstr_NearestName(format, names);
  Refuse(L"CopyRaster", __LINE__,
         L"There is no raster format \"" + format + L"\"" +
             (nearest.empty() ? std::wstring(L".") : L"; the nearest is \"" + nearest + L"\"."));
}

/// The format's files keep their names in a folder beside the target, as they may name each other by them. The file of
/// the raster's own name is moved last: whoever sees it sees the others as well.
void Deliver(const fs::path& folder, const fs::path& target) {
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().filename() != target.filename())
      fs::rename(entry.path(), target.parent_path() / entry.path().filename());
  }
  fs::rename(folder / target.filename(), target);
}

struct Progress {
  const RasterCopyOptions& options;
  std::exception_ptr failure;

  static int CPL_STDCALL Tell(double part, const char*, void* self) {
    auto& progress = *static_cast<Progress*>(self);
    try {
      if (progress.options.progress) progress.options.progress(part * 100);
      return TRUE;
    } catch (...) {
      progress.failure = std::current_exception();
      return FALSE;
    }
  }
};

}  // namespace

void CopyRaster(const std::wstring& source, const std::wstring& target, const RasterCopyOptions& options) {
  const Messages messages;
  const GDALDriverH driver = options.format.empty() ? DriverByExtension(target) : DriverByName(options.format);
  Dataset from = OpenDataset(source, messages);
  const fs::path path(NativeName(target));
  const auto refuseFor = [&target](const std::string& reason) {
    Refuse(L"CopyRaster", __LINE__,
           L"The raster \"" + target + L"\" can't be written: " + kstr_FromUtf8Lossy(reason) + L".");
  };
  const UnfinishedFolder made(target);
  if (const int failure = made.GetFailure()) refuseFor(std::generic_category().message(failure));
  const fs::path folder = made.GetPath();
  CPLStringList creation;
  for (const std::wstring& option : options.creationOptions) creation.AddString(kstr_ToUtf8(option).c_str());
  Progress progress{options, nullptr};
  const auto refuse = [&] {
    if (progress.failure) std::rethrow_exception(progress.failure);
    Refuse(L"CopyRaster", __LINE__,
           L"The raster \"" + target + L"\" can't be written: " + messages.Failure(L"no reason given"));
  };
  GDALDatasetH copy = GDALCreateCopy(driver, (folder / path.filename()).c_str(), from.get(), FALSE, creation.List(),
                                     &Progress::Tell, &progress);
  if (!copy) refuse();
  // Closing writes what is still in memory; whether that went well is told by messages alone.
  CPLErrorReset();
  GDALClose(copy);
  if (CPLGetLastErrorType() >= CE_Failure) refuse();
  try {
    Deliver(folder, path);
  } catch (const fs::filesystem_error& failure) {
    refuseFor(failure.code().message());
  }
  for (const std::wstring& text : messages.Warnings()) {
    if (options.warn) options.warn(text);
  }
}

}  // namespace Tamrin::GdalModule
