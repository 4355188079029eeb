#pragma once

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <string>
#include <vector>

#include "enginestate.h"
#include "txlib/jsonvalue.h"
#include "txlib/operator.h"

namespace Tamrin::Tessera {

/// What a document said of an operator, and what became of it: saving writes what is unchanged as it stood. The
/// JSON is shared with the parsed document. Not changed once the document has been read: copies share it.
struct DocumentMemory {
  std::string id;
  JsonValue source;  ///< the operator's object; null for an outermost model
  JsonValue model;   ///< the model object of an operator that holds one, the whole document of an outermost model
  /// Of the same index as the members of "values" and "attributes" in `source` and "attributes" in `model`, and as
  /// the elements of "ports" in `model`.
  std::vector<boost::shared_ptr<Data>> values, attributes, modelAttributes, modelPortValues;
  int expansions = 0;
  std::size_t portCount = 0;  ///< when the document had been read; another number tells that ports were edited
  bool lacksPorts = false;    ///< that it has no such port is no fault of its own
  bool missing = false;       ///< stands for an operator that is not known
};

/// Null where the operator comes from no document.
inline DocumentMemory* FindDocumentMemory(Operator& op) { return static_cast<DocumentMemory*>(DocumentSlot(op).get()); }

inline DocumentMemory& GetDocumentMemory(Operator& op) {
  boost::shared_ptr<void>& slot = DocumentSlot(op);
  if (!slot) slot = boost::make_shared<DocumentMemory>();
  return *static_cast<DocumentMemory*>(slot.get());
}

}  // namespace Tamrin::Tessera
