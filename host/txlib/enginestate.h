#pragma once

#include <atomic>
#include <boost/container/small_vector.hpp>
#include <boost/intrusive/list.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "txlib/model.h"
#include "txlib/operator.h"
#include "txlib/port.h"

/// For the few words per thread that every run of an operator touches: reached without a call. Every program that
/// loads the library late has room for them.
#define TESSERA_FAST_TLS [[gnu::tls_model("initial-exec")]]

namespace Tamrin::Tessera {

class PortState;

/// What the ports of all operators of a class mostly say alike. Shared between them once it is so, and then never
/// changed.
struct PortFacts {
  std::wstring name;
  std::wstring displayName;
  std::vector<ObjectName> types;
  std::vector<ObjectName> extraTypes;
  std::vector<ObjectName> excludedTypes;
  AttributeMap attributes;
  std::map<std::pair<ObjectName, std::wstring>, boost::shared_ptr<Data>> typeAttributes;
  ObjectName uiProvider;
  boost::shared_ptr<Data> defaultData;

  /// True of a port of one type of which nothing else was said.
  bool IsPlain() const;
  /// True where everything is equal, values of attributes by type and text.
  bool SaysTheSame(const PortFacts& other) const;
  /// Adds what an inner port says of types and attributes; what is here already stands above it.
  void AddFrom(const PortFacts& inner);
};
using SharedFacts = boost::shared_ptr<const PortFacts>;

/// Kept alive by its input; its output has it in a list.
class PortConnectionState
    : public PortConnection,
      public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::normal_link>> {
 public:
  static constexpr std::int32_t kNotInDocument = -1;
  std::int32_t documentIndex = kNotInDocument;  ///< among the connections of its model in the document
  PortState* source = nullptr;                  ///< null once the port is gone
  PortState* destination = nullptr;
};

/// A port with its state; every Port is one.
class PortState : public Port {
 public:
  /// Shares the facts where they are shared ones, otherwise has its own.
  PortState(Operator* owner, const std::wstring& name, const ObjectName& dataType, PortType type, SharedFacts shared);
  ~PortState() override;

  static PortState& Of(Port& port) { return static_cast<PortState&>(port); }
  static const PortState& Of(const Port& port) { return static_cast<const PortState&>(port); }
  const PortFacts& Facts() const { return *facts_; }
  /// The port's own facts, to be changed.
  PortFacts& OwnFacts();
  bool HasOwnFacts() const { return ownsFacts_; }
  /// Takes shared facts that say the same in place of own ones.
  void TakeFacts(SharedFacts shared);
  /// From here on the facts are shared ones.
  const SharedFacts& ShareFacts();
  /// The port whose connection or value this input or setting takes: itself, or the outermost model port above.
  PortState* SourceEnd();
  /// The output that feeds this input through aliases, or null.
  PortState* Feeder();
  const boost::shared_ptr<Data>& OwnOrDefault() const { return data ? data : Facts().defaultData; }
  /// Data as seen along aliases, once everything that feeds it has run.
  boost::shared_ptr<Data> ValueAlongAliases() const;
  /// What a port of a model shows where nothing is set on it or further out: the value or default of the first port
  /// further in that has one.
  boost::shared_ptr<Data> ValueFurtherIn() const;
  const boost::shared_ptr<Data>& OutputData() const;
  void AnswerTo(const DataRequest& request, const boost::shared_ptr<Data>& answer);
  /// Takes a connection out of `outgoing`.
  void Forget(PortConnectionState& connection);
  /// The inner ports that this port of a model leads to.
  std::span<PortState* const> Inner() const {
    return inner_ ? std::span<PortState* const>(*inner_) : std::span<PortState* const>();
  }
  void AddInner(PortState& inner);
  void RemoveInner(PortState& inner);
  /// Cuts connections and aliases.
  void Detach();

  Operator* owner;
  const PortType type;
  bool optional = false;
  bool hidden = false;
  bool emptied = false;  ///< said to have no default: then nothing further in shows either

 private:
  bool ownsFacts_ = false;

 public:
  boost::shared_ptr<Data> data;
  boost::shared_ptr<PortConnectionState> incoming;
  PortState* parentPort = nullptr;
  boost::intrusive::list<PortConnectionState, boost::intrusive::constant_time_size<false>> outgoing;

 private:
  std::unique_ptr<std::vector<PortState*>> inner_;  ///< few ports have any
  SharedFacts facts_;
};

/// Callbacks that live as long as their handles. Guarded by a lock of their operator's; called outside of it.
template <typename Callback>
class CallbackList {
 public:
  CallbackHandle Add(std::mutex& mutex, const Callback& callback) {
    // Not in one block with its counts, which stay as long as the entry does: the callback goes with its handle.
    const boost::shared_ptr<Callback> entry(new Callback(callback));
    const std::lock_guard lock(mutex);
    entries_.emplace_back(entry);
    return entry;
  }
  template <typename... Arguments>
  void Call(std::mutex& mutex, const Arguments&... arguments) {
    std::vector<boost::shared_ptr<Callback>> live;
    {
      const std::lock_guard lock(mutex);
      std::erase_if(entries_, [](const auto& entry) { return entry.expired(); });
      for (const auto& entry : entries_) live.push_back(entry.lock());
    }
    for (const auto& callback : live) {
      if (callback) (*callback)(arguments...);
    }
  }

