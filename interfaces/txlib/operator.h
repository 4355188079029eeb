#pragma once

#include <boost/enable_shared_from_this.hpp>
#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "korvenlog/exception.h"
#include "plugin/iplugin.h"
#include "txlib/data.h"
#include "txlib/datarequest.h"
#include "txlib/issue.h"
#include "txlib/port.h"

namespace Tamrin::Tessera {

class ExecutionEnvironment;
class JsonValue;
class Model;
class Operator;

/// Raised by SetErrorMessage: knows the operator that failed. what() is the text as UTF-8.
class OperatorException : public KorvenLog::Exception, public std::runtime_error {
 public:
  OperatorException(std::wstring text, std::wstring operatorDisplayName);
  std::wstring get_What() const override { return text_; }
  const std::wstring& GetOperatorDisplayName() const { return operatorDisplayName_; }

 private:
  std::wstring text_;
  std::wstring operatorDisplayName_;
};

/// Keeps a callback registered while it lives. Dropping it waits for nothing: a callback under way ends by itself.
using CallbackHandle = boost::shared_ptr<void>;
using MessageCallback = boost::function<void(const boost::shared_ptr<Operator>&, const boost::shared_ptr<Port>&,
                                             const std::wstring& text, const std::wstring& second, Issue::Severity)>;
using InvalidateCallback = boost::function<void(const boost::shared_ptr<Operator>&)>;
/// Operator and percentage, 0 to 100.
using ProgressCallback = boost::function<void(const boost::shared_ptr<Operator>&, double)>;

struct Message {
  Issue::Severity severity;
  std::wstring text;
  std::wstring second;
};

/// Slots of a node, in order. See Operator for what each means.
class OperatorPart : public boost::enable_shared_from_this<OperatorPart> {
 public:
  virtual std::wstring ToString() const = 0;
  virtual void DeclarePorts() = 0;
  virtual const wchar_t* GetDefaultOperatorName() const = 0;
  virtual const wchar_t* GetDefaultNamespace() const = 0;
  virtual const wchar_t* GetDefaultDisplayName() const = 0;
  virtual const wchar_t* GetDefaultDisplayCategory() const = 0;
  virtual const wchar_t* GetDefaultIcon() const = 0;
  virtual const wchar_t* GetDefaultColorCategory() const = 0;
  virtual const wchar_t* GetDefaultDescription() const = 0;
  virtual const wchar_t* GetDefaultKeywords() const = 0;
  virtual bool GetDefaultIsUsableInExpression() const = 0;
  virtual std::vector<std::wstring> GetDefaultSyntax() const = 0;
  virtual bool Configure(const JsonValue& configuration) = 0;
  virtual void Configure() = 0;
  virtual void PrepareForSerialization() = 0;
  virtual void ClearMessageQueue() = 0;

 protected:
  virtual bool Apply(const boost::shared_ptr<DataRequest>& request) = 0;

 public:
  virtual void Apply(const boost::shared_ptr<Port>& port, const boost::shared_ptr<DataRequest>& request) = 0;
  virtual std::wstring GetNewPortName(const std::wstring& stem) = 0;
  virtual void ClearPorts() = 0;
  virtual void Clear() = 0;
  virtual void AddExpansionPorts() = 0;
  virtual void RemoveExpansionPorts() = 0;
  virtual long GetMeterID() const = 0;
  virtual void SetReportProgress(const bool& report) = 0;
  virtual bool ShowHelp() = 0;
  virtual bool IsActive() const = 0;
  virtual int GetInputPortNamesForXPorts(int count, std::vector<std::wstring>& names) = 0;
  virtual bool AllowsReflection() const = 0;
  virtual void CallMessageCallbacks(const boost::shared_ptr<Operator>& source, const boost::shared_ptr<Port>& port,
                                    const std::wstring& text, const std::wstring& second, Issue::Severity severity) = 0;

 protected:
  virtual void OnExecute() = 0;
  virtual void ExecuteParents() = 0;
  virtual void OnPortAdded(const boost::shared_ptr<Port>& port) = 0;

 public:
  virtual ~OperatorPart() = default;
};

/// Base of every node. Made by a factory, wrapped in a boost::shared_ptr, then initialised once.
/// Execute, the message operations and pulls may be called from any thread; an operator's OnExecute is never
/// entered twice at once. Editing (ports, connections, attributes) belongs to one thread at a time.
class Operator : public OperatorPart, public korven::plugin::IPlugin {
 public:
  Operator();
  ~Operator() override;
  Operator(const Operator&) = delete;
  Operator& operator=(const Operator&) = delete;

