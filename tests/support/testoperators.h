#pragma once

#include <atomic>
#include <boost/make_shared.hpp>
#include <string>
#include <utility>

#include "txlib/basicdata.h"
#include "txlib/model.h"
#include "txlib/operator.h"
#include "txlib/portaccess.h"

namespace testsupport {

namespace tx = Tamrin::Tessera;

/// "In" (Double, optional) plus one on "Out"; counts its runs.
class AddOne : public tx::Operator {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"AddOne"; }
  void DeclarePorts() override {
    CreatePort(L"In", tx::DoubleData::DefaultTypeName(), tx::PortType::Input)->SetIsOptional(true);
    CreatePort(L"Out", tx::DoubleData::DefaultTypeName(), tx::PortType::Output);
  }
  void OnExecute() override {
    ++runs;
    tx::WritePort<double>(*this, L"Out", tx::ReadPortOr<double>(*this, L"In", 0) + 1);
  }
  std::atomic<int> runs{0};
};

/// The same, answering each pull by itself.
class PullAddOne : public AddOne {
 public:
  void Apply(const boost::shared_ptr<tx::Port>& port, const boost::shared_ptr<tx::DataRequest>& request) override {
    ++pulls;
    const auto in = tx::AsDataOf<tx::DoubleData>(GetPort(L"In")->GetData(request));
    port->SetData(tx::MakeData<tx::DoubleData>((in ? in->GetDataValue() : 0.0) + 1), request);
  }
  std::atomic<int> pulls{0};
};

/// Raises what it is made with when it runs.
class Failing : public AddOne {
 public:
  const wchar_t* GetDefaultDisplayName() const override { return L"Failing operator"; }
  void OnExecute() override {
    if (!raise) return AddOne::OnExecute();
    ++runs;
    raise(*this);
  }
  boost::function<void(Failing&)> raise;
};

template <typename T>
boost::shared_ptr<T> MakeOperator() {
  const auto op = boost::make_shared<T>();
  op->Initialize();
  return op;
}

template <typename T>
boost::shared_ptr<T> AddTo(tx::Model& model) {
  const auto op = MakeOperator<T>();
  model.AddOperator(op);
  return op;
}

inline double Number(const boost::shared_ptr<tx::Port>& port) {
  const auto data = tx::AsDataOf<tx::DoubleData>(port->GetData());
  return data ? data->GetDataValue() : -1;
}

inline boost::shared_ptr<tx::Data> NumberData(double value) { return tx::MakeData<tx::DoubleData>(value); }

}  // namespace testsupport
