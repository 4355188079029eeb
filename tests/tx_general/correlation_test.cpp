#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "tx_general/rows.h"
#include "tx_general/stackvalues.h"
#include "txlib/model.h"

namespace {

using namespace testing_support;
using ::testing::ElementsAre;
using Numbers = std::vector<double>;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

Row Correlate(const char* title, const DataPtr& input, const DataPtr& expected, const wchar_t* error = L"") {
  return {title, L"Correlation", {{L"Input", input}}, L"Matrix", expected, error};
}

TEST(Correlation, OfCovariances) {
  ExpectRows({
      Correlate("one by one", MatrixOf(1, 1, {4}), MatrixOf(1, 1, {1})),
      Correlate("two bands", MatrixOf(2, 2, {4, 3, 3, 9}), MatrixOf(2, 2, {1, 0.5, 0.5, 1})),
      Correlate("whole numbers", MatrixOf(2, 2, {4, 3, 3, 9}, KgdaInt16), MatrixOf(2, 2, {1, 0.5, 0.5, 1})),
      Correlate("not symmetric", MatrixOf(2, 2, {4, 3, -6, 9}), MatrixOf(2, 2, {1, 0.5, -1, 1})),
      Correlate("variance of zero", MatrixOf(2, 2, {0, 0, 0, 4}), MatrixOf(2, 2, {kNaN, kNaN, kNaN, 1})),
      Correlate("covariance without variance", MatrixOf(2, 2, {0, 5, -5, 4}),
                MatrixOf(2, 2, {kNaN, kInfinity, -kInfinity, 1})),
      Correlate("negative variance", MatrixOf(2, 2, {-1, 1, 1, 4}), MatrixOf(2, 2, {-kNaN, -kNaN, -kNaN, 1})),
      Correlate("none at all", MatrixOf(0, 0, {}), MatrixOf(0, 0, {})),
      Correlate("not square", MatrixOf(2, 3, {1, 2, 3, 4, 5, 6}), nullptr, L"Covariance matrix must be square"),
      Correlate("no raster", Value(5), nullptr, L"No appropriate data found on port(Raster)."),
      {"nothing", L"Correlation", {}, L"Matrix", nullptr, L"Data not found on port(Raster)."},
  });
}

/// Two bands of three rows and four columns, as text.
class Scene {
 public:
  Scene() {
    Band("first.asc", "1 2 3 4\n2 4 6 8\n1 1 2 -1\n");
    Band("second.asc", "2 2 3 9\n1 4 7 7\n5 1 0 3\n");
    name_ = folder_.Write("scene.vrt", "<VRTDataset rasterXSize=\"4\" rasterYSize=\"3\">" + Source("first.asc", 1) +
                                           Source("second.asc", 2) + "</VRTDataset>");
  }
  const std::wstring& GetName() const { return name_; }

