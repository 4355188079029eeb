#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>

#include "plugin/pluginmanager.h"
#include "tx_general/crsvalues.h"
#include "txlib/factories.h"

namespace {

using namespace testing_support;
using Lines = std::vector<std::string>;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

std::string LineOfPort(tessera::Port& port) {
  std::wstring line = port.GetName() + (port.IsInput() ? L" in" : L" out");
  for (const auto& type : port.GetSupportedDataTypes()) line += L" " + type.Name;
  if (port.IsOptional()) line += L" optional";
  if (port.IsHidden()) line += L" hidden";
  for (const wchar_t* key : {L"Dimension", L"Input", L"Extension", L"Kind"})
    if (const auto value = port.GetAttribute(key)) line += L" | " + value->ToString();
  return kstr_ToUtf8(line);
}

struct CrsSheet {
  const wchar_t* name;
  const char* facts;  ///< display name, category, icon, colour category, keywords, description
  bool isUsableInExpression;
  Lines ports;
};

TEST(CrsSheets, AreAsInTheCatalogue) {
  const std::string id = "CoordinateReferenceSystemID";
  const std::vector<CrsSheet> sheets = {
      {L"ConstructCRSID",
       "Construct CRS ID; General; OpCategory_DataGeneration.ico; ; "
       "CRS|HorizontalCRS|VerticalCRS|VerticalDatum|GeodeticDatum|units|authority|Coordinate Reference System; "
       "Construct a CRS ID from Horizontal, Vertical, identifiers and/or units and/or authority translation",
       false,
       {"HorizontalCRS in " + id + " optional | 2D", "HorizontalUnits in String optional",
        "VerticalCRS in " + id + " optional | 1D", "VerticalUnits in String optional",
        "Authority in String optional hidden", "CRS out " + id}},
      {L"ExamineCRSID",
       "Examine CRS ID; General; OpCategory_DataGeneration.ico; ; "
       "CRS|Datum|VerticalCRS|VerticalDatum|units|direction|Georeferencing|Coordinate Reference System; "
       "Exposes a subset of the parameters that define the CRS that is indicated by the input CRS ID",
       true,
       {"CRS in " + id, "HorizontalUnits out String", "HorizontalDatum out String", "VerticalUnits out String",
        "VerticalAxisDirection out String", "VerticalDatum out String", "CRSParameters out Dictionary"}},
      {L"CRSIDOutput",
       "CRS ID Output; Output; CRSIDOutput.ico; ; CRS|Coordinate Reference System|Output; Outputs a CRS to a file",
       true,
       {"CRSIn in " + id, "FilenameIn in File optional | false | *.prj | text", "CRSOut out " + id,
        "FilenameOut out File | text"}},
  };
  for (const CrsSheet& sheet : sheets) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(sheet.name)));
    ModelHost host;
    const auto op = host.Add(sheet.name);
    std::wstring facts;
    for (const wchar_t* fact : {op->GetDefaultDisplayName(), op->GetDefaultDisplayCategory(), op->GetDefaultIcon(),
                                op->GetDefaultColorCategory(), op->GetDefaultKeywords(), op->GetDefaultDescription()})
      facts += (facts.empty() ? L"" : L"; ") + std::wstring(fact);
    EXPECT_EQ(kstr_ToUtf8(facts), sheet.facts);
    EXPECT_EQ(op->GetDefaultIsUsableInExpression(), sheet.isUsableInExpression);
    Lines ports;
    for (const auto& port : op->GetPorts()) ports.push_back(LineOfPort(*port));
    EXPECT_EQ(ports, sheet.ports);
  }
}

std::vector<std::wstring> TextsOf(const DataPtr& data) {
  return data ? data->GetDataValue<std::vector<std::wstring>>() : std::vector<std::wstring>();
}

TEST(CrsSheets, FileDialogOffersTheFourFormats) {
  ModelHost host;
  host.Add(L"CRSIDOutput", L"op");
  EXPECT_THAT(
      TextsOf(host.PortOf(L"op.FilenameIn")->GetAttribute(L"FileFilterList")),
      ElementsAre(L"ESRI Projection File (*.prj)", L"Nimbra Coordinate System File (*.csf)",
                  L"KORVEN VANTIX Projection Library (*.plb)", L"KORVEN VANTIX World Coordinate System File (*.wcs)"));
}

/// What a list of units is to hold: "metre", "degree" and, last, "other".
void ExpectUnits(const std::vector<std::wstring>& names, bool hasLinear, bool hasAngular) {
  for (const wchar_t* linear : {L"metre", L"US survey foot"}) {
    EXPECT_EQ(std::count(names.begin(), names.end(), linear), hasLinear ? 1 : 0);
  }
  for (const wchar_t* angular : {L"degree", L"grad"}) {
    EXPECT_EQ(std::count(names.begin(), names.end(), angular), hasAngular ? 1 : 0);
  }
  ASSERT_FALSE(names.empty());
  EXPECT_EQ(names.back(), L"other");
}

