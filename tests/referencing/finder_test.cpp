#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <functional>
#include <thread>

#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "referencing/authority.h"
#include "referencing/crstypes.h"

namespace {

using coordinateReferencing::AuthorityProvider;
using coordinateReferencing::AuthorityTranslationSupport;
using coordinateReferencing::ReferencingFactoryFinder;
using iso::referencing::Identifier;
using iso::referencing::crs::CRSAuthorityFactory;
using iso::referencing::crs::CRSPtr;
namespace cs = iso::referencing::cs;
namespace crs = iso::referencing::crs;
namespace datum = iso::referencing::datum;

/// Systems that this test's own authority has.
template <typename Interface>
class Axisless final : public Interface {
 public:
  std::wstring getName() const override { return L"axisless"; }
  int getDimension() const override { return 0; }
  boost::shared_ptr<const cs::CoordinateSystemAxis> getAxis(int) const override { return nullptr; }
};

template <typename Interface, typename Cs>
class Bare : public Interface {
 public:
  std::wstring getName() const override { return L"bare"; }
  boost::shared_ptr<const cs::CoordinateSystem> getCoordinateSystem() const override {
    return boost::make_shared<Axisless<Cs>>();
  }
};

template <typename Interface, typename Cs = cs::CartesianCS>
class BareSingle final : public Bare<Interface, Cs> {
 public:
  explicit BareSingle(boost::shared_ptr<const datum::Datum> own = nullptr) : datum_(std::move(own)) {}
  boost::shared_ptr<const datum::Datum> getDatum() const override { return datum_; }

 private:
  boost::shared_ptr<const datum::Datum> datum_;
};

class BareCompound final : public Bare<crs::CompoundCRS, cs::EllipsoidalCS> {
 public:
  std::vector<CRSPtr> getComponents() const override { return {}; }
};

template <typename Interface>
class BareDatum final : public Interface {
 public:
  std::wstring getName() const override { return L"datum"; }
};

class GridFactory final : public CRSAuthorityFactory {
 public:
  std::wstring getAuthority() const override { return L"TESTGRID"; }
  CRSPtr createCoordinateReferenceSystem(const std::wstring& code) const override {
    return tryCreateCoordinateReferenceSystem(code);
  }
  CRSPtr tryCreateCoordinateReferenceSystem(const std::wstring& code) const override {
    if (code == L"grid") return boost::make_shared<Bare<korven::raster::GridCRS, cs::CartesianCS>>();
    return nullptr;
  }
};

class GridProvider final : public AuthorityProvider {
 public:
  std::vector<std::wstring> GetAuthorities() const override { return {L"TESTGRID"}; }
  boost::shared_ptr<CRSAuthorityFactory> Create(const std::wstring& authority) const override {
    return authority == L"TESTGRID" ? boost::make_shared<GridFactory>() : nullptr;
  }
};

std::wstring WordsOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const KorvenLog::Exception& failure) {
    return failure.get_What();
  }
  return {};
}

TEST(Finder, AnAuthorityHasOneFactory) {
  const auto first = ReferencingFactoryFinder::getCRSAuthorityFactory(L"EPSG", nullptr);
  ASSERT_TRUE(first);
  EXPECT_EQ(first, ReferencingFactoryFinder::getCRSAuthorityFactory(L"EPSG"));
  EXPECT_EQ(first->getAuthority(), L"EPSG");
  EXPECT_NE(first, ReferencingFactoryFinder::getCRSAuthorityFactory(L"ESRI"));
}

TEST(Finder, AnUnknownAuthorityIsToldWithTheNearest) {
  EXPECT_EQ(WordsOf([] { ReferencingFactoryFinder::getCRSAuthorityFactory(L"EPGS"); }),
            L"No authority of coordinate reference systems has the name \"EPGS\"; the nearest known one is \"EPSG\".");
  EXPECT_FALSE(ReferencingFactoryFinder::tryGetCRSAuthorityFactory(L"epsg")) << "names are compared exactly";
  EXPECT_FALSE(ReferencingFactoryFinder::tryGetCRSAuthorityFactory(L""));
}

