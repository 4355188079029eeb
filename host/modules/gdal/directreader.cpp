#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "gdalparts.h"
#include "kcommon/kstr.h"

/// Uncompressed GeoTIFF files hold their blocks as they are in memory. Reading them without the library's cache of
/// blocks spares copying each byte twice more. They are read, not mapped: a file that is cut meanwhile is a message
/// then, and not a signal.
namespace Tamrin::GdalModule {

namespace {

class File {
 public:
  explicit File(const std::string& path) : number_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~File() {
    if (number_ >= 0) ::close(number_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool IsRegular() const {
    struct stat status {};
    return number_ >= 0 && ::fstat(number_, &status) == 0 && S_ISREG(status.st_mode);
  }

  /// Bytes read, fewer than asked for only at the end of the file; -1 on failure.
  std::ptrdiff_t Read(std::byte* to, std::size_t count, std::uint64_t offset) const {
    std::size_t done = 0;
    while (done < count) {
      const ssize_t got = ::pread(number_, to + done, count - done, static_cast<off_t>(offset + done));
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return -1;
      if (got == 0) break;
      done += static_cast<std::size_t>(got);
    }
    return static_cast<std::ptrdiff_t>(done);
  }

 private:
  int number_;
};

class DirectReader : public RasterReader {
 public:
  DirectReader(std::wstring name, boost::shared_ptr<const RasterFacts> facts, std::unique_ptr<File> file,
               GDALDatasetH dataset)
      : name_(std::move(name)), facts_(std::move(facts)), file_(std::move(file)), dataset_(dataset) {
    const std::size_t size = kgda_NumBytePerPixelFromType(facts_->type);
    pixelBytes_ = facts_->isPixelInterleaved ? size * facts_->bands.size() : size;
    rowBytes_ = pixelBytes_ * static_cast<std::size_t>(facts_->blockColumns);
    planes_ = facts_->isPixelInterleaved ? 1 : static_cast<int>(facts_->bands.size());
  }

  void SetOther(std::unique_ptr<RasterReader> other) { other_ = std::move(other); }

  RasterPart Read(const RasterWindow& window) override {
    RasterPart part;
    return TryRead(window, part) ? part : other_->Read(window);
  }

  /// False where a part of the window has no place in the file, or the window lies in several columns of blocks.
  bool TryRead(const RasterWindow& window, RasterPart& part) {
    const std::int32_t blockColumn = window.column / facts_->blockColumns;
    if ((window.column + window.columns - 1) / facts_->blockColumns != blockColumn) return false;
    const std::size_t firstByte = pixelBytes_ * static_cast<std::size_t>(window.column % facts_->blockColumns);
    const std::size_t lastRow = firstByte + pixelBytes_ * static_cast<std::size_t>(window.columns);
    const std::size_t planeBytes = rowBytes_ * static_cast<std::size_t>(window.rows);
    constexpr std::size_t kBehind = 16;
    buffer_.resize(planeBytes * static_cast<std::size_t>(planes_) + kBehind);
    for (int plane = 0; plane < planes_; ++plane) {
      Run run{buffer_.data() + planeBytes * static_cast<std::size_t>(plane), 0, 0};
      for (std::int32_t row = window.row; row < window.row + window.rows;) {
        const std::int32_t blockRow = row / facts_->blockRows;
        const std::int32_t end = std::min((blockRow + 1) * facts_->blockRows, window.row + window.rows);
        const std::uint64_t block = OffsetOf(plane, blockColumn, blockRow);
        if (block == 0) return false;
        const bool isLast = end == window.row + window.rows;
        const std::size_t bytes =
            rowBytes_ * static_cast<std::size_t>(end - row - (isLast ? 1 : 0)) + (isLast ? lastRow : 0);
        Extend(run, block + rowBytes_ * static_cast<std::uint64_t>(row % facts_->blockRows), bytes, window);
        row = end;
      }
      Finish(run, window);
    }
    const auto size = static_cast<std::ptrdiff_t>(kgda_NumBytePerPixelFromType(facts_->type));
    part = {buffer_.data() + firstByte, facts_->isPixelInterleaved ? size : static_cast<std::ptrdiff_t>(planeBytes),
            static_cast<std::ptrdiff_t>(rowBytes_), static_cast<std::ptrdiff_t>(pixelBytes_)};
    return true;
  }

  bool IsDirect() const override { return true; }
  std::vector<std::wstring> TakeWarnings() override { return other_->TakeWarnings(); }

 private:
  /// Bytes that lie one behind the other in the file, and go one behind the other into memory.
  struct Run {
    std::byte* to;
    std::uint64_t offset;
    std::size_t bytes;
  };

  void Extend(Run& run, std::uint64_t offset, std::size_t bytes, const RasterWindow& window) {
    if (run.bytes > 0 && offset != run.offset + run.bytes) Finish(run, window);
    if (run.bytes == 0) run.offset = offset;
    run.bytes += bytes;
  }

  void Finish(Run& run, const RasterWindow& window) {
    const std::ptrdiff_t got = run.bytes == 0 ? 0 : file_->Read(run.to, run.bytes, run.offset);
    if (got < 0) {
      Refuse(L"DirectReader::Read", __LINE__,
             L"The raster \"" + name_ + L"\" can't be read: " +
                 kstr_FromUtf8Lossy(std::generic_category().message(errno)) + L".");
    }
    if (static_cast<std::size_t>(got) != run.bytes) {
      Refuse(L"DirectReader::Read", __LINE__,
             L"The raster \"" + name_ + L"\" ends too early: byte " +
                 std::to_wstring(run.offset + static_cast<std::uint64_t>(got)) + L" of rows " +
                 std::to_wstring(window.row) + L" to " + std::to_wstring(window.row + window.rows - 1) +
                 L" is not there.");
    }
    run.to += run.bytes;
    run.bytes = 0;
  }

  /// Where a block begins in the file; 0 where it is left out.
  std::uint64_t OffsetOf(int plane, std::int32_t blockColumn, std::int32_t blockRow) {
    char key[48];
    std::snprintf(key, sizeof key, "BLOCK_OFFSET_%d_%d", blockColumn, blockRow);
    const char* const text = GDALGetMetadataItem(GDALGetRasterBand(dataset_, plane + 1), key, "TIFF");
    return text ? std::strtoull(text, nullptr, 10) : 0;
  }

  std::wstring name_;
  boost::shared_ptr<const RasterFacts> facts_;
  std::unique_ptr<File> file_;
  GDALDatasetH dataset_;  ///< of the other reader
  std::unique_ptr<RasterReader> other_;
  std::size_t pixelBytes_ = 0;
  std::size_t rowBytes_ = 0;
  int planes_ = 1;
  std::vector<std::byte> buffer_;
};

bool IsPlain(const RasterFacts& facts, GDALDatasetH dataset) {
  if (std::endian::native != std::endian::little || facts.format != L"GTiff" || facts.IsComplex()) return false;
  if (GDALGetMetadataItem(dataset, "COMPRESSION", "IMAGE_STRUCTURE")) return false;
  for (std::size_t index = 0; index < facts.bands.size(); ++index) {
    const GDALRasterBandH band = GDALGetRasterBand(dataset, static_cast<int>(index) + 1);
    if (facts.bands[index].type != facts.type) return false;
    if (GDALGetRasterDataType(band) == GDT_Int64 || GDALGetRasterDataType(band) == GDT_UInt64) return false;
    if (GDALGetMetadataItem(band, "NBITS", "IMAGE_STRUCTURE")) return false;
  }
  return true;
}

bool IsLittleEndian(const File& file) {
  std::byte mark[2] = {};
  return file.Read(mark, sizeof mark, 0) == sizeof mark && mark[0] == std::byte{'I'} && mark[1] == std::byte{'I'};
}

/// What a file may do to its bytes beyond compressing them is seen in its first row.
bool IsSameOfBoth(DirectReader& direct, RasterReader& other, const RasterFacts& facts) {
  const RasterWindow window{0, 0, 1, std::min(facts.columns, facts.blockColumns)};
  RasterPart own;
  if (!direct.TryRead(window, own)) return false;
  const RasterPart theirs = other.Read(window);
  const std::size_t size = kgda_NumBytePerPixelFromType(facts.type);
  for (std::size_t band = 0; band < facts.bands.size(); ++band) {
    for (std::int32_t column = 0; column < window.columns; ++column) {
      const auto at = [&](const RasterPart& part) {
        return part.data + part.bandStride * static_cast<std::ptrdiff_t>(band) + part.pixelStride * column;
      };
      if (std::memcmp(at(own), at(theirs), size) != 0) return false;
    }
  }
  return true;
}

}  // namespace

std::unique_ptr<RasterReader> OpenDirectly(const std::wstring& name, const boost::shared_ptr<const RasterFacts>& facts,
                                           std::unique_ptr<RasterReader>& reader, GDALDatasetH dataset) {
  if (!IsPlain(*facts, dataset)) return nullptr;
  auto file = std::make_unique<File>(NativeName(name));
  if (!file->IsRegular() || !IsLittleEndian(*file)) return nullptr;
  auto direct = std::make_unique<DirectReader>(name, facts, std::move(file), dataset);
  if (!IsSameOfBoth(*direct, *reader, *facts)) return nullptr;
  direct->SetOther(std::move(reader));
  return direct;
}

}  // namespace Tamrin::GdalModule
