// Statistics of rasters against the same in numpy, block by block, and against a plain loop over the file.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kcommon/kerr.h"
#include "txbasiclib/basicvalues.h"
#include "txgeospatiallib/raster.h"
#include "txlib/factories.h"
#include "txlib/model.h"
#include "txlib/portaccess.h"

namespace {

namespace tx = Tamrin::Tessera;
namespace geo = Tamrin::TesseraGeospatial;

constexpr int kSide = 4000;
constexpr int kBands = 6;
constexpr int kScenes = 200;

/// Rasters that are written by GDAL for Python, once; the folder goes with the program.
class Folder {
 public:
  Folder() : path_("/tmp/tessera-bench-" + std::to_string(::getpid())) {
    std::filesystem::create_directories(path_ + "/scenes");
    const std::string program = R"(
import sys
import numpy as np
from osgeo import gdal
gdal.UseExceptions()
random = np.random.default_rng(1)
def write(path, a, kind, interleaving):
    bands, rows, columns = a.shape
    d = gdal.GetDriverByName("GTiff").Create(path, columns, rows, bands, kind, ["INTERLEAVE=" + interleaving])
    d.WriteRaster(0, 0, columns, rows, np.ascontiguousarray(a).tobytes(), columns, rows, kind)
relief = random.normal(size=(4000, 4000)).astype(np.float32)
a = np.stack([100 + 20 * (relief + random.normal(size=relief.shape).astype(np.float32)) for _ in range(6)])
for name, kind, values in (("8", gdal.GDT_Byte, np.clip(a, 0, 255).astype(np.uint8)), ("32", gdal.GDT_Float32, a)):
    for interleaving in ("PIXEL", "BAND"):
        write(f"{sys.argv[1]}/{name}-{interleaving}.tif", values, kind, interleaving)
for number in range(200):
    write(f"{sys.argv[1]}/scenes/{number:03}.tif", a[:, number:number + 256, :256], gdal.GDT_Float32, "PIXEL")
)";
    isMade_ = std::system(("/usr/bin/python3 -c '" + program + "' " + path_).c_str()) == 0;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  static const Folder& Get() {
    static const Folder folder;
    return folder;
  }
  const std::string& Path() const { return path_; }
  bool IsMade() const { return isMade_; }

 private:
  std::string path_;
  bool isMade_ = false;
};

std::wstring Wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

bool HasFolder(benchmark::State& state) {
  if (Folder::Get().IsMade()) return true;
  state.SkipWithError("python3 with numpy and GDAL is needed");
  return false;
}

/// Seconds that numpy says it took, the best of three.
void NumpyCovariance(benchmark::State& state, const std::string& file) {
  if (!HasFolder(state)) return;
  const std::string program = R"(
import sys, time
import numpy as np
from osgeo import gdal
gdal.UseExceptions()
times = []
for _ in range(3):
    start = time.perf_counter()
    d = gdal.Open(sys.argv[1])
    total, products = np.zeros(6), np.zeros((6, 6))
    for row in range(0, 4000, 100):
        a = d.ReadAsArray(0, row, 4000, 100).reshape(6, -1).astype(np.float32)
        total += a.sum(1)
        products += a @ a.T
    times.append(time.perf_counter() - start)
print(min(times))
)";
  for (auto _ : state) {
    const std::string command = "/usr/bin/python3 -c '" + program + "' " + Folder::Get().Path() + "/" + file;
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), &::pclose);
    double seconds = 0;
    if (!pipe || std::fscanf(pipe.get(), "%lf", &seconds) != 1) {
      state.SkipWithError("numpy failed");
      break;
    }
    state.SetIterationTime(seconds);
  }
}

/// Two threads that read all elements and sum them and their squares.
template <typename Element, typename Sum>
void PlainLoop(benchmark::State& state, const std::string& file) {
  if (!HasFolder(state)) return;
  const std::string path = Folder::Get().Path() + "/" + file;
  const auto half = static_cast<off_t>(sizeof(Element)) * kSide * kSide * kBands / 2;
  for (auto _ : state) {
    const int number = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const auto work = [number, half](off_t from) {
      constexpr std::size_t kElements = 6 * 16384;
      std::vector<Element> part(kElements);
      std::array<Sum, kBands> sums{}, squares{};
      for (off_t at = from; at < from + half; at += static_cast<off_t>(kElements * sizeof(Element))) {
        if (::pread(number, part.data(), kElements * sizeof(Element), at) <= 0) break;
        for (std::size_t k = 0; k < kElements; k += kBands) {
          for (std::size_t band = 0; band < kBands; ++band) {
            const Sum value = part[k + band];
            sums[band] += value;
            squares[band] += value * value;
          }
        }
      }
      benchmark::DoNotOptimize(sums);
      benchmark::DoNotOptimize(squares);
    };
    std::thread other(work, half);
    work(0);
    other.join();
    ::close(number);
  }
}

