#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

#include "txlib/dataref.h"
#include "txlib/datarequest.h"

/// Paths into nested values: a key, or keys and [index]es joined by '/'; '\' escapes either character.
/// "scene/bands/[2]/name". The empty path is no path, nor is one with an empty step. A key that begins with '[' is
/// written with '\' in front of it; a '\' before any other character, or at the end, stands for itself.
namespace Tamrin::TesseraBasic::DataPath {

/// True where the path is well formed and leads to an item, which may be null.
bool IsValidPath(const boost::shared_ptr<Tessera::Data>& data, const std::wstring& path);
/// The item, or a handle to nothing.
Tessera::DataRef GetDataByPath(const boost::shared_ptr<Tessera::Data>& data, const std::wstring& path);
/// A request for the item at the path, around the inner request: named requests for keys, directed ones for
/// indices. Null for a path that is not well formed.
boost::shared_ptr<Tessera::DataRequest> CreateDataRequest(const std::wstring& path,
                                                          const boost::shared_ptr<Tessera::DataRequest>& request);

}  // namespace Tamrin::TesseraBasic::DataPath