 private:
  std::vector<boost::weak_ptr<Callback>> entries_;
};

class OperatorState {
 public:
  /// What a document or caller said in place of the class's own texts.
  struct Identity {
    std::optional<std::wstring> displayName, description, category, icon, keywords;
    std::wstring prototype;
    ObjectName uiProvider;
    friend bool operator==(const Identity&, const Identity&) = default;
  };
  using PortIndex = std::unordered_map<std::wstring_view, boost::shared_ptr<Port>>;
  struct Watchers {
    std::mutex mutex;
    CallbackList<InvalidateCallback> invalidate;
    CallbackList<MessageCallback> message;
    CallbackList<ProgressCallback> progress;
    std::vector<Message> messages;
    long meter = 0;  ///< 0 until it is asked for
  };

  explicit OperatorState(Operator* op) : self(op) {}
  static OperatorState& Of(const Operator& op) { return *op.state_; }

  /// The operator's own, to be changed.
  Identity& OwnIdentity();
  Watchers& GetWatchers();
  /// The port's place in `ports`, or null.
  const boost::shared_ptr<Port>* FindPort(std::wstring_view name) const;
  /// Lets the operator declare its ports.
  void Declare();
  SharedFacts FactsForNextPort(const std::wstring& name, const ObjectName& dataType) const;
  /// `facts` may be null.
  boost::shared_ptr<Port> CreatePort(const std::wstring& name, const ObjectName& type, PortType portType, int position,
                                     SharedFacts facts);
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
  static void Observe(Operator& op, RunStep step);
  static void ForgetMeter(long meter);

  Operator* self;
  std::atomic<bool> executed{false};
  std::atomic<bool> deactivated{false};
  std::atomic<bool> reportsProgress{true};
  bool expandible = false;
  bool initialized = false;
  bool ownsIdentity = false;
  bool inParents = false;  ///< its parents are being run; written by the thread that has the operator
  std::atomic<std::uintptr_t> runner{0};
  std::vector<boost::shared_ptr<Port>> ports;
  Model* process = nullptr;
  std::atomic<Watchers*> watchers{nullptr};
  std::unique_ptr<PortIndex> portsByName;      ///< only of operators with many ports
  boost::shared_ptr<const Identity> identity;  ///< null while nothing was said
  std::unique_ptr<std::vector<boost::weak_ptr<Operator>>> orderParents;
  std::unique_ptr<AttributeMap> attributes;
  boost::shared_ptr<void> documentSlot;

  ~OperatorState();

 private:
  class Driver;
  friend class Operator;
  TESSERA_FAST_TLS static thread_local std::vector<Operator*>* collector_;
};

class ModelState {
 public:
  ~ModelState();
  static ModelState& Of(const Model& model) { return *model.modelState_; }
  /// Sets `levels` anew for the model and all inside it.
  static unsigned CountLevels(Model& model);
  std::vector<boost::shared_ptr<Operator>> operators;
  std::vector<boost::shared_ptr<Operator>> tails;
  /// Operators none of whose outputs is connected inside the model. Found at a run, forgotten at an edit.
  const std::vector<Operator*>& GetEnds(const Model& model);
  /// To be called where a connection from that port comes or goes.
  static void ForgetEndsAround(const PortState& source);
  std::optional<std::vector<Operator*>> ends;
  /// Model::AliasPort. A port that is made takes the facts, where they are not null, instead of the inner port's.
  static boost::shared_ptr<Port> AliasPort(Model& model, const boost::shared_ptr<Port>& inner, const std::wstring& name,
                                           SharedFacts facts);
  /// Made when it is first asked for: most models run in that of another. Any thread.
  const boost::shared_ptr<ExecutionEnvironment>& GetEnvironment();
  void SetEnvironment(const boost::shared_ptr<ExecutionEnvironment>& environment);
  boost::shared_ptr<const std::wstring> documentFolder;  ///< null where the model came from no file
  /// What only some models come to have. Any thread.
  struct Temporaries {
    std::mutex mutex;
    std::wstring directory;
    std::vector<std::wstring> files;
    unsigned next = 0;
    CallbackHandle folderHandle;
  };
  Temporaries& GetTemporaries();
  /// For a container made in the course of an observed run: the operator that made it.
  boost::weak_ptr<Operator> origin;
  bool openable = true;
  bool allowsReflection = true;
  unsigned levels = 1;  ///< of models from this one downwards; more than there are where some were removed
  /// What only few models have.
  struct Extras {
    std::wstring processName;
    std::wstring processNamespace;
    std::vector<boost::weak_ptr<const std::wstring>> alternateModes;  ///< their codes, the newest last
  };
  Extras& OwnExtras();
  const Extras& GetExtras() const;

 private:
  std::unique_ptr<Extras> extras_;
  std::atomic<Temporaries*> temporaries_{nullptr};
  std::atomic<bool> hasEnvironment_{false};
  boost::shared_ptr<ExecutionEnvironment> environment_;
};

/// Room for what the document format remembers of an operator; dies with it.
boost::shared_ptr<void>& DocumentSlot(Operator& op);

/// Folders that go with their holders, and at a crash with the next start that makes one.
class TemporaryFolder {
 public:
  /// Makes a folder of this process's; the handle removes it. Raises std::runtime_error.
  static CallbackHandle Create(std::wstring& name);
  /// Takes away all of them, and the registered files of all models; from then on none is made.
  static void RemoveAll();
};

}  // namespace Tamrin::Tessera
