#pragma once

#include "context.h"

std::string IdentifyOf(const PJ* system, const std::string& authority, const std::vector<std::string>& texts);
bool Equivalent(const PJ* one, const PJ* other, bool anyAxisOrder);
