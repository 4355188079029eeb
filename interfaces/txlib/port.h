#pragma once

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "txlib/data.h"
#include "txlib/datarequest.h"

namespace Tamrin::Tessera {

class Operator;
class Model;

enum class PortType { Input = 0, Output = 1, Setting = 2 };

/// The link between an output port and an input port. Held by both ends; callers only keep or drop it.
class PortConnection {
 public:
  boost::shared_ptr<class Port> GetSource() const;
  boost::shared_ptr<class Port> GetDestination() const;
  virtual ~PortConnection() = default;

 protected:
  PortConnection() = default;
};

using AttributeMap = std::map<std::wstring, boost::shared_ptr<Data>>;

/// A named input, output or setting of one operator. Made by the operator's CreatePort; dies with it.
/// GetData and SetData with a request may run on many threads at once; all else belongs to the thread that
/// runs or edits the model.
class Port : public boost::enable_shared_from_this<Port> {
 public:
  enum EmptyDataBehavior { DisallowEmptyData = 0, AllowEmptyData = 1 };

  const std::wstring& GetName() const;
  /// The name where nothing else was said.
  const std::wstring& GetDisplayName() const;
  void SetDisplayName(const std::wstring& name);
  PortType GetPortType() const;
  bool IsInput() const { return GetPortType() == PortType::Input; }
  bool IsOutput() const { return GetPortType() == PortType::Output; }
  bool IsOptional() const;
  void SetIsOptional(bool optional);
  bool IsHidden() const;
  void SetIsHidden(bool hidden);

  /// On a connected input: the connected output's data, after its operator has run. On an aliased inner input:
  /// that of the model's port. On an output: its data, after its operator has run. Otherwise the own data, the
  /// default, or null.
  boost::shared_ptr<Data> GetData();
  /// The pull path: the answer of the operator that produces the data, for this request alone.
  boost::shared_ptr<Data> GetData(const boost::shared_ptr<DataRequest>& request);
  /// What is there, without running anything.
  boost::shared_ptr<Data> GetExistingData();
  /// Null takes the data away; a default then shows again. On an input or setting the operator is invalidated.
  void SetData(const boost::shared_ptr<Data>& data);
  void SetData(const boost::shared_ptr<Data>& data, const boost::shared_ptr<DataRequest>& request);
  /// By FromString of the first supported type; false where the text is no such value.
  bool SetDataFromString(const std::wstring& text);
  void SetDefaultData(const boost::shared_ptr<Data>& data);  ///< null also hides what stands further in
  boost::shared_ptr<Data> GetDefaultData() const;
  /// The data set on this very port, without default, alias or connection.
  boost::shared_ptr<Data> GetOwnData() const;

  void AddSupportedType(const ObjectName& type);
  void AddExtraSupportedType(const ObjectName& type);
  void AddExcludedType(const ObjectName& type);
  void SetSupportedTypes(const std::vector<ObjectName>& types);
  const std::vector<ObjectName>& GetSupportedDataTypes() const;
  const std::vector<ObjectName>& GetExtraSupportedDataTypes() const;
  const std::vector<ObjectName>& GetExcludedDataTypes() const;
  /// True where a value of the type may be set as it is; the default data type takes all.
  bool SupportsType(const ObjectName& type) const;

  void SetAttribute(const std::wstring& key, const boost::shared_ptr<Data>& value);
  boost::shared_ptr<Data> GetAttribute(const std::wstring& key) const;
  const AttributeMap& GetAttributeMap() const;
  boost::shared_ptr<Data> GetDataTypeAttribute(const ObjectName& type, const std::wstring& key) const;
  void SetDataTypeAttribute(const ObjectName& type, const std::wstring& key, const boost::shared_ptr<Data>& value);
  void SetUIProvider(const std::wstring& name, const std::wstring& nameSpace);

  /// The owning operator, or null when it is gone.
  boost::shared_ptr<Operator> TryGetOperator() const;
  /// The model's port that aliases this one, or null.
  boost::shared_ptr<Port> GetParentPort() const;
  /// True where a model's port aliases this one.
  bool IsAliasedPort() const { return GetParentPort() != nullptr; }
  /// True where this port of a model leads to that inner port, through any depth.
  bool AliasesInnerPort(const boost::shared_ptr<Port>& inner) const;
  /// The inner ports that this port of a model leads to directly.
  std::vector<boost::shared_ptr<Port>> GetInnerAliasedPorts() const;
  /// The connection that ends in this input, or null.
  boost::shared_ptr<PortConnection> GetIncomingConnection() const;
  std::vector<boost::shared_ptr<PortConnection>> GetOutgoingConnections() const;

  virtual ~Port();
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;

 protected:
  Port() = default;

 private:
  friend class PortState;
};

}  // namespace Tamrin::Tessera
