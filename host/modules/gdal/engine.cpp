#include <cpl_conv.h>
#include <cpl_string.h>

#include "gdalparts.h"
#include "kcommon/kfnp.h"

namespace Tamrin::GdalModule {

namespace {

/// Any format, through the library's own blocks.
class BlockReader : public RasterReader {
 public:
  BlockReader(std::wstring name, boost::shared_ptr<const RasterFacts> facts, Dataset dataset)
      : name_(std::move(name)), facts_(std::move(facts)), dataset_(std::move(dataset)) {}

  RasterPart Read(const RasterWindow& window) override {
    const auto size = static_cast<std::ptrdiff_t>(kgda_NumBytePerPixelFromType(facts_->type));
    const std::ptrdiff_t rowStride = size * window.columns, bandStride = rowStride * window.rows;
    const auto bands = static_cast<int>(facts_->bands.size());
    constexpr std::ptrdiff_t kBehind = 16;
    buffer_.resize(static_cast<std::size_t>(bandStride * bands + kBehind));
    const Messages messages;
    const CPLErr result = GDALDatasetRasterIOEx(
        dataset_.get(), GF_Read, window.column, window.row, window.columns, window.rows, buffer_.data(), window.columns,
        window.rows, GdalTypeOf(facts_->type), bands, nullptr, size, rowStride, bandStride, nullptr);
    AddWarnings(warnings_, messages.Warnings());
    if (result != CE_None) {
      Refuse(L"BlockReader::Read", __LINE__,
             L"The raster \"" + name_ + L"\" can't be read from row " + std::to_wstring(window.row) + L" to " +
                 std::to_wstring(window.row + window.rows - 1) + L": " + messages.Failure(L"no reason given"));
    }
    return {buffer_.data(), bandStride, rowStride, size};
  }

  bool IsDirect() const override { return false; }
  std::vector<std::wstring> TakeWarnings() override { return std::exchange(warnings_, {}); }

 private:
  std::wstring name_;
  boost::shared_ptr<const RasterFacts> facts_;
  Dataset dataset_;
  std::vector<std::byte> buffer_;
  std::vector<std::wstring> warnings_;
};

class Engine : public RasterEngine {
 public:
  Engine() {
    SendMessagesToLog();
    GDALAllRegister();
    // A twentieth of the machine's memory otherwise. Parts are read once, so that more would hold what nobody asks for.
    constexpr GIntBig kCacheBytes = GIntBig{192} << 20;
    if (!CPLGetConfigOption("GDAL_CACHEMAX", nullptr) && GDALGetCacheMax64() > kCacheBytes)
      GDALSetCacheMax64(kCacheBytes);
  }

  Opened ReadFacts(const std::wstring& name) const override {
    const Messages messages;
    const Dataset dataset = OpenDataset(name, messages);
    Opened opened;
    opened.facts = FactsOf(name, dataset.get());
    char** const files = GDALGetFileList(dataset.get());
    for (char** file = files; file && *file; ++file) opened.files.push_back(kfnp_FromNative(*file));
    CSLDestroy(files);
    opened.warnings = messages.Warnings();
    return opened;
  }

  std::unique_ptr<RasterReader> Open(const std::wstring& name,
                                     const boost::shared_ptr<const RasterFacts>& facts) const override {
    const Messages messages;
    Dataset dataset = OpenDataset(name, messages);
    const GDALDatasetH handle = dataset.get();
    std::unique_ptr<RasterReader> reader = std::make_unique<BlockReader>(name, facts, std::move(dataset));
    if (auto direct = OpenDirectly(name, facts, reader, handle)) return direct;
    return reader;
  }

  void Copy(const std::wstring& source, const std::wstring& target, const RasterCopyOptions& options) const override {
    CopyRaster(source, target, options);
  }
};

}  // namespace

}  // namespace Tamrin::GdalModule

extern "C" __attribute__((visibility("default"))) const void* TesseraModule() {
  // Never destroyed: threads that are still about may use it while the process ends.
  static const Tamrin::TesseraGeospatial::RasterEngine* const engine = new Tamrin::GdalModule::Engine;
  return engine;
}
