#pragma once

#include <string>

#include "kcommon/kgda.h"
#include "txbasiclib/collections.h"

/// What tables, matrices, scalars and stacks share: one element, all elements.
namespace Tamrin::TesseraBasic {

std::int64_t ElementsOf(const Kgda_BaseDataLayer& layer);
/// Bytes of a stack with its texts.
std::uint64_t StackSize(const KgdaBaseDataStack& stack);
/// Layers of one size and one element type; at least one.
bool IsUniform(const KgdaBaseDataStack& stack);

/// Copies one element, converted to the destination's type.
void CopyElement(Kgda_BaseDataLayer& to, std::int32_t row, std::int32_t column, const Kgda_BaseDataLayer& from,
                 std::int32_t fromRow, std::int32_t fromColumn);

/// The colour at an element: of a stack that is no colour a grey.
Color ColorOfElement(const KgdaBaseDataStack& stack, std::int32_t row, std::int32_t column);
/// Into a colour stack; a fourth layer is made where the opacity needs one.
void SetColorOfElement(KgdaBaseDataStack& stack, std::int32_t row, std::int32_t column, const Color& color);
/// Three or four layers of 64-bit floats: the stack's own colours, or greys of its first layer.
KgdaBaseDataStack ToColorStack(const KgdaBaseDataStack& stack);

/// "0.5", "(1,2)", a quoted text, "null".
std::wstring ElementText(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column);
/// "[1, 2]"; colours in brackets of their own. Stops soon after `limit` characters.
std::wstring ColumnText(const KgdaBaseDataStack& stack, std::size_t limit);
/// "[[1, 2], [3, 4]]", several layers in one more pair of brackets.
std::wstring GridText(const KgdaBaseDataStack& stack, std::size_t limit);
std::wstring ColorText(const Color& color);
std::wstring QuotedText(const std::wstring& text);

/// A total order over shapes and elements, equal for equal ones. Element types don't count but by kind: numbers
/// before complex numbers before texts.
int OrderOfStacks(const KgdaBaseDataStack& a, const KgdaBaseDataStack& b);
int OrderOfColors(const Color& a, const Color& b);

constexpr std::size_t kNoLimit = static_cast<std::size_t>(-1);

}  // namespace Tamrin::TesseraBasic
