#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class KerrException;

/// Element type of a layer. The codes are shared with NumberType and SimpleDataType.
enum Kgda_PixelType : std::uint32_t {
  KgdaBit = 0,
  KgdaTwoBit = 1,
  KgdaNibble = 2,
  KgdaUInt8 = 3,  ///< one unsigned byte each
  KgdaInt8 = 4,
  KgdaUInt16 = 5,
  KgdaInt16 = 6,
  KgdaUInt32 = 7,
  KgdaInt32 = 8,
  KgdaFloat32 = 9,
  KgdaFloat64 = 10,
  KgdaComplex64 = 11,
  KgdaComplex128 = 12,
  KgdaString = 13  ///< pointer to a C string of kstr_Duplicate, UTF-8, may be null
};

constexpr std::uint32_t kKgdaPixelTypeCount = 14;

/// Bytes of one element: 1, 2, 4, 8 or 16. 0 for an unknown code.
std::size_t kgda_NumBytePerPixelFromType(Kgda_PixelType type);
/// "Bit", "TwoBit", "Nibble", "UInt8" ... "String"; empty for an unknown code.
const wchar_t* kgda_PixelTypeName(Kgda_PixelType type);
/// Smallest type that holds every value of all: exactly where there is one. Strings only with strings:
/// a mix of strings and numbers gives KgdaString. An empty list gives KgdaFloat64.
Kgda_PixelType kgda_GetHomogenousPixelType(const std::vector<Kgda_PixelType>& types);

/// One layer: rows by columns elements. Element (r, c) lies at data + rowStride * r + elementSize * c.
struct Kgda_BaseDataLayer {
  std::int32_t rows = 0;
  std::int32_t columns = 0;
  Kgda_PixelType pixelType = KgdaUInt8;
  void* data = nullptr;  ///< owned by the stack; zero-filled when made
  std::size_t elementSize = 0;
  std::size_t rowStride = 0;
};

/// Bins of a table's rows; see the JSON form of bin functions.
struct Kdsc_BinFunction {
  enum class Kind { Direct, Linear, Logarithmic, Explicit };
  Kind kind = Kind::Direct;
  std::int32_t numBins = 0;
  double minimum = 0;
  double maximum = 0;
  std::vector<double> limits;  ///< numBins + 1 ascending numbers of an explicit function
  friend bool operator==(const Kdsc_BinFunction&, const Kdsc_BinFunction&) = default;
};

/// The container under tables, matrices and scalars. Object kind 0 scalar, 1 table, 2 matrix. A colour item
/// has exactly 3 layers of pixel type 10 (red, green, blue, each 0 to 1); a fourth holds the opacity where it
/// is not 1. Copying is deep, string elements included. No locks: shared stacks are read only.
class KgdaBaseDataStack {
 public:
  enum Kind { KindScalar = 0, KindTable = 1, KindMatrix = 2 };

  explicit KgdaBaseDataStack(Kind kind = KindScalar);
  KgdaBaseDataStack(const KgdaBaseDataStack& other);
  KgdaBaseDataStack(KgdaBaseDataStack&& other) noexcept;
  KgdaBaseDataStack& operator=(KgdaBaseDataStack other) noexcept;
  ~KgdaBaseDataStack();

  Kind GetKind() const { return kind_; }
  void SetKind(Kind kind) { kind_ = kind; }
  std::size_t GetLayerCount() const { return layers_.size(); }
  Kgda_BaseDataLayer& GetLayer(std::size_t index) { return layers_[index]; }
  const Kgda_BaseDataLayer& GetLayer(std::size_t index) const { return layers_[index]; }
  /// Appends a zero-filled layer. Raises std::bad_alloc, and std::invalid_argument for negative sizes or an
  /// unknown type.
  Kgda_BaseDataLayer& AddLayer(std::int32_t rows, std::int32_t columns, Kgda_PixelType type);
  /// Three or four layers of 64-bit floats of the same size.
  bool IsColor() const;
  std::uint64_t SizeInBytes() const;

  const boost::shared_ptr<const Kdsc_BinFunction>& GetBinFunction() const { return binFunction_; }
  void SetBinFunction(boost::shared_ptr<const Kdsc_BinFunction> function) { binFunction_ = std::move(function); }

 private:
  Kind kind_;
  std::vector<Kgda_BaseDataLayer> layers_;
  boost::shared_ptr<const Kdsc_BinFunction> binFunction_;
};

