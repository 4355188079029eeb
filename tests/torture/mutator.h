#pragma once

#include <string>
#include <vector>

#include "torture/seeds.h"

namespace torture {

/// Another document made of one: a few changes to what it says, to its text, or to its bytes.
std::string Mutate(const std::string& document, const std::vector<std::string>& others, Dice& dice);

}  // namespace torture
