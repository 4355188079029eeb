#include "tx_general/crsvalues.h"

#include <boost/make_shared.hpp>

#include "kcommon/kerr.h"

namespace testing_support {
namespace {

namespace cs = iso::referencing::cs;
namespace crs = iso::referencing::crs;

class Furlong : public cs::Unit {
 public:
  std::wstring getName() const override { return L"furlong"; }
  double getFactor() const override { return 201.168; }
  bool isLinear() const override { return true; }
  bool isAngular() const override { return false; }
};

class Sideways : public cs::AxisDirection {};

class TestAxis : public cs::CoordinateSystemAxis {
 public:
  std::wstring getName() const override { return L"Test axis"; }
  std::wstring getAbbreviation() const override { return L"t"; }
  boost::shared_ptr<const cs::Unit> getUnit() const override { return boost::make_shared<Furlong>(); }
  boost::shared_ptr<const cs::AxisDirection> getDirection() const override { return boost::make_shared<Sideways>(); }
};

class TestSystem : public cs::CoordinateSystem {
 public:
  explicit TestSystem(int dimension) : dimension_(dimension) {}
  std::wstring getName() const override { return L"Test coordinates"; }
  int getDimension() const override { return dimension_; }
  boost::shared_ptr<const cs::CoordinateSystemAxis> getAxis(int index) const override {
    return index >= 0 && index < dimension_ ? boost::make_shared<TestAxis>() : nullptr;
  }

 private:
  const int dimension_;
};

template <typename Base, int kDimension>
class TestCRS : public Base {
 public:
  std::wstring getName() const override { return L"Test system"; }
  boost::shared_ptr<const cs::CoordinateSystem> getCoordinateSystem() const override {
    return boost::make_shared<TestSystem>(kDimension);
  }
};

template <typename Base>
class TestSingleCRS : public TestCRS<Base, 2> {
 public:
  boost::shared_ptr<const iso::referencing::datum::Datum> getDatum() const override { return nullptr; }
};

/// Leads back to a system of a registry.
class BorrowedCRS : public TestSingleCRS<crs::SingleCRS> {
 public:
  std::vector<iso::referencing::Identifier> getIdentifiers() const override { return {{L"EPSG", L"2263"}}; }
};

class TestFactory : public crs::CRSAuthorityFactory {
 public:
  std::wstring getAuthority() const override { return L"Test"; }
  crs::CRSPtr createCoordinateReferenceSystem(const std::wstring& code) const override {
    if (auto made = tryCreateCoordinateReferenceSystem(code)) return made;
    KerrException error(L"tests\\crsvalues", L"TestFactory::createCoordinateReferenceSystem");
    error.Throw(__LINE__, L"There is no test system \"" + code + L"\".");
  }
  crs::CRSPtr tryCreateCoordinateReferenceSystem(const std::wstring& code) const override {
    if (code == L"Grid") return boost::make_shared<TestCRS<korven::raster::GridCRS, 2>>();
    if (code == L"Image") return boost::make_shared<TestSingleCRS<crs::ImageCRS>>();
    if (code == L"Single") return boost::make_shared<TestSingleCRS<crs::SingleCRS>>();
    if (code == L"Borrowed") return boost::make_shared<BorrowedCRS>();
    if (code == L"Line") return boost::make_shared<TestCRS<crs::CoordinateReferenceSystem, 1>>();
    return nullptr;
  }
};

class TestProvider : public coordinateReferencing::AuthorityProvider {
 public:
  std::vector<std::wstring> GetAuthorities() const override { return {L"Test"}; }
  boost::shared_ptr<crs::CRSAuthorityFactory> Create(const std::wstring& authority) const override {
    return authority == L"Test" ? boost::make_shared<TestFactory>() : nullptr;
  }
};

}  // namespace

void RegisterTestSystems() {
  [[maybe_unused]] static const bool isDone = [] {
    coordinateReferencing::ReferencingFactoryFinder::addProvider(boost::make_shared<TestProvider>());
    return true;
  }();
}

}  // namespace testing_support
