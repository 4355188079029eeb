#pragma once

#include <cpl_error.h>
#include <gdal.h>

#include <memory>
#include <string>
#include <vector>

#include "txgeospatiallib/raster.h"

/// What the sources of this module share.
namespace Tamrin::GdalModule {

using TesseraGeospatial::RasterBand;
using TesseraGeospatial::RasterCopyOptions;
using TesseraGeospatial::RasterEngine;
using TesseraGeospatial::RasterFacts;
using TesseraGeospatial::RasterPart;
using TesseraGeospatial::RasterReader;
using TesseraGeospatial::RasterWindow;

/// Takes what the library says on this thread while it lives, instead of the standard error.
class Messages {
 public:
  Messages();
  ~Messages();
  Messages(const Messages&) = delete;
  Messages& operator=(const Messages&) = delete;
  /// The first failure, ended by a full stop; `otherwise` where there was none.
  std::wstring Failure(const wchar_t* otherwise) const;
  const std::vector<std::wstring>& Warnings() const { return warnings_; }

 private:
  static void CPL_STDCALL Take(CPLErr severity, CPLErrorNum number, const char* text);
  std::wstring failure_;
  std::vector<std::wstring> warnings_;
};

/// What it says on threads of its own goes to the log channel "tessera.gdal".
void SendMessagesToLog();

/// Appends the texts that are not there yet; the list doesn't grow without end.
void AddWarnings(std::vector<std::wstring>& all, const std::vector<std::wstring>& further);

[[noreturn]] void Refuse(const wchar_t* function, int line, const std::wstring& text);

struct CloseDataset {
  void operator()(GDALDatasetH dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<void, CloseDataset>;

/// Raises with the library's reason.
Dataset OpenDataset(const std::wstring& name, const Messages& messages);
/// The name as the library wants it: variables expanded, in the bytes of the system.
std::string NativeName(const std::wstring& name);
std::wstring TextOf(const char* text);

RasterFacts FactsOf(const std::wstring& name, GDALDatasetH dataset);
GDALDataType GdalTypeOf(Kgda_PixelType type);

/// The reader of files whose blocks lie in the file as they are in memory; null for other files.
std::unique_ptr<RasterReader> OpenDirectly(const std::wstring& name, const boost::shared_ptr<const RasterFacts>& facts,
                                           std::unique_ptr<RasterReader>& reader, GDALDatasetH dataset);

void CopyRaster(const std::wstring& source, const std::wstring& target, const RasterCopyOptions& options);

}  // namespace Tamrin::GdalModule