  std::wstring ToString() const override;  ///< display name and registered name, for logs
  const wchar_t* GetDefaultNamespace() const override { return L"VANTIX"; }
  const wchar_t* GetDefaultDisplayName() const override { return GetDefaultOperatorName(); }
  const wchar_t* GetDefaultDisplayCategory() const override { return L"General"; }
  const wchar_t* GetDefaultIcon() const override { return L"document_plain.ico"; }
  const wchar_t* GetDefaultColorCategory() const override { return L""; }
  const wchar_t* GetDefaultDescription() const override { return L""; }
  const wchar_t* GetDefaultKeywords() const override { return L""; }
  bool GetDefaultIsUsableInExpression() const override { return true; }
  std::vector<std::wstring> GetDefaultSyntax() const override { return {}; }
  bool Configure(const JsonValue&) override { return true; }
  void Configure() override {}
  void PrepareForSerialization() override {}
  void ClearMessageQueue() override;

 protected:
  bool Apply(const boost::shared_ptr<DataRequest>& request) override;

 public:
  /// Executes the operator and answers with the port's data. May run on several threads at once, for different
  /// requests.
  void Apply(const boost::shared_ptr<Port>& port, const boost::shared_ptr<DataRequest>& request) override;
  std::wstring GetNewPortName(const std::wstring& stem) override;  ///< stem and the first free number
  void ClearPorts() override;
  void Clear() override {}
  void AddExpansionPorts() override {}
  void RemoveExpansionPorts() override {}
  long GetMeterID() const override;
  void SetReportProgress(const bool& report) override;
  bool ShowHelp() override { return false; }
  bool IsActive() const override;
  int GetInputPortNamesForXPorts(int count, std::vector<std::wstring>& names) override;
  bool AllowsReflection() const override { return true; }
  void CallMessageCallbacks(const boost::shared_ptr<Operator>& source, const boost::shared_ptr<Port>& port,
                            const std::wstring& text, const std::wstring& second, Issue::Severity severity) override;

 protected:
  void OnExecute() override {}
  /// Runs the operators that feed the connected inputs and the order-only parents.
  void ExecuteParents() override;
  void OnPortAdded(const boost::shared_ptr<Port>&) override {}

 public:
  const wchar_t* Name() const override { return GetDefaultOperatorName(); }
  std::wstring Description() const override;
  std::wstring Provider() const override;
  std::wstring Version() const override;
  std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>> TypeInfo() const override;

  /// Runs DeclarePorts. Once.
  void Initialize();
  boost::shared_ptr<Operator> SharedThis() { return boost::static_pointer_cast<Operator>(shared_from_this()); }

  // Ports. Position -1 appends. A name that is taken raises std::invalid_argument.
  boost::shared_ptr<Port> CreatePort(const std::wstring& name, const ObjectName& type, PortType portType,
                                     int position = -1);
  /// Type and default by the value.
  boost::shared_ptr<Port> CreatePort(const std::wstring& name, PortType portType,
                                     const boost::shared_ptr<Data>& defaultData);
  /// Pairs of `const wchar_t*` key and `const boost::shared_ptr<Data>*` value, ended by a null key.
  boost::shared_ptr<Port> CreatePortWithAttributes(const wchar_t* name, const ObjectName& type, PortType portType, ...);
  bool RemovePort(const boost::shared_ptr<Port>& port);
  bool RemovePort(const std::wstring& name);
  boost::shared_ptr<Port> GetPort(const std::wstring& name) const;  ///< null for an unknown name
  const std::vector<boost::shared_ptr<Port>>& GetPorts() const;
  std::vector<boost::shared_ptr<Port>> GetInputPorts() const;
  std::vector<boost::shared_ptr<Port>> GetOutputPorts() const;
  int GetInputPortNames(std::vector<std::wstring>& names) const;
  int GetOutputPortNames(std::vector<std::wstring>& names) const;

  // Identity.
  std::wstring GetOperatorName() const;
  std::wstring GetOperatorNamespace() const;
  std::wstring GetDisplayName() const;
  std::wstring GetDescription() const;
  std::wstring GetDisplayCategory() const;
  std::wstring GetIcon() const;
  std::wstring GetKeywords() const;
  void SetDisplayName(const std::wstring& name);
  void SetDescription(const std::wstring& text);
  void SetDisplayCategory(const std::wstring& category);
  void SetIcon(const std::wstring& icon);
  void SetKeywords(const std::wstring& keywords);
  /// Files the operator's class under a prototype, for OperatorFactory::GetPluginTypeInfoByPrototype. To
  /// be called in the constructor.
  void SetPrototype(const std::wstring& prototype);
  std::wstring GetPrototype() const;
  void SetExpandible(bool expandible);
  bool IsExpandible() const;
  void SetUIProvider(const std::wstring& name, const std::wstring& nameSpace);

  void SetAttribute(const std::wstring& key, const boost::shared_ptr<Data>& value);
  boost::shared_ptr<Data> GetAttribute(const std::wstring& key) const;  ///< null for a missing key
  const AttributeMap& GetAttributes() const;

