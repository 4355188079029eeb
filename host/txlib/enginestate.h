#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "txlib/model.h"
#include "txlib/operator.h"
#include "txlib/port.h"

namespace Tamrin::Tessera {

class PortState;

class PortConnectionState : public PortConnection {
 public:
  PortState* source = nullptr;  ///< null once the port is gone
  PortState* destination = nullptr;
};

/// A port with its state; every Port is one.
class PortState : public Port {
 public:
  struct Answer {
    const DataRequest* request;
    std::thread::id thread;
    boost::shared_ptr<Data> data;
  };
  /// Rarely set; most ports have none of it.
  struct Extras {
    std::vector<ObjectName> extraTypes;
    std::vector<ObjectName> excludedTypes;
    AttributeMap attributes;
    std::map<std::pair<ObjectName, std::wstring>, boost::shared_ptr<Data>> typeAttributes;
    ObjectName uiProvider;
  };

  PortState(Operator* owner, std::wstring name, PortType type);
  ~PortState() override;

  static PortState& Of(Port& port) { return static_cast<PortState&>(port); }
  static const PortState& Of(const Port& port) { return static_cast<const PortState&>(port); }
  Extras& GetExtras();
  /// The port whose connection or value this input or setting takes: itself, or the outermost model port above.
  PortState* SourceEnd();
  /// The output that feeds this input through aliases, or null.
  PortState* Feeder();
  boost::shared_ptr<Data> OwnOrDefault() const;
  /// Data as seen along aliases, once everything that feeds it has run.
  boost::shared_ptr<Data> ValueAlongAliases() const;
  boost::shared_ptr<Data> OutputData() const;
  void AnswerTo(const DataRequest& request, const boost::shared_ptr<Data>& answer);
  boost::shared_ptr<Data> TakeAnswer(const DataRequest& request);
  /// Cuts connections and aliases.
  void Detach();
  bool IsConnected() const { return incoming != nullptr; }

  Operator* owner;
  std::wstring name;
  std::wstring displayName;
  PortType type;
  bool optional = false;
  bool hidden = false;
  std::vector<ObjectName> types;
  boost::shared_ptr<Data> data;
  boost::shared_ptr<Data> defaultData;
  boost::shared_ptr<PortConnectionState> incoming;
  std::vector<boost::shared_ptr<PortConnectionState>> outgoing;
  PortState* parentPort = nullptr;
  std::vector<PortState*> innerPorts;
  std::vector<Answer> answers;  ///< guarded by a lock of the port's stripe
  std::unique_ptr<Extras> extras;
};

/// Callbacks that live as long as their handles. Guarded by its own lock; called outside of it.
template <typename Callback>
class CallbackList {
 public:
  CallbackHandle Add(const Callback& callback) {
    const auto entry = boost::make_shared<Callback>(callback);
    const std::lock_guard lock(mutex_);
    entries_.emplace_back(entry);
    return entry;
  }
  template <typename... Arguments>
  void Call(const Arguments&... arguments) {
    std::vector<boost::shared_ptr<Callback>> live;
    {
      const std::lock_guard lock(mutex_);
      std::erase_if(entries_, [](const auto& entry) { return entry.expired(); });
      for (const auto& entry : entries_) live.push_back(entry.lock());
    }
    for (const auto& callback : live) {
      if (callback) (*callback)(arguments...);
    }
  }

 private:
  std::mutex mutex_;
  std::vector<boost::weak_ptr<Callback>> entries_;
};

class OperatorState {
 public:
  /// What a document or caller said in place of the class's own texts.
  struct Identity {
    std::optional<std::wstring> displayName, description, category, icon, keywords;
    ObjectName uiProvider;
  };
  struct Watchers {
    CallbackList<InvalidateCallback> invalidate;
    CallbackList<MessageCallback> message;
    CallbackList<ProgressCallback> progress;
    std::mutex messagesMutex;
    std::vector<Message> messages;
  };

  explicit OperatorState(Operator* op) : self(op) {}
  static OperatorState& Of(const Operator& op) { return *op.state_; }

  Identity& GetIdentity();
  Watchers& GetWatchers();
  PortState* FindPort(const std::wstring& name) const;
  void AddPort(const boost::shared_ptr<PortState>& port, int position);
  bool RemovePort(const Port* port);

  /// Runs the operator and what it depends on, without recursion over the graph.
  static void Run(Operator& top);
  /// Takes the operator for this thread, waiting for another's run to end. False where this thread has it.
  bool Acquire();
  void Release();
  bool IsRunningHere() const;
  void ClearOutputs();
  static void InvalidateFrom(std::vector<Operator*> changed);
  static void InvalidateFrom(PortState& changedInput);
  static void Observe(Operator& op, bool finished);

  Operator* self;
  std::vector<boost::shared_ptr<Port>> ports;
  std::unordered_map<std::wstring, PortState*> portsByName;  ///< only of operators with many ports
  std::unique_ptr<Identity> identity;
  std::atomic<Watchers*> watchers{nullptr};
  AttributeMap attributes;
  std::vector<boost::weak_ptr<Operator>> orderParents;
  Model* process = nullptr;
  std::wstring prototype;
  boost::shared_ptr<void> documentSlot;
  std::atomic<bool> executed{false};
  std::atomic<bool> deactivated{false};
  std::atomic<bool> reportsProgress{true};
  bool expandible = false;
  bool initialized = false;
  bool inParents = false;  ///< its parents are being run; written by the thread that has the operator
  std::atomic<std::uintptr_t> runner{0};

  ~OperatorState();

 private:
  class Driver;
  friend class Operator;
  static thread_local std::vector<Operator*>* collector_;
};

class ModelState {
 public:
  ~ModelState();
  static ModelState& Of(const Model& model) { return *model.modelState_; }
  std::vector<boost::shared_ptr<Operator>> operators;
  std::vector<boost::shared_ptr<Operator>> tails;
  boost::shared_ptr<ExecutionEnvironment> environment;
  std::mutex temporaryMutex;
  std::wstring temporaryDirectory;
  std::vector<std::wstring> temporaryFiles;
  unsigned nextTemporary = 0;
  bool openable = true;
  bool allowsReflection = true;
  std::vector<boost::weak_ptr<const std::wstring>> alternateModes;  ///< their codes, the newest last
  std::wstring processName;
  std::wstring processNamespace;
  CallbackHandle temporaryFolderHandle;
};

/// Room for what the document format remembers of an operator; dies with it.
boost::shared_ptr<void>& DocumentSlot(Operator& op);

/// Folders that go with their holders, and at a crash with the next start that makes one.
class TemporaryFolder {
 public:
  /// Makes a folder of this process's; the handle removes it. Raises std::runtime_error.
  static CallbackHandle Create(std::wstring& name);
  static void RemoveAll();
};

}  // namespace Tamrin::Tessera