/// Element as a double; NaN for codes above 10.
double kgda_ElementAsDouble(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column);
/// Stores a number: rounds half to even, clamps to the type's bounds, NaN to an integer type becomes 0.
/// Nothing happens for strings.
void kgda_SetElementFromDouble(Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column, double value);
/// Text of a string element; null text gives null.
const char* kgda_ElementAsString(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column);
/// Replaces a string element by a copy of the text, which may be null.
void kgda_SetElementString(Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column, const char* text);
void* kgda_ElementPointer(Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column);
const void* kgda_ElementPointer(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column);
/// A stack of the other element type, kind and bin function kept.
KgdaBaseDataStack kgda_ConvertStack(const KgdaBaseDataStack& stack, Kgda_PixelType type);

/// to[i] = from[indices[i]], of elements that lie one behind the other. Strings are copied; the target holds none yet.
void kgda_PickElements(void* to, const void* from, Kgda_PixelType type, const unsigned* indices, std::size_t count);
/// Copies `count` elements of a row between layers of one type; with `step` 0 the first one again and again.
void kgda_CopyRun(Kgda_BaseDataLayer& to, std::int32_t row, std::int32_t column, const Kgda_BaseDataLayer& from,
                  std::int32_t fromRow, std::int32_t fromColumn, std::int32_t count, int step);
/// Copies `count` whole rows between layers of one type and number of columns that do not overlap; with `step` 0 the
/// first one again and again.
void kgda_CopyRows(Kgda_BaseDataLayer& to, std::int32_t row, const Kgda_BaseDataLayer& from, std::int32_t fromRow,
                   std::int32_t count, int step = 1);
/// Appends a layer of that size and type, which holds what of `from` lies within it, converted.
Kgda_BaseDataLayer& kgda_AddLayerFrom(KgdaBaseDataStack& stack, const Kgda_BaseDataLayer& from, std::int32_t rows,
                                      std::int32_t columns, Kgda_PixelType type, KerrException& error);

/// Layers of one size and type, zero-filled. A size that can't be had is recorded in `error` before any memory is
/// asked for; the result then has no layers.
KgdaBaseDataStack kgda_BaseDataStackCreate(std::size_t layers, std::uint64_t rows, std::uint64_t columns,
                                           Kgda_PixelType type, KgdaBaseDataStack::Kind kind, KerrException& error);
/// Appends a copy of the layer, strings included.
void kgda_BaseDataCopy(const Kgda_BaseDataLayer& layer, KgdaBaseDataStack& target, KerrException& error);

/// Fills the output from operands that have as many layers and the output's element type.
using Kgda_StackFunction = void (*)(KgdaBaseDataStack& output, const std::vector<KgdaBaseDataStack>& operands);
void kgda_BaseDataStackFunction(Kgda_StackFunction function, KgdaBaseDataStack& output,
                                const std::vector<KgdaBaseDataStack>& operands, KerrException& error);
/// Element (r, c) of each layer becomes first + c * second + r * third, of the first elements of three operands:
/// exact in integer types, where it is clamped to their bounds; in double precision for floats.
Kgda_StackFunction kmsc_AddressOf_kgda_GpfIncFill();

/// The text form of a stack, as files with the extensions mtx, tbl and sca hold it; see docs/formats.md.
/// Layers have to agree in size and type. Written beside its place, then renamed: a failure is recorded and leaves
/// the old file.
void kgda_BaseDataStackWriteAscii(const KgdaBaseDataStack& stack, const std::wstring& fileName, KerrException& error);
std::string kgda_BaseDataStackToAscii(const KgdaBaseDataStack& stack, KerrException& error);

/// How text without a header of ours is understood.
enum class Kgda_PlainText {
  Numbers,  ///< lines of numbers
  Texts,    ///< lines of texts; those of a table or scalar are one element each
  Complex,
  Colors  ///< a colour on each line; see ColorRampFromText
};
/// The stack in a text, in the element type of its header; without one Float64, String or Complex128. `source` is
/// named in messages, which tell line, column, what was found and what was expected. A table has one column, a
/// scalar one element; one row is read as one column. On failure the result has no layers.
KgdaBaseDataStack kgda_BaseDataStackFromAscii(std::string_view text, const std::wstring& source,
                                              KgdaBaseDataStack::Kind kind, Kgda_PlainText plain, KerrException& error);
KgdaBaseDataStack kgda_BaseDataStackReadAscii(const std::wstring& fileName, KgdaBaseDataStack::Kind kind,
                                              Kgda_PlainText plain, KerrException& error);
