#pragma once

#include <boost/pointer_cast.hpp>
#include <boost/shared_ptr.hpp>
#include <string_view>
#include <typeinfo>
#include <utility>

#include "txlib/basicdata.h"
#include "txlib/operator.h"
#include "txlib/port.h"

namespace Tamrin::Tessera {

/// The value as a W: itself where it is one, converted otherwise; null where that can't be.
template <typename W>
boost::shared_ptr<W> AsDataOf(boost::shared_ptr<Data> data) {
  if (!data) return nullptr;
  // The exact class is by far the most frequent, and told apart without a walk over the bases.
  const Data& value = *data;
  if (typeid(value) == typeid(W)) return boost::static_pointer_cast<W>(std::move(data));
  if (auto same = boost::dynamic_pointer_cast<W>(data)) return same;
  return boost::dynamic_pointer_cast<W>(data->ConvertTo(W::DefaultTypeName()));
}

/// Raises on the port's operator: "Data not found on port(NAME)." and the like.
[[noreturn]] void RaisePortMessage(const Port& port, const wchar_t* beforeName);

/// The required or optional read of a port as a wrapper that has a value. Null only with allowEmpty.
template <typename W>
boost::shared_ptr<W> GetPortWrapperOf(Port& port, bool allowEmpty = false) {
  auto data = port.GetData();
  if (!data) {
    if (allowEmpty) return nullptr;
    RaisePortMessage(port, L"Data not found on port(");
  }
  auto typed = AsDataOf<W>(std::move(data));
  if (!typed) {
    if (allowEmpty) return nullptr;
    RaisePortMessage(port, L"No appropriate data found on port(");
  }
  if (!typed->GetDataPointer()) {
    if (allowEmpty) return nullptr;
    RaisePortMessage(port, L"Null data found on port(");
  }
  return typed;
}

/// The same as the wrapper's own pointer, not a copy.
template <typename W>
boost::shared_ptr<typename W::ValueType> GetPortDataOf(const boost::shared_ptr<Port>& port, bool allowEmpty = false) {
  const auto typed = GetPortWrapperOf<W>(*port, allowEmpty);
  return typed ? typed->GetDataPointer() : nullptr;
}

template <typename T>
boost::shared_ptr<T> GetPortDataAs(const boost::shared_ptr<Port>& port, bool allowEmpty = false) {
  return GetPortDataOf<typename WrapperOf<T>::type>(port, allowEmpty);
}

/// The port of that name; a message on the operator where there is none. The reference is valid until the
/// operator's ports are edited.
const boost::shared_ptr<Port>& RequirePort(Operator& op, std::wstring_view name);

/// A required value by port name.
template <typename T>
T ReadPort(Operator& op, std::wstring_view name) {
  return *GetPortWrapperOf<typename WrapperOf<T>::type>(*RequirePort(op, name))->GetDataPointer();
}
/// An optional value by port name, or the fallback.
template <typename T>
T ReadPortOr(Operator& op, std::wstring_view name, T fallback) {
  const auto typed = GetPortWrapperOf<typename WrapperOf<T>::type>(*RequirePort(op, name), true);
  return typed ? *typed->GetDataPointer() : std::move(fallback);
}
/// Writes a value in a new wrapper of its type, or of W.
template <typename W>
void WritePortOf(Operator& op, std::wstring_view name, typename W::ValueType value) {
  RequirePort(op, name)->SetData(MakeData<W>(std::move(value)));
}
template <typename T>
void WritePort(Operator& op, std::wstring_view name, T value) {
  WritePortOf<typename WrapperOf<T>::type>(op, name, std::move(value));
}

}  // namespace Tamrin::Tessera
