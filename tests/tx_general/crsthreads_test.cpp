#include "tx_general/crsvalues.h"
#include "tx_general/iteratorloop.h"
#include "txlib/factories.h"

// Operators on coordinate reference systems inside iterations, for the race detector.
namespace {

using namespace testing_support;

constexpr const wchar_t* kDocument =
    LR"({
  "format": "TesseraModelFormat", "version": 1,
  "ports": [{"name": "CRS", "alias": "each.CRS"}, {"name": "Id", "alias": "each.Id"},
            {"name": "Units", "alias": "each.Units"}, {"name": "Datum", "alias": "each.Datum"},
            {"name": "Written", "alias": "each.Written"}],
  "operators": [{"id": "each", "operator": "VANTIX.Iterator", "model": {
    "ports": [{"name": "CRS", "alias": "build.HorizontalCRS"}, {"name": "Id", "alias": "build.CRS"},
              {"name": "Units", "alias": "look.HorizontalUnits"}, {"name": "Datum", "alias": "look.HorizontalDatum"},
              {"name": "Written", "alias": "write.CRSOut"}],
    "operators": [
      {"id": "build", "operator": "VANTIX.ConstructCRSID", "values": {"VerticalCRS": "EPSG:5773", "Authority": "KPRJ"}},
      {"id": "look", "operator": "VANTIX.ExamineCRSID"},
      {"id": "write", "operator": "VANTIX.CRSIDOutput"}],
    "connections": [{"from": "build.CRS", "to": "look.CRS"}, {"from": "build.CRS", "to": "write.CRSIn"}]}}]})";

/// The texts of an output's items.
std::vector<std::wstring> Items(tessera::Model& model, const wchar_t* port) {
  std::vector<std::wstring> texts;
  for (const DataPtr& item : model.GetPort(port)->GetExistingData()->GetDataValue<tessera::DataList>())
    texts.push_back(item ? item->ToString() : L"-");
  return texts;
}

TEST(CrsThreads, ParallelIterationsGiveWhatSerialOnesDo) {
  const LogLines quiet;
  tessera::DataList systems;
  for (int round = 0; round < 3; ++round) {
    for (const wchar_t* code : {L"2263", L"4326", L"27700", L"4807"}) systems.push_back(Epsg(code));
    for (int zone = 1; zone <= 12; ++zone) systems.push_back(Epsg(std::to_wstring(32600 + zone).c_str()));
  }
  std::vector<std::vector<std::wstring>> found[2];
  for (const int run : {0, 1}) {
    const auto model = tessera::ModelFormatFactory::OpenFromBuffer(kDocument, L"TesseraModelFormat");
    model->GetEnvironment()->SetNumThreads(8);
    const auto each = model->GetOperators().front();
    each->GetPort(L"ExecutionMethod")->SetData(Value(run == 0 ? L"InProcessParallel" : L"InProcessSerial"));
    model->GetPort(L"CRS")->SetData(List(systems));
    model->Execute();
    for (const wchar_t* port : {L"Id", L"Units", L"Datum"}) found[run].push_back(Items(*model, port));
    EXPECT_EQ(Items(*model, L"Written").size(), systems.size());
  }
  EXPECT_EQ(found[0], found[1]);
  ASSERT_EQ(found[0][1].size(), systems.size());
  EXPECT_EQ(found[0][1][0], L"US survey foot");
  EXPECT_EQ(found[0][1][1], L"degree");
  EXPECT_EQ(found[0][2][2], L"Ordnance Survey of Great Britain 1936");
}

}  // namespace
