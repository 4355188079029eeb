#include "kcommon/kgda.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>

#include "hugepages.h"
#include "kcommon/kstr.h"
#include "kgdacopy.h"

namespace {

constexpr std::size_t kElementSizes[kKgdaPixelTypeCount] = {1, 1, 1, 1, 1, 2, 2, 4, 4, 4, 8, 8, 16, sizeof(char*)};

constexpr const wchar_t* kTypeNames[kKgdaPixelTypeCount] = {
    L"Bit",    L"TwoBit", L"Nibble",  L"UInt8",   L"Int8",      L"UInt16",     L"Int16",
    L"UInt32", L"Int32",  L"Float32", L"Float64", L"Complex64", L"Complex128", L"String"};

/// Zero-filled.
void* Allocate(std::size_t count, std::size_t elementSize) {
  if (count > static_cast<std::size_t>(PTRDIFF_MAX) / elementSize) throw std::bad_alloc();
  void* data = std::calloc(count, elementSize);
  if (!data) throw std::bad_alloc();
  AskForHugePages(data, count * elementSize);
  return data;
}

std::size_t ElementCount(const Kgda_BaseDataLayer& layer) {
  return static_cast<std::size_t>(layer.rows) * static_cast<std::size_t>(layer.columns);
}

char** StringRow(const Kgda_BaseDataLayer& layer, std::int32_t row) {
  return reinterpret_cast<char**>(static_cast<char*>(layer.data) + layer.rowStride * static_cast<std::size_t>(row));
}

void Release(Kgda_BaseDataLayer& layer) {
  if (layer.data && layer.pixelType == KgdaString) {
    for (std::int32_t row = 0; row < layer.rows; ++row) {
      char** const texts = StringRow(layer, row);
      for (std::int32_t column = 0; column < layer.columns; ++column) kstr_Delete(texts[column]);
    }
  }
  std::free(layer.data);
  layer.data = nullptr;
}

struct Range {
  double lowest;
  double highest;
  bool Holds(const Range& other) const { return lowest <= other.lowest && other.highest <= highest; }
};

/// Of the integer types, by code.
constexpr Range kIntegerRanges[] = {{0, 1},
                                    {0, 3},
                                    {0, 15},
                                    {0, 255},
                                    {-128, 127},
                                    {0, 65535},
                                    {-32768, 32767},
                                    {0, 4294967295.0},
                                    {-2147483648.0, 2147483647.0}};
constexpr Range kFloat32Exact = {-16777216.0, 16777216.0};

}  // namespace

void CopyElements(const Kgda_BaseDataLayer& from, Kgda_BaseDataLayer& to) {
  if (ElementCount(from) == 0) return;
  if (from.pixelType == KgdaString) {
    for (std::int32_t row = 0; row < from.rows; ++row) {
      for (std::int32_t column = 0; column < from.columns; ++column) {
        StringRow(to, row)[column] = kstr_Duplicate(StringRow(from, row)[column]);
      }
    }
    return;
  }
  if (from.rowStride == to.rowStride) {
    std::memcpy(to.data, from.data, to.rowStride * static_cast<std::size_t>(to.rows));
    return;
  }
  for (std::int32_t row = 0; row < from.rows; ++row) {
    std::memcpy(kgda_ElementPointer(to, row, 0), kgda_ElementPointer(from, row, 0), to.rowStride);
  }
}

std::size_t kgda_NumBytePerPixelFromType(Kgda_PixelType type) {
  return type < kKgdaPixelTypeCount ? kElementSizes[type] : 0;
}

const wchar_t* kgda_PixelTypeName(Kgda_PixelType type) { return type < kKgdaPixelTypeCount ? kTypeNames[type] : L""; }

Kgda_PixelType kgda_GetHomogenousPixelType(const std::vector<Kgda_PixelType>& types) {
  Range integers{0, 0};
  bool anyInteger = false, anyFloat = false, anyComplex = false, anyWide = false;
  for (const Kgda_PixelType type : types) {
    if (type == KgdaString) return KgdaString;
    if (type <= KgdaInt32) {
      anyInteger = true;
      integers.lowest = std::min(integers.lowest, kIntegerRanges[type].lowest);
      integers.highest = std::max(integers.highest, kIntegerRanges[type].highest);
    }
    anyFloat = anyFloat || type == KgdaFloat32 || type == KgdaFloat64;
    anyComplex = anyComplex || type == KgdaComplex64 || type == KgdaComplex128;
    anyWide = anyWide || type == KgdaFloat64 || type == KgdaComplex128;
  }
  const bool wide = anyWide || !kFloat32Exact.Holds(integers);
  if (anyComplex) return wide ? KgdaComplex128 : KgdaComplex64;
  if (anyFloat) return wide ? KgdaFloat64 : KgdaFloat32;
  if (!anyInteger) return KgdaFloat64;
  for (std::uint32_t code = KgdaBit; code <= KgdaInt32; ++code) {
    if (kIntegerRanges[code].Holds(integers)) return static_cast<Kgda_PixelType>(code);
  }
  return KgdaFloat64;
}

