#pragma once

#include "support.h"
#include "txlib/conversion.h"

/// Declares a conversion that is registered under its class's name; Convert is defined behind it.
#define TX_GENERAL_CONVERSION(Class, From, To) TX_GENERAL_NAMED_CONVERSION(Class, L## #Class, L"VANTIX", From, To)

/// The same with a registered name and a source namespace of its own.
#define TX_GENERAL_NAMED_CONVERSION(Class, registeredName, FromSpace, From, To)                                    \
  class Class final : public ::Tamrin::Tessera::Conversion {                                                       \
   public:                                                                                                         \
    const wchar_t* Name() const override { return registeredName; }                                                \
    const wchar_t* FromType() const override { return From; }                                                      \
    const wchar_t* FromNamespace() const override { return FromSpace; }                                            \
    const wchar_t* ToType() const override { return To; }                                                          \
    const wchar_t* ToNamespace() const override { return L"VANTIX"; }                                              \
    boost::shared_ptr<::Tamrin::Tessera::Data> Convert(boost::shared_ptr<::Tamrin::Tessera::Data>) const override; \
  };                                                                                                               \
  namespace korven::tx_general {                                                                                   \
  TX_GENERAL_FACTORY(Class)                                                                                        \
  }

namespace korven::tx_general {

/// The source's value; raises where the wrapper has none. A source of another class is the caller's mistake.
template <typename W>
const typename W::ValueType& ValueOf(const DataPtr& source) {
  return dynamic_cast<const W&>(*source).GetDataValue();
}

/// A W that reads the source's text, or null where it can't.
template <typename W>
DataPtr FromTextOf(const DataPtr& source) {
  const auto result = boost::make_shared<W>();
  result->Initialize();
  return result->FromString(source->ToString()) ? DataPtr(result) : DataPtr();
}

}  // namespace korven::tx_general
