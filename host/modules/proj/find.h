#pragma once

#include "context.h"

std::string IdentifyOf(const PJ* system, const std::string& authority, const std::vector<std::string>& texts);
std::string IdentifyText(const std::string& text, const std::string& authority);
std::string PickedByText(const PJ* system, const std::string& text, const std::string& authority,
                         const std::vector<std::string>& codes);
bool Equivalent(const PJ* one, const PJ* other, bool anyAxisOrder);