KgdaBaseDataStack::KgdaBaseDataStack(Kind kind) : kind_(kind) {}

// Delegates, so that the destructor frees the layers that are made when a later one finds no memory.
KgdaBaseDataStack::KgdaBaseDataStack(const KgdaBaseDataStack& other) : KgdaBaseDataStack(other.kind_) {
  binFunction_ = other.binFunction_;
  layers_.reserve(other.layers_.size());
  for (const Kgda_BaseDataLayer& layer : other.layers_) {
    CopyElements(layer, AddLayer(layer.rows, layer.columns, layer.pixelType));
  }
}

KgdaBaseDataStack::KgdaBaseDataStack(KgdaBaseDataStack&& other) noexcept
    : kind_(other.kind_), layers_(std::move(other.layers_)), binFunction_(std::move(other.binFunction_)) {
  other.layers_.clear();
  other.binFunction_.reset();
}

KgdaBaseDataStack& KgdaBaseDataStack::operator=(KgdaBaseDataStack other) noexcept {
  kind_ = other.kind_;
  layers_.swap(other.layers_);
  binFunction_.swap(other.binFunction_);
  return *this;
}

KgdaBaseDataStack::~KgdaBaseDataStack() {
  for (Kgda_BaseDataLayer& layer : layers_) Release(layer);
}

Kgda_BaseDataLayer& KgdaBaseDataStack::AddLayer(std::int32_t rows, std::int32_t columns, Kgda_PixelType type) {
  if (rows < 0 || columns < 0) {
    throw std::invalid_argument("Found a size of " + std::to_string(rows) + " rows and " + std::to_string(columns) +
                                " columns, expected no negative number");
  }
  const std::size_t elementSize = kgda_NumBytePerPixelFromType(type);
  if (elementSize == 0) throw std::invalid_argument("A layer has an unknown pixel type");
  Kgda_BaseDataLayer layer;
  layer.rows = rows;
  layer.columns = columns;
  layer.pixelType = type;
  layer.elementSize = elementSize;
  layer.rowStride = elementSize * static_cast<std::size_t>(columns);
  Kgda_BaseDataLayer& added = layers_.emplace_back(layer);
  try {
    if (ElementCount(layer) > 0) added.data = Allocate(ElementCount(layer), elementSize);
  } catch (const std::bad_alloc&) {
    layers_.pop_back();
    throw;
  }
  return added;
}

bool KgdaBaseDataStack::IsColor() const {
  if (layers_.size() != 3 && layers_.size() != 4) return false;
  const Kgda_BaseDataLayer& first = layers_.front();
  return std::all_of(layers_.begin(), layers_.end(), [&](const Kgda_BaseDataLayer& layer) {
    return layer.pixelType == KgdaFloat64 && layer.rows == first.rows && layer.columns == first.columns;
  });
}

std::uint64_t KgdaBaseDataStack::SizeInBytes() const {
  std::uint64_t size = 0;
  for (const Kgda_BaseDataLayer& layer : layers_) size += std::uint64_t{ElementCount(layer)} * layer.elementSize;
  return size;
}

void* kgda_ElementPointer(Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  return static_cast<char*>(layer.data) + layer.rowStride * static_cast<std::size_t>(row) +
         layer.elementSize * static_cast<std::size_t>(column);
}

const void* kgda_ElementPointer(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  return static_cast<const char*>(layer.data) + layer.rowStride * static_cast<std::size_t>(row) +
         layer.elementSize * static_cast<std::size_t>(column);
}

const char* kgda_ElementAsString(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  return layer.pixelType == KgdaString ? StringRow(layer, row)[column] : nullptr;
}

void kgda_SetElementString(Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column, const char* text) {
  if (layer.pixelType != KgdaString) return;
  char* const copy = kstr_Duplicate(text);  // before the old text goes: it may be the same one
  char*& element = StringRow(layer, row)[column];
  kstr_Delete(element);
  element = copy;
}