TEST(Finder, OthersMayAddAuthorities) {
  ReferencingFactoryFinder::addProvider(boost::make_shared<GridProvider>());
  const auto factory = ReferencingFactoryFinder::getCRSAuthorityFactory(L"TESTGRID");
  const CRSPtr grid = factory->createCoordinateReferenceSystem(L"grid");
  EXPECT_EQ(coordinateReferencing::getCRSType(grid), L"Grid");
  std::wstring code = L"grid";
  AuthorityTranslationSupport::TranslateCode(L"TESTGRID", code, L"EPSG", code, false);
  EXPECT_EQ(code, L"") << "it says of itself no identifier that leads anywhere";
  AuthorityTranslationSupport::TranslateCode(L"TESTGRID", L"grid", L"TESTGRID", code, false);
  EXPECT_EQ(code, L"grid");
  AuthorityTranslationSupport::TranslateCode(L"EPSG", L"4326", L"TESTGRID", code, false);
  EXPECT_EQ(code, L"") << "its factory finds no codes";
}

TEST(Finder, TranslatingInsistsWhereItIsAskedTo) {
  const auto words = [](const wchar_t* from, const wchar_t* code, const wchar_t* to) {
    std::wstring out = L"old";
    AuthorityTranslationSupport::TranslateCode(from, code, to, out, false);
    EXPECT_EQ(out, L"");
    return WordsOf([&] { AuthorityTranslationSupport::TranslateCode(from, code, to, out, true); });
  };
  EXPECT_NE(words(L"EPSG", L"4326", L"KPJR").find(L"nearest known one is \"KPRJ\""), std::wstring::npos);
  EXPECT_NE(words(L"EPGS", L"4326", L"KPRJ").find(L"nearest known one is \"EPSG\""), std::wstring::npos);
  EXPECT_EQ(words(L"EPSG", L"432600", L"KPRJ")
                .find(L"The authority \"EPSG\" has no coordinate reference system with "
                      L"the code \"432600\"; the nearest known one is \""),
            0U);
  EXPECT_EQ(words(L"ESRI", L"54009", L"EPSG"),
            L"The coordinate reference system \"54009\" of the authority \"ESRI\" "
            L"has no code of the authority \"EPSG\".");
}

TEST(CrsTypes, WordsFollowFromTheInterfaces) {
  using namespace coordinateReferencing;
  EXPECT_EQ(getCRSType(nullptr), L"Unknown");
  EXPECT_EQ(getCRSType(boost::make_shared<BareCompound>()), L"Compound");
  EXPECT_EQ(getCRSType(boost::make_shared<BareSingle<crs::VerticalCRS>>()), L"Vertical");
  EXPECT_EQ(getCRSType(boost::make_shared<BareSingle<crs::ImageCRS>>()), L"Image");
  EXPECT_EQ(getCRSType(boost::make_shared<BareSingle<crs::SingleCRS>>(
                boost::make_shared<BareDatum<datum::EngineeringDatum>>())),
            L"Engineering");
  EXPECT_EQ(getCRSType(boost::make_shared<BareSingle<crs::SingleCRS>>()), L"Projected");
  EXPECT_EQ(getCRSType(boost::make_shared<BareSingle<crs::SingleCRS, cs::EllipsoidalCS>>()), L"Geographic");
  EXPECT_EQ(getCRSType(boost::make_shared<BareSingle<crs::SingleCRS, cs::CoordinateSystem>>()), L"Unknown");
  EXPECT_EQ(getCSType(boost::make_shared<Axisless<cs::SphericalCS>>()), L"Spherical");
  EXPECT_EQ(getCSType(boost::make_shared<Axisless<cs::VerticalCS>>()), L"Vertical");
  EXPECT_EQ(getCSType(nullptr), L"Unknown");
  EXPECT_EQ(getDatumType(nullptr), L"Unknown");
  EXPECT_EQ(getDatumType(boost::make_shared<BareDatum<datum::GeodeticDatum>>()), L"Geodetic");
  EXPECT_EQ(getDatumType(boost::make_shared<BareDatum<datum::VerticalDatum>>()), L"Vertical");
  EXPECT_EQ(getDatumType(boost::make_shared<BareDatum<datum::ImageDatum>>()), L"Image");
  EXPECT_TRUE(isGeographicCRS(boost::make_shared<BareCompound>()));
  EXPECT_FALSE(isProjectedCRS(boost::make_shared<BareCompound>()));
  EXPECT_FALSE(isGeographicCRS(nullptr));
}

TEST(Finder, ThreadsGetOneFactory) {
  std::vector<boost::shared_ptr<CRSAuthorityFactory>> found(8);
  std::vector<std::thread> threads;
  for (auto& one : found)
    threads.emplace_back([&one] { one = ReferencingFactoryFinder::getCRSAuthorityFactory(L"GeoKey Moniker"); });
  for (std::thread& thread : threads) thread.join();
  for (const auto& one : found) EXPECT_EQ(one, found[0]);
}

}  // namespace
