#pragma once

#include <cstddef>
#include <string>

#include "txlib/comparedata.h"
#include "txlib/data.h"
#include "txlib/dictionary.h"

namespace Tamrin::Tessera {

constexpr std::size_t kShortLength = 80;

/// One line of at most 80 characters: control characters become blanks, a text that is cut ends in "...".
std::wstring ShortLine(std::wstring text);

/// Full texts show everything; reports and short texts keep what a type hides, such as a password.
enum class TextUse { Full, Report };

/// Text of a list or dictionary: JSON where its items have such a form, their own texts otherwise; empty where there
/// is no value.
std::wstring ContainedText(const Data& data);
/// The same cut to a line.
std::wstring ShortContainerText(const Data& data);

/// The same over several lines where one of 80 characters doesn't hold it, all indented by `depth` levels.
std::wstring IndentedText(const Data& data, unsigned depth, bool& multiline, TextUse use = TextUse::Full);

/// The text on one line where it is short, over several otherwise.
std::wstring ContainerReport(const Data& data);

/// Deep copy of a list or dictionary, however deep it is nested.
boost::shared_ptr<Data> CloneContainer(const Data& data);
/// Of a list or dictionary with all that it holds, however deep.
std::uint64_t ContainerSize(const Data& data);

/// Lets the values go without a recursion over what they hold.
void ReleaseValues(std::vector<boost::shared_ptr<Data>>&& values) noexcept;

/// "inf", "nan" or digits: the shortest text that reads back the same, with ".0" where it would look whole.
std::wstring ContainedDouble(double value);

}  // namespace Tamrin::Tessera
