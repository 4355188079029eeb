#include <stdexcept>
#include <string>
#include <vector>

#include "korvenlog/exception.h"
#include "support.h"
#include "txlib/factories.h"
#include "txlib/model.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kErrorIfEmpty{.name = L"ErrorIfEmpty"};

/// The last step of "DictionaryInput": a dictionary, or the message that no reader gave one.
class ErrorIfEmpty : public Described<kErrorIfEmpty> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Filename", FileData::DefaultTypeName(), PortType::Input);
    Optional(CreatePort(L"DictionaryIn", DictionaryData::DefaultTypeName(), PortType::Input));
    CreatePort(L"DictionaryOut", DictionaryData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    const auto dictionary = GetPortWrapperOf<DictionaryData>(*RequirePort(*this, L"DictionaryIn"), true);
    if (!dictionary) {
      const auto file = GetPortDataOf<FileData>(RequirePort(*this, L"Filename"));
      SetErrorMessage(L"Cannot open " + *file + L" with any available raster engine.");
    }
    RequirePort(*this, L"DictionaryOut")->SetData(dictionary);
  }
};

inline constexpr OperatorSheet kDictionaryInput{
    .name = L"DictionaryInput",
    .displayName = L"Dictionary Input",
    .category = L"Dictionary",
    .description = L"Reads a supported file into a Dictionary.",
    .registeredName = L"VANTIX.DictionaryInput",
};

}  // namespace korven::tx_general

class DictionaryInput
    : public korven::tx_general::Described<korven::tx_general::kDictionaryInput, Tamrin::Tessera::Model> {
  using Operator = Tamrin::Tessera::Operator;
  using OperatorPtr = boost::shared_ptr<Operator>;
  using PortPtr = korven::tx_general::PortPtr;

 public:
  /// Builds the chain of readers. The first that gives a dictionary wins, and those behind it do not run.
  void DeclarePorts() override {
    using namespace korven::tx_general;  // NOLINT: this class stands in the global namespace
    SetProcessNamespace(L"VANTIX");
    SetProcessName(L"DictionaryInput");
    SetAllowsReflection(false);
    const auto readers = MakeReaders();
    std::vector<std::wstring> filters;
    const auto check = boost::make_shared<ErrorIfEmpty>();
    check->Initialize();
    PortPtr next = check->GetPort(L"DictionaryIn");
    for (const auto& reader : readers) {
      const auto file = PortOf(*reader, L"Filename"), dictionary = PortOf(*reader, L"Dictionary");
      if (const auto filter = file->GetAttribute(L"FileFilter")) filters.push_back(filter->ToString());
      const auto choice = OperatorFactory::Create(L"VANTIX", L"IfElse");
      AddOperator(reader);
      AddOperator(choice);
      Operator::ConnectPort(dictionary, RequirePort(*choice, L"Test"));
      Operator::ConnectPort(dictionary, RequirePort(*choice, L"True1"));
      Operator::ConnectPort(RequirePort(*choice, L"Output1"), next);
      next = RequirePort(*choice, L"False1");
      AliasPort(file, L"Filename");
    }
    AddOperator(check);
    AddTail(check);
    const auto file = AliasPort(RequirePort(*check, L"Filename"), L"Filename");
    file->SetAttribute(L"FileFilterList", MakeData<StringListData>(std::move(filters)));
    AliasPort(RequirePort(*check, L"DictionaryOut"), L"Dictionary");
  }

 private:
  static std::vector<OperatorPtr> MakeReaders() {
    using Tamrin::Tessera::OperatorFactory;
    std::vector<OperatorPtr> readers;
    for (const auto& type : OperatorFactory::GetPluginTypeInfoByPrototype(L"tessera.plugins.raster.DictionaryInput")) {
      const auto reader = OperatorFactory::Create(type->GetProperty(L"Namespace"), type->GetProperty(L"ObjectName"));
      if (reader) readers.push_back(reader);
    }
    return readers;
  }

  static PortPtr PortOf(Operator& reader, const std::wstring& name) {
    if (const auto port = reader.GetPort(name)) return port;
    KorvenLog::CPPException<std::runtime_error>(L"tx_general\\dictionaryinput", L"DictionaryInput::DeclarePorts")
        .Throw(__LINE__, reader.GetOperatorName() + L" lacks the " + name +
                             L" port required to implement the VANTIX.DictionaryInput prototype.");
  }
};

namespace korven::tx_general {

TX_GENERAL_FACTORY(DictionaryInput)

}  // namespace korven::tx_general
