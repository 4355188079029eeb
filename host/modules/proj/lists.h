#pragma once

#include "context.h"

std::vector<std::string> AuthorityList();
std::vector<std::string> SystemCodeList(const std::string& authority);
std::vector<kprj::proj::VerticalRow> VerticalList(const std::string& authority);
std::vector<kprj::proj::CompoundRow> CompoundList(const std::string& authority);
std::vector<kprj::proj::DatumRow> GeodeticDatumList();
std::vector<std::string> VerticalDatumList();
