#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include "kcommon/kstr.h"
#include "txbasiclib/basicvalues.h"
#include "txbasiclib/collections.h"

/// What the tests of this folder share.
namespace basictest {

namespace tx = Tamrin::Tessera;
using namespace Tamrin::TesseraBasic;
using DataPtr = boost::shared_ptr<tx::Data>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

inline tx::JsonValue Json(const std::string& text) {
  tx::JsonValue json;
  std::string error;
  EXPECT_TRUE(json.DeserializeUtf8(text, false, &error)) << text << ": " << error;
  return json;
}

template <typename W>
boost::shared_ptr<W> FromJson(const std::string& text) {
  const auto data = boost::make_shared<W>();
  return data->FromJSON(Json(text)) ? data : nullptr;
}

inline std::string JsonText(const tx::Data& data) {
  tx::JsonValue json;
  EXPECT_TRUE(data.ToJSON(json)) << data.GetTypeName();
  return json.SerializeUtf8();
}

/// Through the text of the JSON form and back.
template <typename W>
boost::shared_ptr<W> ThroughJson(const W& data) {
  const std::string text = JsonText(data);
  auto copy = FromJson<W>(text);
  EXPECT_TRUE(copy) << text;
  return copy ? copy : boost::make_shared<W>();
}

template <typename W>
boost::shared_ptr<W> FromText(const std::wstring& text) {
  const auto data = boost::make_shared<W>();
  return data->FromString(text) ? data : nullptr;
}

inline bool SameBits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

/// Any double: all exponents, and now and then a special one.
inline double AnyDouble(std::mt19937_64& random) {
  switch (random() % 8) {
    case 0:
      return kInfinity;
    case 1:
      return -0.0;
    case 2:
      return static_cast<double>(static_cast<std::int32_t>(random()));
    default: {
      const double value = std::bit_cast<double>(random());
      return std::isnan(value) ? kNaN : value;
    }
  }
}

/// Equal layers, byte by byte; texts by their characters.
inline void ExpectSameStack(const KgdaBaseDataStack& a, const KgdaBaseDataStack& b) {
  EXPECT_EQ(a.GetKind(), b.GetKind());
  ASSERT_EQ(a.GetLayerCount(), b.GetLayerCount());
  for (std::size_t i = 0; i < a.GetLayerCount(); ++i) {
    const auto& first = a.GetLayer(i);
    const auto& second = b.GetLayer(i);
    ASSERT_EQ(first.rows, second.rows);
    ASSERT_EQ(first.columns, second.columns);
    ASSERT_EQ(first.pixelType, second.pixelType);
    for (std::int32_t row = 0; row < first.rows; ++row) {
      for (std::int32_t column = 0; column < first.columns; ++column) {
        if (first.pixelType == KgdaString) {
          EXPECT_STREQ(kgda_ElementAsString(first, row, column), kgda_ElementAsString(second, row, column));
        } else {
          const auto bytes = [&](const Kgda_BaseDataLayer& layer) {
            return std::string(static_cast<const char*>(kgda_ElementPointer(layer, row, column)), layer.elementSize);
          };
          EXPECT_EQ(bytes(first), bytes(second)) << "code " << first.pixelType << " row " << row;
        }
      }
    }
  }
}

/// Fills a layer of any code with random elements that the type may hold.
inline void Fill(Kgda_BaseDataLayer& layer, std::mt19937_64& random) {
  for (std::int32_t row = 0; row < layer.rows; ++row) {
    for (std::int32_t column = 0; column < layer.columns; ++column) {
      void* element = kgda_ElementPointer(layer, row, column);
      const auto single = [&] {
        return std::ldexp(static_cast<float>(random() >> 40), static_cast<int>(random() % 160) - 90);
      };
      switch (layer.pixelType) {
        case KgdaString: {
          const std::string text = "t\xC3\xA4\"\\/\n" + std::to_string(random() % 100);
          kgda_SetElementString(layer, row, column, random() % 3 ? text.c_str() : nullptr);
          break;
        }
        case KgdaFloat32:
          *static_cast<float*>(element) = random() % 9 ? single() : std::numeric_limits<float>::quiet_NaN();
          break;
        case KgdaFloat64:
          *static_cast<double*>(element) = AnyDouble(random);
          break;
        case KgdaComplex64:
          static_cast<float*>(element)[0] = single();
          static_cast<float*>(element)[1] = -single();
          break;
        case KgdaComplex128:
          static_cast<double*>(element)[0] = AnyDouble(random);
          static_cast<double*>(element)[1] = AnyDouble(random);
          break;
        default: {
          // Clamped to the bounds of the type, which are hit often.
          const double spread = std::ldexp(1.0, static_cast<int>(random() % 34));
          kgda_SetElementFromDouble(layer, row, column,
                                    std::trunc((static_cast<double>(random() >> 11) * 0x1p-53 * 2 - 1) * spread));
        }
      }
    }
  }
}

}  // namespace basictest