  // Graph.
  /// An order-only parent: runs before this operator.
  void AddParent(const boost::shared_ptr<Operator>& parent);
  boost::shared_ptr<PortConnection> ConnectParent(const boost::shared_ptr<Operator>& parent,
                                                  const std::wstring& outputName, const std::wstring& inputName);
  boost::shared_ptr<PortConnection> ConnectParent(const boost::shared_ptr<Port>& output,
                                                  const boost::shared_ptr<Port>& input);
  /// From an output to an input, which loses the connection that it had. Raises std::invalid_argument for
  /// ports of the wrong kind.
  static boost::shared_ptr<PortConnection> ConnectPort(const boost::shared_ptr<Port>& source,
                                                       const boost::shared_ptr<Port>& destination);
  static void DisconnectPort(const boost::shared_ptr<Port>& input);
  std::vector<boost::shared_ptr<Operator>> GetParents() const;
  std::vector<boost::shared_ptr<Operator>> GetParentsWithoutConnection() const;
  /// The port at the other end of a port's connection, seen through aliases, or null; and the connections
  /// passed through: those upstream of the port, those downstream.
  boost::shared_ptr<Port> GetConnectedPorts(const boost::shared_ptr<Port>& port,
                                            std::vector<boost::shared_ptr<PortConnection>>& incoming,
                                            std::vector<boost::shared_ptr<PortConnection>>& outgoing) const;
  /// Places the operator in a model without making it one of its operators. The model has to outlive that.
  void SetProcess(const boost::shared_ptr<Model>& model);
  boost::shared_ptr<Model> GetProcess() const;                     ///< the model that holds this operator, or null
  boost::shared_ptr<Model> GetMainProcess() const;                 ///< the outermost model around it, or null
  boost::shared_ptr<ExecutionEnvironment> GetEnvironment() const;  ///< of the outermost model; never null
  /// Absolute folder that relative names in the document around this operator are taken from: that of the nearest
  /// model around it that came from a file. Empty: the working folder.
  std::wstring GetDocumentFolder() const;

  // Running.
  void Execute();
  bool IsExecuted() const;
  /// False takes the outputs' data away as well.
  void SetExecuted(bool executed);
  /// From here on Execute does nothing.
  void DeactivateOperator();
  /// An input changed: takes back the executed flag and outputs, runs the callbacks, goes on downstream.
  void Invalidate();
  CallbackHandle AddOnInvalidateCallback(const InvalidateCallback& callback);

  // Messages.
  [[noreturn]] void SetErrorMessage(const std::wstring& text);
  void SetWarningMessage(const std::wstring& text);
  void SetInfoMessage(const std::wstring& text);
  std::vector<Message> GetMessages() const;
  CallbackHandle AddOnMessageCallback(const MessageCallback& callback);
  void SetProgress(double percent);
  /// The operator that gave this number as its GetMeterID, or null. Any thread.
  static boost::shared_ptr<Operator> FindByMeterID(long meter);
  CallbackHandle AddOnProgressCallback(const ProgressCallback& callback);

 private:
  friend class OperatorState;
  friend class Port;
  std::unique_ptr<class OperatorState> state_;
};

/// The sheet of an operator: one constant per class. A null text is the host's default.
struct OperatorSheet {
  const wchar_t* name = nullptr;
  const wchar_t* displayName = nullptr;
  const wchar_t* category = nullptr;
  const wchar_t* icon = nullptr;
  const wchar_t* colorCategory = nullptr;
  const wchar_t* description = nullptr;
  const wchar_t* keywords = nullptr;
  bool usableInExpression = true;
  const wchar_t* registeredName = nullptr;  ///< where it is not the plain name
  const wchar_t* syntax[4] = {};
};

/// A base whose metadata come from a sheet: class Foo : public Described<kFoo>.
template <const OperatorSheet& Sheet, typename Base = Operator>
class Described : public Base {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return Sheet.name; }
  const wchar_t* Name() const override { return Sheet.registeredName ? Sheet.registeredName : Sheet.name; }
  const wchar_t* GetDefaultDisplayName() const override { return Or(Sheet.displayName, Base::GetDefaultDisplayName()); }
  const wchar_t* GetDefaultDisplayCategory() const override {
    return Or(Sheet.category, Base::GetDefaultDisplayCategory());
  }
  const wchar_t* GetDefaultIcon() const override { return Or(Sheet.icon, Base::GetDefaultIcon()); }
  const wchar_t* GetDefaultColorCategory() const override {
    return Or(Sheet.colorCategory, Base::GetDefaultColorCategory());
  }
  const wchar_t* GetDefaultDescription() const override { return Or(Sheet.description, Base::GetDefaultDescription()); }
  const wchar_t* GetDefaultKeywords() const override { return Or(Sheet.keywords, Base::GetDefaultKeywords()); }
  bool GetDefaultIsUsableInExpression() const override { return Sheet.usableInExpression; }
  std::vector<std::wstring> GetDefaultSyntax() const override {
    std::vector<std::wstring> lines;
    for (const wchar_t* line : Sheet.syntax) {
      if (line) lines.emplace_back(line);
    }
    return lines.empty() ? Base::GetDefaultSyntax() : lines;
  }

 private:
  static const wchar_t* Or(const wchar_t* text, const wchar_t* otherwise) { return text ? text : otherwise; }
};

}  // namespace Tamrin::Tessera
