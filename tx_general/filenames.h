#pragma once

#include <boost/filesystem.hpp>
#include <string>

#include "kcommon/kfnp.h"
#include "support.h"

namespace korven::tx_general {

/// A name as the system takes it. One with a null character would stand for another file.
inline boost::filesystem::path NativePath(Operator& op, const std::wstring& name) {
  if (name.find(L'\0') != std::wstring::npos) {
    op.SetErrorMessage(L"The file name \"" + name.substr(0, name.find(L'\0')) + L"\" goes on behind a null character.");
  }
  return kfnp_ToNative(name);
}

inline std::wstring WideName(const boost::filesystem::path& path) { return kfnp_FromNative(path.native()); }

inline bool IsFolder(const boost::filesystem::path& path) {
  boost::system::error_code error;
  return boost::filesystem::status(path, error).type() == boost::filesystem::directory_file;
}

/// An input for any file, that is read or written.
inline PortPtr CreateAnyFileInput(Operator& op, const std::wstring& name, bool mustExist = true) {
  return CreateFileInput(op, name, {L"Any File (*.*)", L"*.*", L"any", mustExist});
}

inline PortPtr CreateAnyFileOutput(Operator& op, const std::wstring& name) {
  const auto port = op.CreatePort(name, FileData::DefaultTypeName(), PortType::Output);
  port->SetAttribute(L"Kind", MakeData<StringData>(L"any"));
  return port;
}

}  // namespace korven::tx_general
