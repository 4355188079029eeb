#pragma once

#include <boost/shared_ptr.hpp>

#include "txlib/operator.h"

namespace Tamrin::TesseraBasic {

namespace tessera = ::Tamrin::Tessera;

/// The truth of a "Test" port: it holds data, and as an integer, as a double and as a boolean the data is not
/// zero. What can't be had as one of the three counts as true there, so a text is true and an empty port false.
bool IsTestTrue(const boost::shared_ptr<tessera::Port>& port);

/// "If": its input goes to the output "True" or "False", by the truth of "Test"; the other output has no data.
class IfProcess : public tessera::Operator {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"If"; }
  void DeclarePorts() override;

 protected:
  void OnExecute() override;
};

}  // namespace Tamrin::TesseraBasic
