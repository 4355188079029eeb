#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "documentfaults.h"
#include "documentlinks.h"
#include "documentmemory.h"
#include "documentsteps.h"
#include "nesting.h"
#include "operatormaker.h"
#include "txlib/document.h"
#include "txlib/model.h"

namespace Tamrin::Tessera {

constexpr const char* kPlainFormat = "TesseraModelFormat";
constexpr int kPlainVersion = 1;
/// More sets of ports than any person asks for: a slip of the pen must not fill the memory.
constexpr int kMaxExpansions = 20000;

/// Keys of the objects of a document, in the order in which they are written.
namespace DocumentKeys {
enum ModelKey {
  Format,
  Version,
  OperatorOf,
  Name,
  Namespace,
  DisplayName,
  DisplayCategory,
  Icon,
  Description,
  Keywords,
  Ports,
  Operators,
  Connections,
  Order,
  Tails,
  Attributes,
  ModelCount
};
inline constexpr std::string_view kModel[] = {
    "format",      "version",  "operator", "name",      "namespace",   "displayName", "displayCategory", "icon",
    "description", "keywords", "ports",    "operators", "connections", "order",       "tails",           "attributes"};
enum ModelPortKey { PortName, PortAlias, PortValue, PortDisplayName, PortOptional, PortHidden, ModelPortCount };
inline constexpr std::string_view kModelPort[] = {"name", "alias", "value", "displayName", "optional", "hidden"};
enum NodeKey { Id, NodeOperator, NodeDisplayName, Expansions, Values, NodeAttributes, NodePorts, NodeModel, NodeCount };
inline constexpr std::string_view kNode[] = {"id",     "operator",   "displayName", "expansions",
                                             "values", "attributes", "ports",       "model"};
enum OverrideKey {
  OverrideName,
  OverrideKind,
  OverrideType,
  OverrideDisplayName,
  OverrideOptional,
  OverrideHidden,
  OverrideRemoved,
  OverrideCount
};
inline constexpr std::string_view kOverride[] = {"name",     "kind",   "type",   "displayName",
                                                 "optional", "hidden", "removed"};
enum ConnectionKey { From, To, ConnectionCount };
inline constexpr std::string_view kConnection[] = {"from", "to"};
enum OrderKey { Before, After, OrderCount };
inline constexpr std::string_view kOrder[] = {"before", "after"};
}  // namespace DocumentKeys

/// What the readers of one document share.
struct DocumentReading {
  DocumentFaults faults;
  bool unknownOperatorIsError = false;
  unsigned depth = 0;
  DocumentCopy made;
  boost::shared_ptr<DocumentSteps> steps;  ///< null where nobody will repeat them

  /// Whatever the reader does to the model goes through here.
  template <typename Step>
  void Do(Step step) {
    step(made);
    if (steps) steps->Add(std::move(step));
  }
  /// Values of the known keys, of the same index; warns of the others. False, and a fault, where it is no object.
  bool Collect(const JsonValue& json, const DocumentPlace& place, std::span<const std::string_view> keys,
               const JsonValue** found);
  template <typename Edit>
  void EditPort(std::size_t op, const std::wstring& name, Edit edit) {
    Do([op, name, edit](const DocumentCopy& copy) { edit(*copy.PortOf(op, name)); });
  }
  void WrongType(const JsonValue& json, const DocumentPlace& place, const wchar_t* expected);
  bool IsText(const JsonValue& json, const DocumentPlace& place);
  bool IsArray(const JsonValue& json, const DocumentPlace& place);
  bool IsObject(const JsonValue& json, const DocumentPlace& place);
  bool IsTruth(const JsonValue& json, const DocumentPlace& place);
  /// Runs what calls into an operator; what it raises becomes a fault of the document.
  template <typename Call>
  void Guard(const DocumentPlace& place, const Call& call) {
    try {
      call();
    } catch (...) {
      NoteException(place);
    }
  }
  void NoteException(const DocumentPlace& place);
  /// How to make such an operator; empty for an unknown name, which is told.
  OperatorMaker FindMaker(std::string_view dottedName, const DocumentPlace& place);
  /// What FindMaker told of an unknown name, with the nearest known one; empty for other names.
  std::wstring GetUnknownText(std::string_view dottedName) const;

