#pragma once

#include <string>
#include <vector>

#include "program.h"

namespace TesseraProgram {

/// Sets inputs by "NAME=VALUE" and "NAME=@FILE". Raises Refusal.
void ApplySets(Tamrin::Tessera::Model& model, const std::vector<std::string>& sets);
/// Sets inputs from a file of inputs. Raises Refusal.
void ApplyInputs(Tamrin::Tessera::Model& model, const std::string& file);
JsonValue OutputsToJson(Tamrin::Tessera::Model& model);
void PrintOutputs(Tamrin::Tessera::Model& model);

}  // namespace TesseraProgram
