#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <latch>
#include <thread>

#include "operators/rasterfiles.h"
#include "txlib/conversion.h"
#include "txlib/factories.h"
#include "txlib/jsonvalue.h"

namespace {

using namespace testing_support;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string ErrorOf(ModelHost& host) {
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "") << "the library of formats has printed";
  return kstr_ToUtf8(host.Error());
}

/// What opening a file as a raster comes to.
std::string ErrorOfOpening(const std::wstring& name) {
  ModelHost host;
  host.Add(L"RasterFileInput", L"op");
  host.Set(L"op.Filename", File(name));
  return ErrorOf(host);
}

std::string ErrorOfStatistics(const std::wstring& name) {
  StatisticsRun run(name);
  return ErrorOf(run.host);
}

std::string Quoted(const std::wstring& name) { return "\"" + kstr_ToUtf8(name) + "\""; }

TEST(RasterFiles, WhatIsNoRasterIsToldWithItsName) {
  const TemporaryFolder folder;
  const std::wstring text = folder.Write("notes.txt", "no raster"), missing = folder.WidePath() + L"/missing.tif";
  EXPECT_EQ(ErrorOfOpening(text), "The raster " + Quoted(text) + " can't be opened: `" + kstr_ToUtf8(text) +
                                      "' not recognized as a supported file format.");
  EXPECT_EQ(ErrorOfOpening(missing), "The raster " + Quoted(missing) + " can't be opened: " + kstr_ToUtf8(missing) +
                                         ": No such file or directory.");
  EXPECT_EQ(ErrorOfOpening(L""), "A raster without a name can't be opened.");
}

TEST(RasterFiles, FileOfSeveralRastersNamesThem) {
  const TemporaryFolder folder;
  RasterFile file{256, 256, {Numbers(65536, 1)}, GDT_Byte, {"RASTER_TABLE=first"}, {}, "GPKG"};
  WriteRaster(folder, "a.gpkg", file);
  file.options = {"RASTER_TABLE=second", "APPEND_SUBDATASET=YES"};
  const std::wstring name = WriteRaster(folder, "a.gpkg", file);
  const std::string first = "GPKG:" + kstr_ToUtf8(name) + ":first";
  EXPECT_EQ(ErrorOfOpening(name), "The raster " + Quoted(name) +
                                      " has no bands. It holds 2 rasters of their own names, the first of them \"" +
                                      first + "\".");
  EXPECT_EQ(StatisticsRun(kstr_FromUtf8Lossy(first)).Run().Fact(0, L"Mean"), 1);
}

TEST(RasterFiles, FileThatEndsTooEarlyIsToldWithThePlace) {
  const TemporaryFolder folder;
  const RasterFile file{200, 100, {Band(200, 100, [](int row, int) { return row; })}, GDT_Byte};
  const std::wstring plain = WriteRaster(folder, "plain.tif", file);
  ASSERT_EQ(::truncate(kstr_ToUtf8(plain).c_str(), 9000), 0);
  EXPECT_THAT(ErrorOfStatistics(plain),
              StartsWith("The raster " + Quoted(plain) + " ends too early: byte 9000 of rows "));
  RasterFile packed = file;
  packed.options = {"COMPRESS=DEFLATE", "BLOCKYSIZE=10"};
  const std::wstring other = WriteRaster(folder, "packed.tif", packed);
  const auto size = std::filesystem::file_size(kstr_ToUtf8(other));
  ASSERT_EQ(::truncate(kstr_ToUtf8(other).c_str(), static_cast<off_t>(size - 100)), 0);
  EXPECT_THAT(ErrorOfStatistics(other), StartsWith("The raster " + Quoted(other) + " can't be read from row "));
}

TEST(RasterFiles, RasterThatChangesIsNotReadOn) {
  const TemporaryFolder folder;
  const RasterFile file{200, 100, {Band(200, 100, [](int row, int) { return row; })}};
  const std::wstring name = WriteRaster(folder, "a.tif", file);
  StatisticsRun run(name);
  boost::dynamic_pointer_cast<geo::RasterData>(run.host.PortOf(L"op.Raster")->GetData())->GetDataValue().GetFacts();
  RasterFile other = file;
  other.rows = 100;
  other.bands[0].resize(10000);
  WriteRaster(folder, "a.tif", other);
  EXPECT_EQ(ErrorOf(run.host), "The raster " + Quoted(name) + " has changed since it was opened: the file " +
                                   Quoted(name) + " is not the one it was.");
}