 private:
  struct TypeName {
    std::wstring nameSpace, name;
    OperatorMaker maker;
    std::wstring unknown;  ///< the message of a name that is not known
  };
  std::unordered_map<std::string_view, TypeName> types_;
};

/// Sets a document's value on a port. `applied` becomes what the port holds now.
void ReadPortValue(DocumentReading& reading, std::size_t op, Port& port, const JsonValue& json,
                   const DocumentPlace& place, boost::shared_ptr<Data>& applied);
void ReadAttributes(DocumentReading& reading, std::size_t op, const JsonValue& json, const DocumentPlace& place,
                    std::vector<boost::shared_ptr<Data>>& applied);

/// An operator of a model that is being read.
struct DocumentNode {
  std::string_view id;
  boost::shared_ptr<Operator> op;  ///< null where the document's entry is too faulty to make one
  std::size_t index = 0;           ///< of the operator among all that the reading has made
  DocumentMemory* memory = nullptr;

  /// The port, made by expansion where it has to be; null, and a fault, for an unknown one.
  boost::shared_ptr<Port> FindPort(DocumentReading& reading, std::string_view name, const DocumentPlace& place,
                                   PortType kindIfMissing) const;
};

/// Reads one entry of "operators".
void ReadDocumentNode(DocumentReading& reading, const JsonValue& json, const DocumentPlace& place, DocumentNode& node);

/// Reads a model object into a model.
class DocumentModelReader {
 public:
  /// `index` is that of the model among the operators that the reading has made.
  DocumentModelReader(DocumentReading& reading, std::size_t index, const JsonValue& json, const DocumentPlace& place,
                      bool outermost)
      : reading_(reading),
        index_(index),
        model_(boost::static_pointer_cast<Model>(reading.made.Op(index))),
        json_(json),
        place_(place),
        outermost_(outermost) {}
  void Read();

 private:
  void ReadIdentity();
  void ReadOperators();
  void ReadConnections();
  void ReadConnection(const JsonValue& json, const DocumentPlace& place, std::size_t position);
  void ReadOrder();
  void ReadTails();
  void CheckCycles();
  void ReadPorts();
  void ReadModelPort(const JsonValue& json, const DocumentPlace& place, boost::shared_ptr<Data>& applied);
  boost::shared_ptr<Port> MakeAliases(const std::wstring& name, const JsonValue& alias, const DocumentPlace& place);
  bool MakeAlias(const std::wstring& name, const JsonValue& alias, const DocumentPlace& place,
                 boost::shared_ptr<Port>& made);
  /// Index of the operator, or none and a fault.
  std::size_t FindNode(const JsonValue& id, const DocumentPlace& place);
  std::size_t FindNodeById(std::string_view id, const DocumentPlace& place);
  /// Of the operators that share an id, the one that has the port, else the first.
  std::size_t ChooseNamesake(std::size_t first, std::string_view id, std::string_view port) const;
  /// The port that "ID.PORT" names.
  boost::shared_ptr<Port> FindEnd(const JsonValue& json, const DocumentPlace& place, PortType kind, std::size_t& node);
  void SetText(DocumentKeys::ModelKey key, void (Operator::*set)(const std::wstring&));

  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  DocumentReading& reading_;
  const std::size_t index_;
  const boost::shared_ptr<Model> model_;
  const JsonValue& json_;
  const DocumentPlace& place_;
  const bool outermost_;
  const JsonValue* keys_[DocumentKeys::ModelCount] = {};
  DocumentMemory* memory_ = nullptr;
  std::vector<DocumentNode> nodes_;
  std::unordered_map<std::string_view, std::size_t> byId_;
  std::unordered_map<std::string_view, std::vector<std::size_t>> namesakes_;  ///< those behind the first of their id
  std::vector<std::pair<std::size_t, std::size_t>> edges_;
  std::unordered_map<const Port*, std::size_t> connected_;
  std::unordered_map<std::wstring, std::size_t> portNames_;
  static constexpr int kMostHints = 50;
  int hints_ = 0;  ///< nearest names looked up for unknown ids
};

/// The members of one cycle each, in their order along it, as indexes of nodes.
std::vector<std::vector<std::size_t>> FindCycles(std::size_t nodes,
                                                 const std::vector<std::pair<std::size_t, std::size_t>>& edges);

}  // namespace Tamrin::Tessera
