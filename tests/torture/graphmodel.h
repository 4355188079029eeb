#pragma once

#include <map>
#include <string>

#include "support/modelhost.h"
#include "torture/graph.h"

namespace torture {

using testing_support::DataPtr;
using testing_support::OperatorPtr;
namespace tessera = ::Tamrin::Tessera;
using ModelPtr = boost::shared_ptr<tessera::Model>;

DataPtr ToData(const ValuePtr& value);
/// As Told(ValuePtr), of what the engine has.
std::string Told(const DataPtr& data);

/// The graph by the calls of an embedder. Iterators get the method.
ModelPtr BuildModel(const Graph& graph, const std::wstring& method, std::uint64_t seed);

/// The operators of a model, and of those inside, by their ids.
std::map<std::string, OperatorPtr> OperatorsOf(const tessera::Model& model);

}  // namespace torture
