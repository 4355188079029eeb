#pragma once

#include <rapidjson/error/error.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "jsonlib/events.h"

namespace korven::jsonlib {

/// Words a fault that the reader found, with its place.
ParseError DescribeFault(std::string_view text, rapidjson::ParseErrorCode code, std::size_t offset);
ParseError MakeFault(std::string_view text, std::size_t offset, const std::string& found, const std::string& expected);
/// What stands at `offset`, for a message: a word or a character in quotes, or what kind of byte it is.
std::string FoundAt(std::string_view text, std::size_t offset);

}  // namespace korven::jsonlib
