#pragma once

#include <string>
#include <typeinfo>
#include <utility>

#include <boost/pointer_cast.hpp>
#include <boost/shared_ptr.hpp>

#include "txlib/basicdata.h"
#include "txlib/operator.h"
#include "txlib/port.h"

namespace Tamrin::Tessera {

/// The value as a W: itself where it is one, converted otherwise; null where that can't be.
template <typename W>
boost::shared_ptr<W> AsDataOf(const boost::shared_ptr<Data>& data) {
  if (!data) return nullptr;
  // The exact class is by far the most frequent, and told apart without a walk over the bases.
  const Data& value = *data;
  if (typeid(value) == typeid(W)) return boost::static_pointer_cast<W>(data);
  if (auto same = boost::dynamic_pointer_cast<W>(data)) return same;
  return boost::dynamic_pointer_cast<W>(data->ConvertTo(W::DefaultTypeName()));
}

/// Raises on the port's operator: "Data not found on port(NAME)." and the like.
[[noreturn]] void RaisePortMessage(const Port& port, const wchar_t* beforeName);

/// The required or optional read of a port: the wrapper's own pointer, not a copy. Null only with allowEmpty.
template <typename W>
boost::shared_ptr<typename W::ValueType> GetPortDataOf(const boost::shared_ptr<Port>& port, bool allowEmpty = false) {
  const auto data = port->GetData();
  if (!data) {
    if (allowEmpty) return nullptr;
    RaisePortMessage(*port, L"Data not found on port(");
  }
  const auto typed = AsDataOf<W>(data);
  if (!typed) {
    if (allowEmpty) return nullptr;
    RaisePortMessage(*port, L"No appropriate data found on port(");
  }
  if (!typed->GetDataPointer() && !allowEmpty) RaisePortMessage(*port, L"Null data found on port(");
  return typed->GetDataPointer();
}

template <typename T>
boost::shared_ptr<T> GetPortDataAs(const boost::shared_ptr<Port>& port, bool allowEmpty = false) {
  return GetPortDataOf<typename WrapperOf<T>::type>(port, allowEmpty);
}

/// The port of that name; a message on the operator where there is none.
boost::shared_ptr<Port> RequirePort(Operator& op, const std::wstring& name);

/// A required value by port name.
template <typename T>
T ReadPort(Operator& op, const std::wstring& name) {
  return *GetPortDataAs<T>(RequirePort(op, name));
}
/// An optional value by port name, or the fallback.
template <typename T>
T ReadPortOr(Operator& op, const std::wstring& name, T fallback) {
  const auto value = GetPortDataAs<T>(RequirePort(op, name), true);
  return value ? *value : std::move(fallback);
}
/// Writes a value in a new wrapper of its type, or of W.
template <typename W>
void WritePortOf(Operator& op, const std::wstring& name, typename W::ValueType value) {
  RequirePort(op, name)->SetData(MakeData<W>(std::move(value)));
}
template <typename T>
void WritePort(Operator& op, const std::wstring& name, T value) {
  WritePortOf<typename WrapperOf<T>::type>(op, name, std::move(value));
}

}  // namespace Tamrin::Tessera
