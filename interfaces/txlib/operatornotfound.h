#pragma once

#include <string>

#include "txlib/operator.h"

namespace Tamrin::Tessera {

/// Holds the place of an operator that no plug-in offers, so that its document can be opened, shown and saved. Its
/// ports are made by the reader of the document.
class OperatorNotFound : public Operator {
 public:
  static boost::shared_ptr<OperatorNotFound> Make();
  void DeclarePorts() override {}
  const wchar_t* GetDefaultOperatorName() const override { return L"OperatorNotFound"; }
  const wchar_t* GetDefaultDisplayName() const override { return L""; }
  const wchar_t* GetDefaultDisplayCategory() const override { return L""; }
  const wchar_t* GetDefaultIcon() const override { return L"sign_warning_toxic.ico"; }
  const wchar_t* GetDefaultColorCategory() const override { return L"Not_Found"; }

 protected:
  void OnExecute() override;
};

}  // namespace Tamrin::Tessera
