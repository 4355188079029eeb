#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "kcommon/kstr.h"
#include "support/modelhost.h"

// Iterators in a few lines: a body that does what the test says, methods that note what they are given.
namespace testing_support {

/// Registered as Test.Hook. Gives on "Out" what the action makes of "In", or "In" itself. "Second" is there to be read.
class Hook : public tessera::Operator {
 public:
  using Action = std::function<DataPtr(Hook&, const DataPtr&)>;
  /// Of all hooks; set before a run and not while one goes on.
  static inline Action action;

  const wchar_t* GetDefaultOperatorName() const override { return L"Hook"; }
  const wchar_t* GetDefaultNamespace() const override { return L"Test"; }
  const wchar_t* Name() const override { return L"Test.Hook"; }
  void DeclarePorts() override;

 protected:
  void OnExecute() override;
};

/// While it lives, hooks do this.
struct HookDoes {
  explicit HookDoes(Hook::Action action) { Hook::action = std::move(action); }
  ~HookDoes() { Hook::action = nullptr; }
  HookDoes(const HookDoes&) = delete;
  HookDoes& operator=(const HookDoes&) = delete;
};

/// What an execution method of the tests was given by an iterator.
struct MethodCall {
  std::wstring name;  ///< dotted
  std::wstring model;
  unsigned count = 0;
  tessera::Dictionary inputs;
  std::vector<std::wstring> outputs;
  OperatorPtr owner;
  boost::shared_ptr<tessera::ExecutionEnvironment> environment;
};

/// Methods registered by the tests: Test.IteratorExecutionMethodEcho, the same in the namespace Other,
/// Test.IteratorExecutionMethod and Test.PlainMethod. They note their calls and give the results set here.
struct TestMethods {
  static inline std::vector<MethodCall> calls;
  static inline tessera::Dictionary results;
  static void Reset();
};

/// Session log lines while it lives. Any thread.
class LogLines {
 public:
  /// `observer` is called with each line.
  explicit LogLines(std::function<void(const std::wstring&)> observer = {});
  ~LogLines();
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;
  std::vector<std::wstring> Get() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::wstring> lines_;
};

/// "-" for null, "[1, -, [2]]" for lists, else the value's text.
std::wstring Text(const DataPtr& data);
DataPtr Numbers(int count);
DataPtr NumberList(const std::vector<int>& numbers);

/// An iterator "each" over a hook "body", all of whose ports it shows. Its log lines go where LogLines made later take
/// them, else nowhere.
struct Loop {
  explicit Loop(const wchar_t* method = nullptr, unsigned threads = 2);
  /// Into the iterator: another iterator "inner" around the body.
  static Loop Nested(const wchar_t* outer, const wchar_t* inner, unsigned threads = 2);

  boost::shared_ptr<tessera::Model> Each() const;
  /// The operator inside that the user has drawn.
  OperatorPtr Drawn(const std::wstring& displayName) const;
  /// The text of "Out" after a run with this on "In".
  std::wstring RunWith(const DataPtr& in);
  DataPtr Pull(const boost::shared_ptr<tessera::DataRequest>& request, const wchar_t* port = L"Out");

  ModelHost host;

 private:
  Loop(unsigned threads, int);
};

struct Driver {
  const wchar_t* method;
  unsigned threads;
};
/// Both drivers, with the numbers of threads that matter.
const std::vector<Driver>& Drivers();
std::string Title(const Driver& driver);

}  // namespace testing_support