 private:
  void Band(const char* name, const char* rows) {
    folder_.Write(name, std::string("ncols 4\nnrows 3\nxllcorner 0\nyllcorner 0\ncellsize 1\n") + rows);
  }
  static std::string Source(const std::string& file, int band) {
    return "<VRTRasterBand dataType=\"Int32\" band=\"" + std::to_string(band) +
           "\"><SimpleSource><SourceFilename relativeToVRT=\"1\">" + file +
           "</SourceFilename><SourceBand>1</SourceBand></SimpleSource></VRTRasterBand>";
  }
  TemporaryFolder folder_;
  std::wstring name_;
};

const Numbers kFirst{1, 2, 3, 4, 2, 4, 6, 8, 1, 1, 2, -1}, kSecond{2, 2, 3, 9, 1, 4, 7, 7, 5, 1, 0, 3};

double CorrelationOf(const Numbers& a, const Numbers& b) {
  long double meanA = 0, meanB = 0, product = 0, squareA = 0, squareB = 0;
  for (std::size_t k = 0; k < a.size(); ++k) meanA += a[k], meanB += b[k];
  meanA /= static_cast<long double>(a.size());
  meanB /= static_cast<long double>(b.size());
  for (std::size_t k = 0; k < a.size(); ++k) {
    product += (a[k] - meanA) * (b[k] - meanB);
    squareA += (a[k] - meanA) * (a[k] - meanA);
    squareB += (b[k] - meanB) * (b[k] - meanB);
  }
  return static_cast<double>(product / std::sqrt(squareA * squareB));
}

Numbers CorrelationOfScene(const std::vector<std::pair<std::wstring, DataPtr>>& inputs) {
  const Scene scene;
  ModelHost host;
  host.Add(L"Correlation", L"op");
  host.Set(L"op.Input", File(scene.GetName()));
  for (const auto& [port, data] : inputs) host.Set(L"op." + port, data);
  EXPECT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
  return Elements(host.Existing(L"op.Matrix"));
}

TEST(Correlation, OfARaster) {
  const double expected = CorrelationOf(kFirst, kSecond);
  const Numbers found = CorrelationOfScene({});
  ASSERT_EQ(found.size(), 4u);
  EXPECT_NEAR(found[0], 1, 1e-15);
  EXPECT_NEAR(found[1], expected, 1e-14);
  EXPECT_EQ(found[1], found[2]);
}

TEST(Correlation, IgnoreAndSkipFactorReachTheStatistics) {
  Numbers first, second;
  for (std::size_t k = 0; k < kFirst.size(); ++k) {
    if (kFirst[k] == 1 || kSecond[k] == 1) continue;
    first.push_back(kFirst[k]);
    second.push_back(kSecond[k]);
  }
  EXPECT_NEAR(CorrelationOfScene({{L"Ignore", Value(1)}})[1], CorrelationOf(first, second), 1e-14);
  EXPECT_NEAR(CorrelationOfScene({{L"SkipFactor", Value(2u)}})[1], CorrelationOf({1, 3, 1, 2}, {2, 3, 5, 0}), 1e-14);
}

/// What a matrix needs not, is not run: a skip factor that "Statistics" would refuse says nothing.
TEST(Correlation, StatisticsDoNotRunForAMatrix) {
  ModelHost host;
  host.Add(L"Correlation", L"op");
  host.Set(L"op.Input", MatrixOf(1, 1, {4})).Set(L"op.SkipFactor", 0u);
  EXPECT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
  host.Set(L"op.Input", File(L"anything"));
  EXPECT_FALSE(host.Run());
}

TEST(Correlation, FailuresOfTheRasterAreItsOwn) {
  ModelHost host;
  host.Add(L"Correlation", L"op");
  host.Set(L"op.Input", File(L"/nowhere/at/all.tif"));
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(host.Error(),
            L"The raster \"/nowhere/at/all.tif\" can't be opened: /nowhere/at/all.tif: No such file or directory.");
}

TEST(Correlation, TellsTheProgressOfTheStatisticsAlone) {
  const Scene scene;
  ModelHost host;
  const auto op = host.Add(L"Correlation", L"op");
  host.Set(L"op.Input", File(scene.GetName()));
  const auto model = boost::dynamic_pointer_cast<tessera::Model>(op);
  std::vector<double> told;
  const auto handle = op->AddOnProgressCallback([&](const OperatorPtr&, double percent) { told.push_back(percent); });
  for (const OperatorPtr& inner : model->GetOperators()) inner->SetProgress(7);
  EXPECT_THAT(told, ElementsAre(7)) << "one of four";
  ASSERT_TRUE(host.Run());
  EXPECT_THAT(told, ElementsAre(7, 100));
}

TEST(Correlation, IsMadeOfFourOperators) {
  const auto model = boost::dynamic_pointer_cast<tessera::Model>(ModelHost().Add(L"Correlation"));
  ASSERT_TRUE(model);
  std::vector<std::wstring> names;
  for (const OperatorPtr& op : model->GetOperators()) names.push_back(op->GetOperatorName());
  EXPECT_THAT(names, ElementsAre(L"IsMatrix", L"Statistics", L"IfElse", L"CovarianceToCorrelation"));
  ASSERT_EQ(model->GetTails().size(), 1u);
  EXPECT_EQ(model->GetTails()[0]->GetOperatorName(), L"CovarianceToCorrelation");
  EXPECT_EQ(model->GetProcessName(), L"Correlation");
  EXPECT_EQ(model->GetProcessNamespace(), L"VANTIX");
}

TEST(Correlation, Sheet) {
  const auto op = ModelHost().Add(L"Correlation");
  EXPECT_STREQ(op->Name(), L"VANTIX.Correlation");
  EXPECT_STREQ(op->GetDefaultDisplayName(), L"Correlation");
  EXPECT_STREQ(op->GetDefaultDisplayCategory(), L"Analysis");
  EXPECT_STREQ(op->GetDefaultIcon(), L"OpCategory_Analysis.ico");
  EXPECT_STREQ(op->GetDefaultColorCategory(), L"");
  EXPECT_STREQ(op->GetDefaultKeywords(), L"Statistics");
  EXPECT_STREQ(op->GetDefaultDescription(),
               L"Return the correlation matrix of Input. If a scalar is provided to Ignore, pixels matching its value "
               L"are excluded from the calculation.");
  EXPECT_FALSE(op->GetDefaultIsUsableInExpression());
  const auto syntax = op->GetDefaultSyntax();
  ASSERT_GE(syntax.size(), 3u);
  EXPECT_EQ(syntax[0], L"Correlation ( <Input> )");
  EXPECT_EQ(syntax[1], L"Correlation ( <Input>, <ignoreoption> )");
  EXPECT_EQ(syntax[2], L"Correlation ( <Input>, <ignoreoption> <Ignore> )");
  EXPECT_EQ(PortNames(*op), (std::vector<std::wstring>{L"Input", L"Ignore", L"SkipFactor", L"Matrix"}));
  EXPECT_FALSE(op->GetPort(L"Input")->IsOptional());
  EXPECT_TRUE(op->GetPort(L"Ignore")->IsOptional());
  EXPECT_TRUE(op->GetPort(L"SkipFactor")->IsOptional());
  EXPECT_THAT(op->GetPort(L"Input")->GetExcludedDataTypes(), ElementsAre(tessera::Data::DefaultTypeName()));
  EXPECT_TRUE(op->GetPort(L"Ignore")->GetExcludedDataTypes().empty()) << "a scalar is all that it takes";
}

}  // namespace