TEST(RasterFiles, RasterThatChangesWhileItIsReadIsTold) {
  const TemporaryFolder folder;
  const RasterFile file{2000, 1000, {Numbers(2000000, 5)}};
  const std::wstring name = WriteRaster(folder, "a.tif", file);
  StatisticsRun run(name);
  bool changed = false;
  const auto handle = run.host.Op(L"op")->AddOnProgressCallback([&](const OperatorPtr&, double) {
    if (std::exchange(changed, true)) return;
    const timespec times[2] = {{1, 0}, {1, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, kstr_ToUtf8(name).c_str(), times, 0), 0);
  });
  EXPECT_THAT(ErrorOf(run.host), HasSubstr(" has changed since it was opened: "));
  EXPECT_TRUE(changed);
}

TEST(RasterFiles, ComplexNumbersHaveNoStatistics) {
  const TemporaryFolder folder;
  const std::wstring name = WriteRaster(folder, "a.tif", {1, 2, {{1, 2}}, GDT_CInt16});
  EXPECT_EQ(ErrorOfStatistics(name), "Band 1 of the raster " + Quoted(name) +
                                         " has complex numbers (CInt16); there are statistics of real numbers only.");
}

std::string Source(const std::string& file, const char* type, int number) {
  return "<VRTRasterBand dataType=\"" + std::string(type) + "\" band=\"" + std::to_string(number) +
         "\"><SimpleSource><SourceFilename>" + file +
         "</SourceFilename><SourceBand>1</SourceBand></SimpleSource></VRTRasterBand>";
}

TEST(RasterFiles, BandsOfDifferentTypesAreReadAsTheyAre) {
  const TemporaryFolder folder;
  const RasterFile bytes{2, 3, {{1, 2, 3, 4, 5, 250}}};
  const RasterFile floats{2, 3, {{0.5, 1e6, -3, 4, 5, 6}}, GDT_Float32};
  const std::string first = kstr_ToUtf8(WriteRaster(folder, "a.tif", bytes));
  const std::string second = kstr_ToUtf8(WriteRaster(folder, "b.tif", floats));
  const std::wstring name =
      folder.Write("c.vrt", "<VRTDataset rasterXSize=\"3\" rasterYSize=\"2\">" + Source(first, "Byte", 1) +
                                Source(second, "Float32", 2) + "</VRTDataset>");
  RasterFile both = bytes;
  both.bands.push_back(floats.bands[0]);
  const StatisticsRun run = StatisticsRun(name).Run();
  ExpectNear(run.Covariance(), CovariancesOf(PixelsOf(both)), 1e-14);
  EXPECT_EQ(run.Fact(0, L"Maximum"), 250);
}

TEST(RasterFiles, BlocksThatWereNeverWrittenAreZeros) {
  const TemporaryFolder folder;
  const std::string path = folder.Path() + "/a.tif";
  GDALAllRegister();
  CPLStringList options;
  options.AddString("SPARSE_OK=YES");
  options.AddString("TILED=YES");
  const GDALDatasetH dataset =
      GDALCreate(GDALGetDriverByName("GTiff"), path.c_str(), 600, 600, 1, GDT_UInt16, options.List());
  std::uint16_t one = 9;
  ASSERT_EQ(GDALRasterIO(GDALGetRasterBand(dataset, 1), GF_Write, 400, 10, 1, 1, &one, 1, 1, GDT_UInt16, 0, 0),
            CE_None);
  GDALClose(dataset);
  const StatisticsRun run = StatisticsRun(kstr_FromUtf8Lossy(path)).Run();
  EXPECT_EQ(run.Fact(0, L"Count"), 360000);
  EXPECT_EQ(run.Fact(0, L"Maximum"), 9);
  EXPECT_DOUBLE_EQ(run.Fact(0, L"Mean"), 9.0 / 360000);
}

