#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "stackports.h"
#include "txlib/factories.h"
#include "txlib/model.h"

namespace korven::tx_general {

namespace {

using Tamrin::TesseraBasic::CreateMatrix;

double* RowOf(Matrix& matrix, std::int32_t row) {
  return static_cast<double*>(kgda_ElementPointer(matrix.GetMutableStack().GetLayer(0), row, 0));
}

}  // namespace

inline constexpr OperatorSheet kIsMatrix{.name = L"IsMatrix"};

/// The first step of "Correlation": a matrix holds covariances already.
class IsMatrix : public Described<kIsMatrix> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Data", Data::DefaultTypeName(), PortType::Input);
    CreatePort(L"IsMatrix", BoolData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    WritePort(*this, L"IsMatrix", GetPortDataAs<Matrix>(RequirePort(*this, L"Data"), true) != nullptr);
  }
};

inline constexpr OperatorSheet kCovarianceToCorrelation{.name = L"CovarianceToCorrelation"};

class CovarianceToCorrelation : public Described<kCovarianceToCorrelation> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Covariance", MatrixData::DefaultTypeName(), PortType::Input);
    CreatePort(L"Correlation", MatrixData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    auto covariance = GetPortDataAs<Matrix>(RequirePort(*this, L"Covariance"));
    const std::int32_t count = covariance->GetRows();
    if (count != covariance->GetColumns()) SetErrorMessage(L"Covariance matrix must be square");
    if (covariance->GetNumberType() != KgdaFloat64)
      covariance = Tamrin::TesseraBasic::ConvertMatrix(covariance, KgdaFloat64);
    // A variance of 0 is divided by as well: its cells are what that gives.
    const auto products = ProductsOfDeviations(*covariance, count);
    const auto correlation = CreateMatrix(count, count, KgdaFloat64);
    for (std::int32_t row = 0; row < count; ++row) {
      const double* const covariances = RowOf(*covariance, row);
      const double* const divisors = RowOf(*products, row);
      double* const cells = RowOf(*correlation, row);
      for (std::int32_t column = 0; column < count; ++column) cells[column] = covariances[column] / divisors[column];
    }
    WriteShared<MatrixData>(RequirePort(*this, L"Correlation"), correlation);
  }

 private:
  static boost::shared_ptr<Matrix> ProductsOfDeviations(Matrix& covariance, std::int32_t count) {
    std::vector<double> deviations;
    for (std::int32_t row = 0; row < count; ++row) deviations.push_back(std::sqrt(RowOf(covariance, row)[row]));
    const auto products = CreateMatrix(count, count, KgdaFloat64);
    for (std::int32_t row = 0; row < count; ++row) {
      double* const cells = RowOf(*products, row);
      const double own = deviations[static_cast<std::size_t>(row)];
      for (std::int32_t column = 0; column < count; ++column)
        cells[column] = deviations[static_cast<std::size_t>(column)] * own;
    }
    return products;
  }
};

inline constexpr OperatorSheet kCorrelation{
    .name = L"Correlation",
    .displayName = L"Correlation",
    .category = L"Analysis",
    .icon = L"OpCategory_Analysis.ico",
    .description =
        L"Return the correlation matrix of Input. If a scalar is provided to Ignore, pixels matching its value are "
        L"excluded from the calculation.",
    .keywords = L"Statistics",
    .usableInExpression = false,
    .registeredName = L"VANTIX.Correlation",
};

}  // namespace korven::tx_general

class Correlation : public korven::tx_general::Described<korven::tx_general::kCorrelation, Tamrin::Tessera::Model> {
  using Operator = Tamrin::Tessera::Operator;
  using OperatorPtr = boost::shared_ptr<Operator>;
  using PortPtr = korven::tx_general::PortPtr;
  using ObjectName = Tamrin::Tessera::ObjectName;

 public:
  std::vector<std::wstring> GetDefaultSyntax() const override {
    return korven::tx_general::AppendHostSyntax({L"Correlation ( <Input> )", L"Correlation ( <Input>, <ignoreoption> )",
                                                 L"Correlation ( <Input>, <ignoreoption> <Ignore> )"},
                                                Model::GetDefaultSyntax());
  }

  /// A matrix goes straight to the last step; anything else through the statistics of a raster first, which run for
  /// that alone.
  void DeclarePorts() override {
    using namespace korven::tx_general;  // NOLINT: this class stands in the global namespace
    SetProcessNamespace(L"VANTIX");
    SetProcessName(L"Correlation");
    // Documents name this operator and not its parts, and its messages are its own.
    SetAllowsReflection(false);
    const auto isMatrix = boost::make_shared<IsMatrix>();
    isMatrix->Initialize();
    AliasPort(RequirePort(*isMatrix, L"Data"), L"Input");

    const auto statistics = OperatorFactory::Create(L"VANTIX", L"Statistics");
    AliasPort(RequirePort(*statistics, L"Raster"), L"Input");
    AliasPort(RequirePort(*statistics, L"Ignore"), L"Ignore");
    AliasPort(RequirePort(*statistics, L"SkipFactor"), L"SkipFactor");
    WritePort(*statistics, L"ComputeCovariance", true);

    const auto choice = OperatorFactory::Create(L"VANTIX", L"IfElse");
    choice->ConnectParent(isMatrix, L"IsMatrix", L"Test");
    AliasPort(RequirePort(*choice, L"True1"), L"Input");
    choice->ConnectParent(statistics, L"Covariance", L"False1");

    const auto last = boost::make_shared<CovarianceToCorrelation>();
    last->Initialize();
    last->ConnectParent(choice, L"Output1", L"Covariance");
    AliasPort(RequirePort(*last, L"Correlation"), L"Matrix");

    const ObjectName matrix = MatrixData::DefaultTypeName(), raster(L"VANTIX", L"Raster");
    ExcludeOthers(RequirePort(*this, L"Input"), {matrix, raster});
    const PortPtr ignore = Optional(RequirePort(*this, L"Ignore"));
    ExcludeOthers(ignore, {ScalarData::DefaultTypeName()});
    Optional(RequirePort(*this, L"SkipFactor"));

    for (const OperatorPtr& op : {OperatorPtr(isMatrix), statistics, choice}) AddOperator(op);
    AddTail(last);
  }

  /// The only step that takes long.
  void SetOperatorProgress(const OperatorPtr& op, const double& percent) override {
    if (op->GetOperatorName() == L"Statistics") SetProgress(percent);
  }

 private:
  static void ExcludeOthers(const PortPtr& port, const std::vector<ObjectName>& kept) {
    const auto types = port->GetSupportedDataTypes();
    for (const ObjectName& type : types) {
      if (std::find(kept.begin(), kept.end(), type) == kept.end()) port->AddExcludedType(type);
    }
  }
};

namespace korven::tx_general {

TX_GENERAL_FACTORY(Correlation)

}  // namespace korven::tx_general
