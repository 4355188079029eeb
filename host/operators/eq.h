#pragma once

#include <boost/shared_ptr.hpp>

#include "txlib/operator.h"

namespace Tamrin::TesseraBasic {

namespace tessera = ::Tamrin::Tessera;

/// Numbers (booleans and scalars among them) by value across their types, with
/// not-a-number equal to nothing; texts exactly, whatever kind of text they
/// are; colours and ranges by members; tables, matrices, stacks and lists item
/// by item; all else by type and JSON form. Two null pointers are equal.
bool AreDataEqual(const boost::shared_ptr<tessera::Data>& first, const boost::shared_ptr<tessera::Data>& second);

inline constexpr tessera::OperatorSheet kEq{
    .name = L"Eq",
    .displayName = L"Equal",
    .category = L"Relational",
    .description =
        L"Tells whether two values are equal. Numbers are compared "
        L"by value, whatever their type.",
    .keywords = L"Compare|Same",
};

class Eq : public tessera::Described<kEq> {
 public:
  void DeclarePorts() override;

 protected:
  void OnExecute() override;
};

}  // namespace Tamrin::TesseraBasic
