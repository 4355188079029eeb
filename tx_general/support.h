#pragma once

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <string>

#include "plugin/iplugin.h"
#include "txlib/basicdata.h"
#include "txlib/operator.h"
#include "txlib/port.h"
#include "txlib/portaccess.h"

namespace korven::tx_general {

using namespace Tamrin::Tessera;  // NOLINT: every source of this library is written in the engine's terms

using DataPtr = boost::shared_ptr<Data>;
using PortPtr = boost::shared_ptr<Port>;
using RequestPtr = boost::shared_ptr<DataRequest>;
using PluginPtr = boost::shared_ptr<korven::plugin::IPlugin>;

/// Ends the source of a class: what the catalogue's row of that class calls.
#define TX_GENERAL_FACTORY(Class) \
  PluginPtr Make##Class() { return boost::make_shared<Class>(); }

inline PortPtr Optional(const PortPtr& port) {
  port->SetIsOptional(true);
  return port;
}

inline PortPtr Hidden(const PortPtr& port) {
  port->SetIsHidden(true);
  return port;
}

/// A list port whose items are of one type.
inline PortPtr CreateListPort(Operator& op, const std::wstring& name, PortType portType, const ObjectName& itemType) {
  const auto port = op.CreatePort(name, DataListData::DefaultTypeName(), portType);
  port->SetAttribute(L"ListDataType", MakeData<StringData>(itemType.ToString()));
  return port;
}

/// What a file dialog is told about a file input.
struct FileChoice {
  const wchar_t* filter;
  const wchar_t* extension;
  const wchar_t* kind;
  bool mustExist;  ///< false for a file that is written
};

inline PortPtr CreateFileInput(Operator& op, const std::wstring& name, const FileChoice& choice) {
  const auto port = op.CreatePort(name, FileData::DefaultTypeName(), PortType::Input);
  port->SetAttribute(L"Input", MakeData<BoolData>(choice.mustExist));
  port->SetAttribute(L"FileFilter", MakeData<StringData>(choice.filter));
  port->SetAttribute(L"Extension", MakeData<StringData>(choice.extension));
  port->SetAttribute(L"Kind", MakeData<StringData>(choice.kind));
  return port;
}

}  // namespace korven::tx_general