TEST(CrsSheets, UnitsThatCanBeChosen) {
  ModelHost host;
  host.Add(L"ConstructCRSID", L"op");
  ExpectUnits(TextsOf(host.PortOf(L"op.HorizontalUnits")->GetAttribute(L"AcceptableValues")), true, true);
  ExpectUnits(TextsOf(host.PortOf(L"op.VerticalUnits")->GetAttribute(L"AcceptableValues")), true, false);
}

/// The editor of texts, as a host with a user interface has one.
class TextDialog : public tessera::UIProvider {
 public:
  const wchar_t* Name() const override { return L"String"; }
  using UIProvider::ShowDialog;
  bool ShowDialog(const std::wstring& portName, const DataPtr& data, const tessera::AttributeMap& attributes,
                  DataPtr& out) override {
    shown = {portName, data ? data->ToString() : L"-"};
    offered = TextsOf(attributes.at(L"AcceptableValues"));
    hasOther = attributes.count(L"Mine") == 1;
    if (!chosen.empty()) out = Value(chosen);
    return !chosen.empty();
  }
  static inline std::vector<std::wstring> shown, offered;
  static inline bool hasOther = false;
  static inline std::wstring chosen;  ///< empty: the user gives up
};

int TextDialogProxies(const std::wstring& category,
                      std::vector<boost::shared_ptr<korven::plugin::AvailablePluginProxy>>& proxies) {
  if (category.empty() || category == L"UIProvider")
    proxies.push_back(korven::plugin::AvailablePluginProxy::Create(
        L"String", []() -> boost::shared_ptr<korven::plugin::IPlugin> { return boost::make_shared<TextDialog>(); }));
  return 0;
}

bool ShowUnitsDialog(ModelHost& host) {
  [[maybe_unused]] static const bool isKnown = [] {
    korven::plugin::PluginManager::Instance().AddBuiltIn(L"crs tests", &TextDialogProxies);
    return true;
  }();
  return tessera::UIProviderFactory::ShowDialog(L"VANTIX", L"ConstructCRSIDHorizontalUnitsPortProvider",
                                                host.PortOf(L"op.HorizontalUnits"));
}

TEST(HorizontalUnitsProvider, OffersTheUnitsOfTheHorizontalSystem) {
  const struct {
    DataPtr crs;
    bool hasLinear, hasAngular;
  } rows[] = {
      {nullptr, true, true},
      {Epsg(L"4326"), false, true},
      {Epsg(L"32633"), true, false},
      {Epsg(L"4978"), true, true},
      {Epsg(L"5773"), true, true},
      {Epsg(L"99999"), true, true},
      {Crs(L"Nobody", L"1"), true, true},
      {Crs(L"KPRJ", kUtm33), true, false},
      {Crs(L"KPRJ", kprj::kUnknown2D), true, true},
  };
  TextDialog::chosen = L"";
  for (const auto& row : rows) {
    SCOPED_TRACE(row.crs ? kstr_ToUtf8(row.crs->ToString()) : "none");
    ModelHost host;
    host.Add(L"ConstructCRSID", L"op");
    if (row.crs) host.Set(L"op.HorizontalCRS", row.crs);
    EXPECT_FALSE(ShowUnitsDialog(host));
    ExpectUnits(TextDialog::offered, row.hasLinear, row.hasAngular);
  }
}

TEST(HorizontalUnitsProvider, SetsWhatWasChosenAndNothingElse) {
  ModelHost host;
  host.Add(L"ConstructCRSID", L"op");
  const auto port = host.PortOf(L"op.HorizontalUnits");
  port->SetAttribute(L"Mine", Value(1));
  const auto before = port->GetAttribute(L"AcceptableValues");
  host.Set(L"op.HorizontalCRS", Epsg(L"4326")).Set(L"op.HorizontalUnits", L"grad");
  TextDialog::chosen = L"";
  EXPECT_FALSE(ShowUnitsDialog(host));
  EXPECT_THAT(TextDialog::shown, ElementsAre(L"HorizontalUnits", L"grad"));
  EXPECT_TRUE(TextDialog::hasOther) << "the other attributes go along";
  EXPECT_EQ(port->GetData()->ToString(), L"grad");
  TextDialog::chosen = L"radian";
  EXPECT_TRUE(ShowUnitsDialog(host));
  EXPECT_EQ(port->GetData()->ToString(), L"radian");
  EXPECT_EQ(port->GetAttribute(L"AcceptableValues"), before) << "the port's own list stays";
}

bool IsMapped(const std::string& library) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    if (line.find(library) != std::string::npos) return true;
  return false;
}

/// In a process of its own, where nobody has asked for a system before.
TEST(CrsSheetsDeathTest, DeclaringPortsLoadsNoProjectionLibrary) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        ModelHost host;
        for (const wchar_t* name : {L"ConstructCRSID", L"ExamineCRSID", L"CRSIDOutput"}) host.Add(name);
        const bool isLoadedEarly = IsMapped("libproj");
        const auto made = CrsId(L"EPSG", L"4326").CreateCoordinateReferenceSystem();
        std::_Exit(isLoadedEarly ? 1 : made && IsMapped("libproj") ? 0 : 2);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