tessera::Dictionary InformationOf(const std::wstring& name) {
  ModelHost host;
  host.Add(L"RasterInformation", L"op");
  host.Set(L"op.Raster", RasterValue(name));
  EXPECT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
  return host.Get<tessera::Dictionary>(L"op.Information");
}

std::string TextOf(const tessera::Dictionary& dictionary, const wchar_t* key) {
  const DataPtr data = dictionary.Find(key);
  return data ? kstr_ToUtf8(data->ToString()) : "nothing";
}

TEST(RasterInformation, TellsTheFacts) {
  const TemporaryFolder folder;
  const RasterFile file{7, 5, {Numbers(35, 1), Numbers(35, 2)}, GDT_Int16, {"INTERLEAVE=BAND"}, {-1}};
  const std::wstring name = WriteRaster(folder, "a.tif", file);
  const tessera::Dictionary facts = InformationOf(name);
  EXPECT_THAT(facts.GetKeys(),
              ElementsAre(L"Filename", L"Format", L"Rows", L"Columns", L"NumBands", L"Type", L"BlockRows",
                          L"BlockColumns", L"Interleaving", L"CoordinateReferenceSystem", L"GeoTransform", L"Bands"));
  EXPECT_EQ(TextOf(facts, L"Filename"), kstr_ToUtf8(name));
  EXPECT_EQ(TextOf(facts, L"Format"), "GTiff");
  EXPECT_EQ(TextOf(facts, L"Rows"), "7");
  EXPECT_EQ(TextOf(facts, L"Columns"), "5");
  EXPECT_EQ(TextOf(facts, L"NumBands"), "2");
  EXPECT_EQ(TextOf(facts, L"Type"), "Int16");
  EXPECT_EQ(TextOf(facts, L"Interleaving"), "Band");
  EXPECT_EQ(TextOf(facts, L"CoordinateReferenceSystem"), "nothing");
  EXPECT_EQ(TextOf(facts, L"GeoTransform"), "nothing");
  const auto band = boost::dynamic_pointer_cast<tessera::DictionaryData>((*facts.Find(L"Bands"))[1].AsData());
  EXPECT_EQ(TextOf(band->GetDataValue(), L"StoredType"), "Int16");
  EXPECT_EQ(TextOf(band->GetDataValue(), L"NoData"), "-1");
}

TEST(RasterInformation, TellsThePlace) {
  const TemporaryFolder folder;
  const std::wstring name = WriteRaster(folder, "a.tif", {2, 2, {Numbers(4, 1)}});
  const GDALDatasetH dataset = GDALOpen(kstr_ToUtf8(name).c_str(), GA_Update);
  double transform[6] = {100, 10, 0, 200, 0, -10};
  GDALSetGeoTransform(dataset, transform);
  GDALSetProjection(dataset, "EPSG:32632");
  GDALClose(dataset);
  const tessera::Dictionary facts = InformationOf(name);
  EXPECT_EQ(TextOf(facts, L"GeoTransform"), "[100.0, 10.0, 0.0, 200.0, 0.0, -10.0]");
}

TEST(RasterFileOutput, WritesWhatItReads) {
  const TemporaryFolder folder;
  const RasterFile file{40, 30, {Band(40, 30, [](int row, int column) { return row + column; }), Numbers(1200, 4)}};
  const std::wstring name = WriteRaster(folder, "a.tif", file);
  const struct {
    const char* target;
    const wchar_t* format;
    std::vector<std::wstring> options;
    const char* expected;
  } rows[] = {{"b.img", L"", {}, "HFA"},
              {"c.tif", L"", {L"COMPRESS=DEFLATE", L"TILED=YES"}, "GTiff"},
              {"d", L"ENVI", {}, "ENVI"},
              {"a.tif", L"", {}, "GTiff"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.target);
    ModelHost host;
    host.Add(L"RasterFileOutput", L"op");
    const std::wstring target = folder.WidePath() + L"/" + kstr_FromUtf8Lossy(row.target);
    host.Set(L"op.RasterIn", RasterValue(name)).Set(L"op.Filename", File(target)).Set(L"op.Format", row.format);
    host.Set(L"op.CreationOptions", row.options);
    ASSERT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
    EXPECT_EQ(host.Existing(L"op.RasterOut")->ToString(), target);
    EXPECT_EQ(TextOf(InformationOf(target), L"Format"), row.expected);
    ExpectNear(StatisticsRun(target).Run().Covariance(), CovariancesOf(PixelsOf(file)), 1e-14);
  }
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path()))
    names.push_back(entry.path().filename().native());
  EXPECT_THAT(names, ::testing::Not(::testing::Contains(StartsWith(".tessera"))));
  EXPECT_THAT(names, ::testing::IsSupersetOf({"d", "d.hdr"}));
}

