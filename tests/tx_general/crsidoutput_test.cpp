#include <gmock/gmock.h>

#include <boost/filesystem.hpp>
#include <cstdlib>

#include "kprj/korvendatum.h"
#include "kprj/moniker.h"
#include "tx_general/crsvalues.h"
#include "tx_general/stackvalues.h"
#include "txlib/factories.h"

namespace {

using namespace testing_support;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

std::wstring Prefix(const DataPtr& crs) {
  const CrsId id = crs->GetDataValue<CrsId>();
  return L"Failed to write CRS ID with authority " + id.GetAuthority() + L" and code " + id.GetCode() + L". ";
}

/// The system of the projection library that a code of the other ones stands for, with a height in feet where asked.
std::wstring PartsCode(const DataPtr& horizontal, const wchar_t* horizontalUnits, const DataPtr& vertical) {
  ModelHost host;
  host.Add(L"ConstructCRSID", L"op");
  host.Set(L"op.HorizontalCRS", horizontal).Set(L"op.Authority", L"KPRJ");
  if (horizontalUnits) host.Set(L"op.HorizontalUnits", horizontalUnits);
  if (vertical) host.Set(L"op.VerticalCRS", vertical).Set(L"op.VerticalUnits", L"foot");
  EXPECT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
  return host.Get<CrsId>(L"op.CRS").GetCode();
}
std::wstring UtmInFeet() { return PartsCode(Epsg(L"32633"), L"US survey foot", nullptr); }
std::wstring UtmWithHeight() { return PartsCode(Epsg(L"32633"), nullptr, Epsg(L"5773")); }

class CRSIDOutputTest : public ::testing::Test {
 protected:
  std::wstring In(const wchar_t* name) const { return folder_.WidePath() + L"/" + name; }
  bool IsThere(const char* name) const { return boost::filesystem::exists(folder_.Path() + "/" + name); }
  /// Runs with a file of that name in the folder.
  bool Write(ModelHost& host, const DataPtr& crs, const wchar_t* name) const {
    host.Add(L"CRSIDOutput", L"op");
    host.Set(L"op.CRSIn", crs).Set(L"op.FilenameIn", File(In(name)));
    return host.Run();
  }
  /// The id that comes out of a run that ends well.
  std::wstring Written(const DataPtr& crs, const wchar_t* name) const {
    ModelHost host;
    EXPECT_TRUE(Write(host, crs, name)) << kstr_ToUtf8(host.Error());
    const DataPtr file = host.Existing(L"op.FilenameOut");
    EXPECT_EQ(file ? file->ToString() : L"-", In(name));
    const DataPtr id = host.Existing(L"op.CRSOut");
    return id ? id->ToString() : L"-";
  }
  std::wstring Failure(const DataPtr& crs, const wchar_t* name) const {
    ModelHost host;
    EXPECT_FALSE(Write(host, crs, name));
    EXPECT_EQ(host.Existing(L"op.CRSOut"), nullptr);
    EXPECT_EQ(host.Existing(L"op.FilenameOut"), nullptr);
    EXPECT_FALSE(IsThere(kstr_ToUtf8(name).c_str()));
    return host.Error();
  }
  Row RowOf(const char* title, const DataPtr& crs, const wchar_t* name, const DataPtr& expected,
            const std::wstring& error = {}) const {
    return {title, L"CRSIDOutput", {{L"CRSIn", crs}, {L"FilenameIn", File(In(name))}}, L"CRSOut", expected, error};
  }
  TemporaryFolder folder_;
};

TEST_F(CRSIDOutputTest, Rows) {
  ExpectRows({
      RowOf("prj", Epsg(L"32633"), L"a.prj", Crs(L"PRJ", In(L"a.prj"))),
      RowOf("csf", Epsg(L"32633"), L"a.csf", Crs(L"GeoKey Moniker", L"1024=1;3072=32633")),
      RowOf("wcs", Epsg(L"4979"), L"a.wcs", Epsg(L"4979")),
      RowOf("plb", Epsg(L"32633"), L"a.plb", Crs(L"KPRJ", L"32633")),
      RowOf("upper case", Epsg(L"32633"), L"b.PRJ", Crs(L"PRJ", In(L"b.PRJ"))),
      RowOf("mixed case", Epsg(L"32633"), L"b.Csf", Crs(L"GeoKey Moniker", L"1024=1;3072=32633")),
      {"no system", L"CRSIDOutput", {}, L"CRSOut", nullptr, L"Data not found on port(CRSIn)."},
  });
}

TEST_F(CRSIDOutputTest, Refusals) {
  RegisterTestSystems();
  const DataPtr utm = Epsg(L"32633"), height = Epsg(L"5773"), solid = Epsg(L"4979"), gone = Epsg(L"99999");
  const DataPtr unknown3D = Crs(L"KPRJ", kprj::kUnknown3D);
  const struct {
    DataPtr crs;
    const wchar_t* file;
    const wchar_t* reason;
    bool hasPrefix = true;
  } rows[] = {
      {Crs(L"Test", L"Grid"), L"x.prj", L"GridCRS has no persistent representation"},
      {Crs(L"Test", L"Image"), L"x.txt", L"ImageCRS has no persistent representation"},
      {Crs(L"KPRJ", kprj::kUnknown1D), L"x.csf", L"1D Unknown CRS has no persistent representation"},
      {Crs(L"KPRJ", kprj::kUnknown2D), L"x.plb", L"2D Unknown CRS has no persistent representation"},
      {unknown3D, L"x.prj", L"3D Unknown CRS cannot be output to PRJ format"},
      {unknown3D, L"x.csf", L"3D Unknown CRS cannot be output to CSF format"},
      {unknown3D, L"x.plb", L"3D Unknown CRS cannot be output to PLB format"},
      {Crs(L"Other", kprj::kUnknown3D), L"x.csf", L"3D Unknown CRS cannot be output to CSF format"},
      {height, L"x.prj", L"1D CRS cannot be output to PRJ format"},
      {height, L"x.csf", L"1D CRS cannot be output to CSF format"},
      {height, L"x.plb", L"Only 2D CRS can be output to PLB format"},
      {height, L"x.wcs", L"Only 3D CRS can be output to PLB format"},
      {utm, L"x.wcs", L"Only 3D CRS can be output to PLB format"},
      {solid, L"x.plb", L"Only 2D CRS can be output to PLB format"},
      {Epsg(L"4978"), L"x.wcs", L"A CRS without horizontal and vertical parts cannot be output to WCS format"},
      {Epsg(L"4978"), L"x.prj", L"Unable to translate to PRJ format."},
      {gone, L"x.prj", L"Unable to translate to PRJ format."},
      {utm, L"x.txt", L"Unsupported output format - TXT"},
      {utm, L"x", L"Unsupported output format - "},
      {utm, L".prj", L"Unsupported output format - "},
      {utm, L"x.", L"Unsupported output format - "},
      {gone, L"x.shp", L"Unsupported output format - SHP"},
      {Epsg(L"4978"), L"x.csf", L"Failed to translate CRS to GeoKey Moniker", false},
      {gone, L"x.csf", L"Failed to translate CRS to GeoKey Moniker", false},
      {gone, L"x.plb", L"Failed to translate to KPRJ CRS", false},
      {Crs(L"KPRJ", UtmInFeet()), L"x.plb", L"Cannot persist a transient CRS definition", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(kstr_ToUtf8(row.crs->ToString() + L" to " + row.file));
    EXPECT_EQ(Failure(row.crs, row.file), (row.hasPrefix ? Prefix(row.crs) : L"") + row.reason);
  }
}

TEST_F(CRSIDOutputTest, RefusalsInRows) {
  ExpectRows({
      RowOf("dimension", Epsg(L"32633"), L"x.wcs", nullptr,
            Prefix(Epsg(L"32633")) + L"Only 3D CRS can be output to PLB format"),
      RowOf("transient", Crs(L"KPRJ", UtmInFeet()), L"x.plb", nullptr, L"Cannot persist a transient CRS definition"),
  });
}

TEST_F(CRSIDOutputTest, AWarningTellsWhyThereIsNoSystem) {
  for (const wchar_t* file : {L"x.prj", L"x.csf", L"x.plb"}) {
    ModelHost host;
    EXPECT_FALSE(Write(host, Crs(L"ESPG", L"4326"), file));
    EXPECT_THAT(host.Messages(tessera::Issue::Warning),
                ElementsAre(AllOf(HasSubstr(L"\"ESPG\""), HasSubstr(L"\"EPSG\""))));
  }
  EXPECT_THAT(Failure(Epsg(L"99999"), L"x.wcs"), AllOf(StartsWith(Prefix(Epsg(L"99999"))), HasSubstr(L"99999")));
  ModelHost host;
  EXPECT_FALSE(Write(host, Epsg(L"4978"), L"x.prj"));
  EXPECT_THAT(host.Messages(tessera::Issue::Warning), IsEmpty()) << "a system that is there";
}

TEST_F(CRSIDOutputTest, AProjectionFileIsOneLineThatLeadsBack) {
  const std::wstring id = Written(Epsg(L"32633"), L"utm.prj");
  const std::string text = folder_.Read("utm.prj");
  EXPECT_THAT(text, AllOf(StartsWith("PROJCS[\"WGS_1984_UTM_Zone_33N\",GEOGCS[\"GCS_WGS_1984\","), EndsWith("]\n")));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
  ExpectRow({"read",
             L"ConstructCRSID",
             {{L"HorizontalCRS", Crs(L"PRJ", id.substr(4))}, {L"Authority", Value(L"EPSG")}},
             L"CRS",
             Epsg(L"32633")});
}

TEST_F(CRSIDOutputTest, ProjectionTextIsWrittenAsItStands) {
  std::wstring text = kGeographicText;
  text.replace(text.find(L"GCS_WGS_1984"), 12, L"Mein Gel\u00e4nde");
  EXPECT_EQ(Written(Crs(L"PRJ", text), L"own.prj"), L"PRJ:" + In(L"own.prj"));
  EXPECT_EQ(folder_.Read("own.prj"), kstr_ToUtf8(text) + "\n");
  EXPECT_EQ(Written(Crs(L"PRJ", In(L"own.prj")), L"copy.prj"), L"PRJ:" + In(L"copy.prj"));
  EXPECT_EQ(folder_.Read("copy.prj"), kstr_ToUtf8(text) + "\n\n") << "the file's content, and an end of line";
  folder_.Write("marked.prj", "\xEF\xBB\xBF" + kstr_ToUtf8(text));
  Written(Crs(L"PRJ", In(L"marked.prj")), L"copy.prj");
  EXPECT_EQ(folder_.Read("copy.prj"), kstr_ToUtf8(text) + "\n");
}

TEST_F(CRSIDOutputTest, ProjectionCodesThatAreNone) {
  const std::wstring noPath = L"Authority code is not an ESRI Projection Engine string or file path";
  const std::wstring noFile = L"Authority code is a file path but the file does not exist";
  const std::wstring noContent =
      L"Authority code is a file path but the content is not an ESRI Projection Engine string";
  folder_.Write("note.prj", "no projection");
  folder_.Write("empty.prj", "");
  folder_.Write("lower.prj", "geogcs[]");
  const struct {
    std::wstring code;
    const std::wstring& reason;
  } rows[] = {
      {L"", noPath},
      {folder_.WidePath() + L"/", noPath},
      {In(L"nowhere.prj"), noFile},
      {L"projcs[\"x\"]", noFile},
      {L" PROJCS[\"x\"]", noFile},
      {std::wstring(5000, L'x'), noFile},
      {In(L"note.prj"), noContent},
      {In(L"note.prj") + L"/inside.prj", noFile},
      {In(L"empty.prj"), noContent},
      {In(L"lower.prj"), noContent},
      {folder_.WidePath(), noContent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(kstr_ToUtf8(row.code.substr(0, 100)));
    const DataPtr crs = Crs(L"PRJ", row.code);
    EXPECT_EQ(Failure(crs, L"x.prj"), Prefix(crs) + row.reason);
  }
}

TEST_F(CRSIDOutputTest, ProjectionTextThatMakesNoSystemIsNotWritten) {
  folder_.Write("latin.prj", "GEOGCS[\"N\xE4m\",DATUM[\"D_WGS_1984\"]]");
  folder_.Write("more.prj", kstr_ToUtf8(kGeographicText) + " and more");
  const struct {
    std::wstring code;
    const wchar_t* told;
  } rows[] = {
      {In(L"latin.prj"), L"UTF-8"},
      {In(L"more.prj"), L"more.prj"},
      {L"GEOGCS[\"x\"", L"GEOGCS"},
      {kGeographicText + std::wstring(L"]"), L"GEOGCS"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(kstr_ToUtf8(row.code));
    const DataPtr crs = Crs(L"PRJ", row.code);
    EXPECT_THAT(Failure(crs, L"x.prj"), AllOf(StartsWith(Prefix(crs)), HasSubstr(row.told)));
  }
}

TEST_F(CRSIDOutputTest, WithoutANameAProjectionFileIsTemporary) {
  std::wstring name;
  {
    ModelHost host;
    host.Add(L"CRSIDOutput", L"op");
    host.Set(L"op.CRSIn", Epsg(L"4326"));
    ASSERT_TRUE(host.Run());
    name = host.Existing(L"op.FilenameOut")->ToString();
    EXPECT_THAT(name, AllOf(StartsWith(host.GetModel()->GetTemporaryDirectory()), EndsWith(L".prj")));
    EXPECT_EQ(host.Existing(L"op.CRSOut")->ToString(), L"PRJ:" + name);
    EXPECT_TRUE(boost::filesystem::exists(kstr_ToUtf8(name)));
    host.Set(L"op.FilenameIn", File(L""));
    ASSERT_TRUE(host.Run());
    EXPECT_NE(host.Existing(L"op.FilenameOut")->ToString(), name) << "an empty name is none";
  }
  EXPECT_FALSE(boost::filesystem::exists(kstr_ToUtf8(name))) << "it goes with the model";
}

TEST_F(CRSIDOutputTest, OutsideAModelThereIsNoTemporaryFile) {
  const auto op = tessera::OperatorFactory::Create(L"VANTIX", L"CRSIDOutput");
  op->GetPort(L"CRSIn")->SetData(Epsg(L"4326"));
  EXPECT_THROW(
      try { op->Execute(); } catch (const KorvenLog::Exception& exception) {
        EXPECT_EQ(exception.get_What(), L"Unable to generated temporary output file name");
        throw;
      },
      tessera::OperatorException);
}

TEST_F(CRSIDOutputTest, VariablesInNamesAreExpanded) {
  ::setenv("CRS_OUTPUT_TEST", folder_.Path().c_str(), 1);
  for (const wchar_t* name : {L"v.prj", L"v.csf", L"v.plb", L"v.wcs"}) {
    SCOPED_TRACE(kstr_ToUtf8(name));
    const std::wstring written = std::wstring(L"$CRS_OUTPUT_TEST/") + name;
    ModelHost host;
    host.Add(L"CRSIDOutput", L"op");
    host.Set(L"op.CRSIn", name[2] == L'w' ? Epsg(L"4979") : Epsg(L"32633")).Set(L"op.FilenameIn", File(written));
    ASSERT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
    EXPECT_TRUE(IsThere(kstr_ToUtf8(name).c_str()));
    EXPECT_EQ(host.Existing(L"op.FilenameOut")->ToString(), written);
    const std::wstring id = host.Existing(L"op.CRSOut")->ToString();
    EXPECT_TRUE(!id.starts_with(L"PRJ:") || id == L"PRJ:" + In(name)) << kstr_ToUtf8(id);
  }
}

TEST_F(CRSIDOutputTest, AFolderThatIsNotThere) {
  EXPECT_EQ(Written(Epsg(L"32633"), L"no/where.prj"), L"PRJ:" + In(L"no/where.prj")) << "as if it had been written";
  for (const wchar_t* name : {L"no/where.csf", L"no/where.plb"})
    EXPECT_THAT(Failure(Epsg(L"32633"), name), HasSubstr(In(name)));
  EXPECT_THAT(Failure(Epsg(L"4979"), L"no/where.wcs"), HasSubstr(In(L"no/where.wcs")));
}

TEST_F(CRSIDOutputTest, CoordinateSystemFiles) {
  const auto monikerIn = [&](const wchar_t* name) { return kprj::ReadMonikerFromCSF(In(name)); };
  EXPECT_EQ(Written(Epsg(L"4326"), L"a.csf"), L"GeoKey Moniker:1024=2;2048=4326");
  EXPECT_EQ(monikerIn(L"a.csf"), L"1024=2;2048=4326");
  const DataPtr both = Crs(L"GeoKey Moniker", L"1024=1;3072=32633;4096=5773");
  EXPECT_EQ(Written(both, L"b.csf"), both->ToString());
  EXPECT_EQ(monikerIn(L"b.csf"), L"1024=1;3072=32633;4096=5773");
  // Heights in feet have no place in the file.
  EXPECT_EQ(Written(Crs(L"KPRJ", UtmWithHeight()), L"c.csf"), L"GeoKey Moniker:1024=1;3072=32633");
  EXPECT_EQ(monikerIn(L"c.csf"), L"1024=1;3072=32633");
}

/// Where leaving the heights out does not help either, all is tried to be written.
TEST_F(CRSIDOutputTest, CoordinateSystemFilesOfOwnProjections) {
  for (const DataPtr& height : {DataPtr(), Epsg(L"5773")}) {
    const DataPtr crs = Crs(L"KPRJ", PartsCode(Epsg(L"32633"), L"US survey foot", height));
    const std::wstring written = Written(crs, L"own.csf");
    EXPECT_THAT(written, StartsWith(L"GeoKey Moniker:1024=1;1026=WGS 84 / UTM zone 33N (US survey foot);"));
    EXPECT_EQ(written.find(L";4096=") != std::wstring::npos, height != nullptr);
    EXPECT_EQ(L"GeoKey Moniker:" + kprj::ReadMonikerFromCSF(In(L"own.csf")), written);
  }
}

TEST_F(CRSIDOutputTest, WorldCoordinateSystemFiles) {
  const DataPtr crs = Crs(L"KPRJ", UtmWithHeight());
  EXPECT_EQ(Written(crs, L"a.wcs"), crs->ToString());
  const auto read = KorvenDatum::WorldCoordinateSystem::ReadFromWCSFile(In(L"a.wcs"));
  ASSERT_TRUE(read.GetProjection() && read.GetElevation());
  EXPECT_EQ(kprj_MapProjectionCSRGet(read.GetProjection(), L"Kprj_ProParameters")->name, L"WGS 84 / UTM zone 33N");
  EXPECT_EQ(read.GetUnits(), L"metre");
  EXPECT_EQ(read.GetElevation()->datumName, L"EGM96 geoid");
  EXPECT_EQ(read.GetElevation()->unitsName, L"foot");

  const DataPtr unknown = Crs(L"KPRJ", kprj::kUnknown3D);
  EXPECT_EQ(Written(unknown, L"b.wcs"), unknown->ToString()) << "refused by name for the other formats alone";
  const auto local = KorvenDatum::WorldCoordinateSystem::ReadFromWCSFile(In(L"b.wcs"));
  EXPECT_EQ(local.GetProjection(), nullptr);
  EXPECT_EQ(local.GetUnits(), L"other");
}

TEST_F(CRSIDOutputTest, ProjectionLibraryFiles) {
  EXPECT_EQ(Written(Epsg(L"32633"), L"a.plb"), L"KPRJ:32633") << "the code stays the input's";
  KerrException error(L"tests\\crsidoutput", L"ProjectionLibraryFiles");
  const kprj::ProjectionLibraryHolder library(kprj_ProjectionLibraryRead(In(L"a.plb"), error));
  error.Check(__LINE__);
  EXPECT_EQ(library->title, L"EPSG Projected");
  ASSERT_EQ(library->items.size(), 1u);
  EXPECT_EQ(library->items[0]->name, L"WGS 84 / UTM zone 33N [EPSG:32633]");
  EXPECT_EQ(library->items[0]->alias, L"WGS 84 / UTM zone 33N [EPSG:32633]");
  EXPECT_EQ(library->items[0]->unitsName, L"metre");
  EXPECT_EQ(library->items[0]->parameters->name, L"WGS 84 / UTM zone 33N");
}

TEST_F(CRSIDOutputTest, AnOldFileIsReplaced) {
  for (const char* name : {"a.prj", "a.csf", "a.plb"}) {
    folder_.Write(name, std::string(100000, 'x'));
    Written(Epsg(L"32633"), kstr_Widen(name).c_str());
    EXPECT_THAT(folder_.Read(name), Not(HasSubstr("xxx")));
  }
}

}  // namespace
