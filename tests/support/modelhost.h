#pragma once

#include <boost/pointer_cast.hpp>
#include <boost/shared_ptr.hpp>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "txlib/basicdata.h"
#include "txlib/model.h"
#include "txlib/operator.h"
#include "txlib/portaccess.h"

namespace testing_support {

namespace tessera = ::Tamrin::Tessera;
using DataPtr = boost::shared_ptr<tessera::Data>;
using OperatorPtr = boost::shared_ptr<tessera::Operator>;
using PortPtr = boost::shared_ptr<tessera::Port>;

// Values in the fewest letters.
template <typename T>
DataPtr Value(T value) {
  return tessera::MakeData<typename tessera::WrapperOf<T>::type>(std::move(value));
}
inline DataPtr Value(const wchar_t* text) { return Value(std::wstring(text)); }
inline DataPtr File(const std::wstring& name) { return tessera::MakeData<tessera::FileData>(name); }
inline DataPtr Directory(const std::wstring& name) { return tessera::MakeData<tessera::DirectoryData>(name); }
inline DataPtr List(tessera::DataList items) { return tessera::MakeData<tessera::DataListData>(std::move(items)); }

/// Builds a model in a few lines and runs it. Ports are named "operator.Port".
///   ModelHost host;
///   host.Add(L"ToString", L"text");
///   host.Set(L"text.Data", 5).Run();
///   EXPECT_EQ(host.Get<std::wstring>(L"text.String"), L"5");
class ModelHost {
 public:
  ModelHost();

  /// An operator by its plain name, with an id of its own where there are several.
  OperatorPtr Add(const std::wstring& name, const std::wstring& id = {});
  /// The same for an operator made elsewhere.
  OperatorPtr Adopt(const OperatorPtr& op, const std::wstring& id);
  ModelHost& Set(const std::wstring& port, const DataPtr& data);
  template <typename T>
  ModelHost& Set(const std::wstring& port, T value) {
    return Set(port, Value(std::move(value)));
  }
  ModelHost& Set(const std::wstring& port, const wchar_t* text) { return Set(port, Value(text)); }
  ModelHost& Connect(const std::wstring& output, const std::wstring& input);
  /// Saves the model as a document and goes on with what the document opens to.
  ModelHost& Reopen();

  /// True where the run ended well; otherwise Error() has the text.
  bool Run();
  bool Pull(const std::wstring& port, DataPtr& data);
  const std::wstring& Error() const { return error_; }

  OperatorPtr Op(const std::wstring& id) const;
  PortPtr PortOf(const std::wstring& port) const;
  /// What lies on the port, without running anything.
  DataPtr Existing(const std::wstring& port) const { return PortOf(port)->GetExistingData(); }
  template <typename T>
  T Get(const std::wstring& port) const {
    const auto value = tessera::AsDataOf<typename tessera::WrapperOf<T>::type>(Existing(port));
    if (!value) throw std::runtime_error("no such value on the port");
    return value->GetDataValue();
  }
  std::vector<std::wstring> Messages(tessera::Issue::Severity severity) const;
  const boost::shared_ptr<tessera::Model>& GetModel() const { return model_; }

 private:
  template <typename Action>
  bool Guarded(const Action& action);

  boost::shared_ptr<tessera::Model> model_;
  std::map<std::wstring, OperatorPtr> operators_;
  std::wstring error_;
};

/// Names of an operator's ports, in order.
std::vector<std::wstring> PortNames(const tessera::Operator& op);

/// A folder that goes with the object.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& Path() const { return path_; }
  std::wstring WidePath() const;
  /// A file with these bytes; folders on the way are made. Gives the full name.
  std::wstring Write(const std::string& name, const std::string& bytes) const;
  std::string Read(const std::string& name) const;

 private:
  std::string path_;
};

}  // namespace testing_support
