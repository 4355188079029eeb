#pragma once

#include <array>
#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "kcommon/kgda.h"
#include "txgeospatiallib/coordinatereferencesystemid.h"
#include "txlib/basicdata.h"

namespace Tamrin::TesseraGeospatial {

struct RasterBand {
  Kgda_PixelType type = KgdaUInt8;  ///< what its elements are read as
  std::wstring storedType;          ///< as the file's format calls it: "Byte", "Int64"
  std::optional<double> noData;
  std::wstring description;
};

/// What a file says of its raster.
struct RasterFacts {
  std::wstring format;  ///< short name of the format: "GTiff"
  std::int32_t rows = 0;
  std::int32_t columns = 0;
  std::vector<RasterBand> bands;  ///< at least one
  /// The type that holds the elements of all bands: theirs, or KgdaFloat64 where they differ.
  Kgda_PixelType type = KgdaUInt8;
  std::int32_t blockRows = 0;  ///< a block is what the file stores in one piece
  std::int32_t blockColumns = 0;
  bool isPixelInterleaved = false;
  /// Empty where the file names none, or one that no authority has a code for.
  CoordinateReferenceSystemID crs;
  /// x = t[0] + column * t[1] + row * t[2], y = t[3] + column * t[4] + row * t[5], of a pixel's upper left corner.
  std::optional<std::array<double, 6>> transform;

  bool IsComplex() const { return type == KgdaComplex64 || type == KgdaComplex128; }
};

struct RasterWindow {
  std::int32_t row = 0;
  std::int32_t column = 0;
  std::int32_t rows = 0;
  std::int32_t columns = 0;
};

/// Elements in memory: that of band b, row r and column c of a window lies at data + b * bandStride + r * rowStride +
/// c * pixelStride. 16 bytes behind the last one may be read, whatever they hold.
struct RasterPart {
  const std::byte* data = nullptr;
  std::ptrdiff_t bandStride = 0;
  std::ptrdiff_t rowStride = 0;
  std::ptrdiff_t pixelStride = 0;
};

/// An open raster, for one thread at a time. Raises KorvenLog::CPPException<std::runtime_error> with the file, the
/// place and the reason where something can't be read.
class RasterReader {
 public:
  virtual ~RasterReader() = default;
  /// All bands of a window inside the raster, as elements of `RasterFacts::type`. Valid until the next call.
  virtual RasterPart Read(const RasterWindow& window) = 0;
  /// True where windows as high as one likes, inside of one column of blocks, cost no more than their bytes.
  virtual bool IsDirect() const = 0;
  /// What the file's format warned of since the last call; each text once.
  virtual std::vector<std::wstring> TakeWarnings() = 0;
};

struct RasterCopyOptions {
  std::wstring format;                        ///< empty: by the extension of the target
  std::vector<std::wstring> creationOptions;  ///< "COMPRESS=DEFLATE"
  boost::function<void(double)> progress;     ///< gets a percentage; may raise to end the writing
  boost::function<void(const std::wstring&)> warn;
};

/// The library of raster formats, which is loaded when it is first asked for. Any thread.
class RasterEngine {
 public:
  /// What a file says, and the files that it is made of.
  struct Opened {
    RasterFacts facts;
    std::vector<std::wstring> files;
    std::vector<std::wstring> warnings;
  };

  /// Raises KorvenLog::Exception where the library can't be loaded.
  static const RasterEngine& Get();

  virtual Opened ReadFacts(const std::wstring& name) const = 0;
  /// `facts` are those of this name.
  virtual std::unique_ptr<RasterReader> Open(const std::wstring& name,
                                             const boost::shared_ptr<const RasterFacts>& facts) const = 0;
  /// Written beside its place, then renamed, with all the files that the format has beside the first.
  virtual void Copy(const std::wstring& source, const std::wstring& target, const RasterCopyOptions& options) const = 0;

 protected:
  ~RasterEngine() = default;
};

/// A raster by the name of its file, or whatever else names one to the library of formats. Nothing is opened before
/// something of it is asked for, and no file is kept open. Any thread.
class Raster {
 public:
  explicit Raster(std::wstring name) : name_(std::move(name)) {}

  const std::wstring& GetName() const { return name_; }
  /// Opens the file at the first call. Raises KorvenLog::Exception with what is wrong with it.
  boost::shared_ptr<const RasterFacts> GetFacts() const;
  /// What was warned of when the facts were read.
  std::vector<std::wstring> GetWarnings() const;
  std::unique_ptr<RasterReader> Open() const;
  /// Raises where a file of the raster is no longer the one that the facts were read from.
  void CheckUnchanged() const;

 private:
  /// A file at a moment. Zero throughout where there is no such file on disk.
  struct Stamp {
    std::wstring name;
    std::array<std::uint64_t, 5> state;
  };
  static Stamp StampOf(const std::wstring& name);

  std::wstring name_;
  mutable std::mutex mutex_;
  mutable boost::shared_ptr<const RasterFacts> facts_;
  mutable std::vector<Stamp> stamps_;
  mutable std::vector<std::wstring> warnings_;
};

/// Text and JSON form are the raster's name. Rasters of the same name are the same, and ordered by it.
class RasterData : public Tessera::DataT<Raster> {
 public:
  using DataT<Raster>::DataT;
  TESSERA_DATA_TYPE(L"Raster")
  TESSERA_DATA_OPERATIONS
};

inline boost::shared_ptr<RasterData> MakeRasterData(const std::wstring& name) {
  return boost::make_shared<RasterData>(boost::make_shared<Raster>(name));
}

}  // namespace Tamrin::TesseraGeospatial

namespace Tamrin::Tessera {
template <>
struct WrapperOf<TesseraGeospatial::Raster> {
  using type = TesseraGeospatial::RasterData;
};
}  // namespace Tamrin::Tessera