TEST(RasterFileOutput, FailuresSayWhyAndLeaveTheOldFile) {
  const TemporaryFolder folder;
  const std::wstring name = WriteRaster(folder, "a.tif", {1, 2, {{1, 2}}});
  const auto errorOf = [&](const std::wstring& target, const wchar_t* format,
                           const std::vector<std::wstring>& options = {}) {
    ModelHost host;
    host.Add(L"RasterFileOutput", L"op");
    host.Set(L"op.RasterIn", RasterValue(name)).Set(L"op.Filename", File(target)).Set(L"op.Format", format);
    host.Set(L"op.CreationOptions", options);
    return ErrorOf(host);
  };
  EXPECT_EQ(errorOf(L"", L""), "Filename is empty; it is where the raster is written.");
  EXPECT_EQ(
      errorOf(L"x.unheard", L""),
      "No format is known that is written to \"x.unheard\" by its extension; name one as Format, such as \"GTiff\".");
  EXPECT_EQ(errorOf(L"x", L"GTif"), "There is no raster format \"GTif\"; the nearest is \"GTiff\".");
  EXPECT_EQ(errorOf(L"x.tif", L"", {L"TILED"}), "The creation option \"TILED\" has no \"=\"; expected NAME=VALUE.");
  EXPECT_EQ(errorOf(L"/nowhere/at/all/x.tif", L""),
            "The raster \"/nowhere/at/all/x.tif\" can't be written: No such file or directory.");
  const std::wstring old = folder.Write("old.tif", "old");
  EXPECT_THAT(errorOf(old, L"", {L"TILED=YES", L"BLOCKXSIZE=17"}),
              StartsWith("The raster " + Quoted(old) + " can't be written: "));
  EXPECT_EQ(folder.Read("old.tif"), "old");
}

TEST(RasterValue, IsTheNameOfItsFile) {
  const DataPtr raster = RasterValue(L"some/where.tif");
  EXPECT_EQ(raster->ToString(), L"some/where.tif");
  EXPECT_EQ(raster->GetDataTypeName().ToString(), L"VANTIX.Raster");
  tessera::JsonValue json;
  ASSERT_TRUE(raster->ToJSON(json));
  EXPECT_EQ(json, tessera::JsonValue(L"some/where.tif"));
  const auto read = tessera::DataFactory::Create(geo::RasterData::DefaultTypeName());
  ASSERT_TRUE(read);
  EXPECT_TRUE(read->HasNoValue());
  ASSERT_TRUE(read->FromJSON(json));
  EXPECT_EQ(read->ToString(), raster->ToString());
  EXPECT_FALSE(read->FromJSON(tessera::JsonValue(5)));
  EXPECT_FALSE(read->FromString(L""));
  EXPECT_EQ(read->ToString(), L"some/where.tif");
  const DataPtr clone = raster->Clone();
  EXPECT_NE(clone, raster);
  EXPECT_EQ(clone->ToString(), raster->ToString());
  EXPECT_TRUE(*RasterValue(L"a.tif") < RasterValue(L"b.tif"));
  EXPECT_TRUE(*RasterValue(L"b.tif") > RasterValue(L"a.tif"));
  EXPECT_FALSE(*clone < raster);
  ASSERT_TRUE(read->FromJSON(tessera::JsonValue()));
  EXPECT_TRUE(read->HasNoValue());
}

