#include "kcommon/kerr.h"
#include "support.h"
#include "txlib/model.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kExceptionOccurred{
    .name = L"CatchError",
    .displayName = L"Catch Error",
    .category = L"Conditional",
    .icon = L"CatchError.ico",
    .description =
        L"Executes the contained model and determines whether execution results in an error. This occurs without "
        L"this operator, itself, failing. If execution of the contained model results in an error, then true is set "
        L"on the ErrorOccurred output port. Otherwise, false is set on the ErrorOccurred port instead.",
    .keywords = L"Test|Exception|Trap|Suppress|Intercept|Failure|Detect|Assert",
    .usableInExpression = false,
};

class ExceptionOccurred : public Described<kExceptionOccurred, Model> {
 public:
  void DeclarePorts() override { CreatePort(L"ErrorOccurred", BoolData::DefaultTypeName(), PortType::Output); }

  // What fails in here is no failure of the model around.
  void CallMessageCallbacks(const boost::shared_ptr<Operator>& source, const PortPtr& port, const std::wstring& text,
                            const std::wstring& second, Issue::Severity severity) override {
    if (severity != Issue::Error) Operator::CallMessageCallbacks(source, port, text, second, severity);
  }

 protected:
  void OnExecute() override {
    constexpr int kLine = 32;
    KerrException error(L"tx_general\\exceptionoccurred", L"korven::tx_general::ExceptionOccurred::OnExecute");
    try {
      Model::OnExecute();
    } catch (...) {
      kerr_LogCurrentException(error, kLine);
    }
    if (const auto port = GetPort(L"ErrorOccurred")) port->SetData(MakeData<BoolData>(error.IsPending()));
  }
};

TX_GENERAL_FACTORY(ExceptionOccurred)

}  // namespace korven::tx_general
