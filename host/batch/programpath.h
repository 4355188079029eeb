#pragma once

#include <string>

namespace korven::batch {

/// The program of that name in the folders of PATH; empty where there is none.
std::string FindAlongPath(const std::string& name);

}  // namespace korven::batch