TEST(RasterValue, ConvertsFromAndToNames) {
  const tessera::ObjectName raster = geo::RasterData::DefaultTypeName();
  EXPECT_EQ(Value(L"a.tif")->ConvertTo(raster)->ToString(), L"a.tif");
  EXPECT_EQ(File(L"a.tif")->ConvertTo(raster)->ToString(), L"a.tif");
  EXPECT_FALSE(File(L"")->ConvertTo(raster));
  EXPECT_EQ(RasterValue(L"a.tif")->ConvertTo(tessera::FileData::DefaultTypeName())->ToString(), L"a.tif");
  EXPECT_FALSE(RasterValue(L"a.tif")->ConvertTo({L"VANTIX", L"Matrix"})) << "it would pass for covariances";
}

TEST(StatisticsRun, TellsItsProgressAndCanBeCancelled) {
  const TemporaryFolder folder;
  const std::wstring name =
      WriteRaster(folder, "a.tif", {2000, 1000, {Numbers(2000000, 5), Numbers(2000000, 6)}, GDT_UInt16});
  for (const unsigned threads : {0u, 2u}) {
    StatisticsRun run(name);
    run.Threads(threads);
    std::vector<double> told;
    auto handle =
        run.host.Op(L"op")->AddOnProgressCallback([&](const OperatorPtr&, double percent) { told.push_back(percent); });
    run.Run();
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    EXPECT_GT(told.size(), 5u);
    EXPECT_EQ(told.back(), 100);

    StatisticsRun cancelled(name);
    cancelled.Threads(threads);
    const auto environment = cancelled.host.GetModel()->GetEnvironment();
    handle =
        cancelled.host.Op(L"op")->AddOnProgressCallback([&](const OperatorPtr&, double) { environment->Cancel(); });
    EXPECT_THROW(cancelled.host.GetModel()->Execute(), tessera::CancelledException);
    EXPECT_FALSE(cancelled.host.Existing(L"op.Covariance"));
  }
}

/// Each thread with readers of its own, of the same files.
TEST(ConcurrentRasters, GiveWhatTheyGiveAlone) {
  const TemporaryFolder folder;
  std::vector<std::wstring> names;
  std::vector<Numbers> expected;
  for (int number = 0; number < 6; ++number) {
    RasterFile file{120, 90, {}, number % 2 ? GDT_Byte : GDT_Float32, {}};
    if (number % 3 == 1) file.options = {"COMPRESS=DEFLATE", "TILED=YES"};
    for (int band = 0; band < 3; ++band)
      file.bands.push_back(
          Band(120, 90, [&](int row, int column) { return (row * (band + 2) + column * number) % 200; }));
    names.push_back(WriteRaster(folder, "scene" + std::to_string(number) + ".tif", file));
    expected.push_back(StatisticsRun(names.back()).Run().Covariance());
  }
  constexpr std::size_t kThreads = 4;
  std::vector<std::vector<Numbers>> found(kThreads, std::vector<Numbers>(names.size()));
  std::latch begin(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      begin.arrive_and_wait();
      for (std::size_t i = 0; i < names.size(); ++i) {
        const std::size_t index = (i + thread) % names.size();
        found[thread][index] = StatisticsRun(names[index]).Run().Covariance();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (const auto& ofThread : found) EXPECT_EQ(ofThread, expected);
}

TEST(ConcurrentRasters, OneValueServesManyThreads) {
  const TemporaryFolder folder;
  const auto raster =
      geo::MakeRasterData(WriteRaster(folder, "a.tif", {60, 50, {Band(60, 50, [](int row, int) { return row; })}}));
  std::latch begin(4);
  std::vector<std::thread> threads;
  std::vector<double> means(4);
  for (std::size_t thread = 0; thread < means.size(); ++thread) {
    threads.emplace_back([&, thread] {
      begin.arrive_and_wait();
      StatisticsRun run(L"unused");
      run.host.Set(L"op.Raster", DataPtr(raster));
      means[thread] = run.Run().Fact(0, L"Mean");
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(means, ElementsAre(29.5, 29.5, 29.5, 29.5));
}

}  // namespace