void Covariance(benchmark::State& state, const std::string& file, bool histogram, const char* other) {
  if (!HasFolder(state)) return;
  const auto op = tx::OperatorFactory::Create(L"VANTIX", L"Statistics");
  op->GetEnvironment()->SetNumThreads(2);
  op->GetPort(L"Raster")->SetData(geo::MakeRasterData(Wide(Folder::Get().Path() + "/" + file)));
  op->GetPort(L"ComputeCovariance")->SetData(tx::MakeData<tx::BoolData>(true));
  op->GetPort(L"ComputeHistogram")->SetData(tx::MakeData<tx::BoolData>(histogram));
  op->Execute();  // GDAL is loaded
  for (auto _ : state) {
    op->SetExecuted(false);
    op->Execute();
  }
  state.SetLabel(other);
}

/// Asked of each: at most a quarter of numpy and three times the plain loop; with histograms 1.5 of without.
#define RASTER_BENCHMARKS(id, file, Element, Sum)                                                                   \
  void Numpy##id(benchmark::State& state) { NumpyCovariance(state, file); }                                         \
  BENCHMARK(Numpy##id)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);                              \
  void Plain##id(benchmark::State& state) { PlainLoop<Element, Sum>(state, file); }                                 \
  BENCHMARK(Plain##id)->UseRealTime()->Unit(benchmark::kMillisecond);                                               \
  void Covariance##id(benchmark::State& state) { Covariance(state, file, false, "vs Plain" #id "/real_time"); }     \
  BENCHMARK(Covariance##id)->UseRealTime()->Unit(benchmark::kMillisecond);                                          \
  void CovarianceVsNumpy##id(benchmark::State& state) {                                                             \
    Covariance(state, file, false, "vs Numpy" #id "/iterations:1/manual_time");                                     \
  }                                                                                                                 \
  BENCHMARK(CovarianceVsNumpy##id)->UseRealTime()->Unit(benchmark::kMillisecond);                                   \
  void Histograms##id(benchmark::State& state) { Covariance(state, file, true, "vs Covariance" #id "/real_time"); } \
  BENCHMARK(Histograms##id)->UseRealTime()->Unit(benchmark::kMillisecond)

RASTER_BENCHMARKS(8BitPixels, "8-PIXEL.tif", unsigned char, unsigned);
RASTER_BENCHMARKS(8BitBands, "8-BAND.tif", unsigned char, unsigned);
RASTER_BENCHMARKS(FloatPixels, "32-PIXEL.tif", float, double);
RASTER_BENCHMARKS(FloatBands, "32-BAND.tif", float, double);

void CorrelateScenes(benchmark::State& state, const wchar_t* method, const char* other) {
  if (!HasFolder(state)) return;
  kerr_SetSessionLogSink({});
  const auto model = tx::ModelFormatFactory::OpenFromBuffer(
      LR"({"format": "TesseraModelFormat", "version": 1,
  "ports": [{"name": "In", "alias": "each.In"}, {"name": "Out", "alias": "each.Out"}],
  "operators": [{"id": "each", "operator": "VANTIX.Iterator", "model": {
    "ports": [{"name": "In", "alias": "c.Input"}, {"name": "Out", "alias": "c.Matrix"}],
    "operators": [{"id": "c", "operator": "VANTIX.Correlation"}]}}]})",
      L"TesseraModelFormat");
  model->GetOperators().front()->GetPort(L"ExecutionMethod")->SetData(tx::MakeData<tx::StringData>(method));
  model->GetEnvironment()->SetNumThreads(2);
  tx::DataList scenes;
  for (int number = 0; number < kScenes; ++number) {
    char name[32];
    std::snprintf(name, sizeof name, "/scenes/%03d.tif", number);
    scenes.push_back(tx::MakeData<tx::FileData>(Wide(Folder::Get().Path() + name)));
  }
  const auto list = tx::MakeData<tx::DataListData>(std::move(scenes));
  for (auto _ : state) {
    model->GetPort(L"In")->SetData(list);
    model->Execute();
  }
  if (other) state.SetLabel(other);
}

void ScenesSerially(benchmark::State& state) { CorrelateScenes(state, L"InProcessSerial", nullptr); }
BENCHMARK(ScenesSerially)->UseRealTime()->Unit(benchmark::kMillisecond);

/// Asked: at most 1/1.9 = 0.526 of ScenesSerially.
void ScenesOnTwoThreads(benchmark::State& state) {
  CorrelateScenes(state, L"InProcessParallel", "vs ScenesSerially/real_time");
}
BENCHMARK(ScenesOnTwoThreads)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
