#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "kcommon/kerr.h"
#include "txlib/operator.h"

namespace Tamrin::Tessera {

/// Raised at the next operator after a run was cancelled. No guarded block keeps it.
class CancelledException : public std::runtime_error, public CancellationBase {
 public:
  CancelledException() : std::runtime_error("The run was cancelled.") {}
};

/// What a thread does with an operator: its work, or the answer to one request.
enum class RunStep { BeginRun, EndRun, BeginPull, EndPull };

/// What the models of one run share: threads, cancelling, temporary folder. A
/// nested environment takes what it does not set from its parent, and is cancelled with it. Any thread.
class ExecutionEnvironment {
 public:
  static boost::shared_ptr<ExecutionEnvironment> Create(const boost::shared_ptr<ExecutionEnvironment>& parent = {});
  virtual ~ExecutionEnvironment();

  /// 0 runs everything serially. At first the machine's number of hardware threads.
  void SetNumThreads(unsigned count);
  unsigned GetNumThreads() const;
  void Cancel();
  bool IsCancelled() const;
  /// Raises CancelledException after Cancel.
  void CheckCancelled() const;
  /// Called, on the running thread, when an operator begins its work and when it has ended it. Nothing until set.
  using RunObserver = boost::function<void(const boost::shared_ptr<Operator>&, bool finished)>;
  using StepObserver = boost::function<void(const boost::shared_ptr<Operator>&, RunStep)>;
  void SetRunObserver(const RunObserver& observer);
  /// The same for any number of observers, for pulls as well, and for the models of nested environments: as long as
  /// the handle lives. Called on many threads at once; each thread's steps are nested. It must not raise. While there
  /// are observers, the copies that an operator runs in place of its own inside know that operator: see
  /// GetOperatorPath.
  CallbackHandle AddStepObserver(const StepObserver& observer);
  /// For a program that is about to be ended: takes away the temporary folders and files of all its models,
  /// and lets no more be made. Any thread.
  static void RemoveTemporaryFolders();

  /// Display name of the operator in which the exception was first seen to leave an Execute; empty where it
  /// passed none. Known for the exception that this thread's last failing run ended in.
  static std::wstring GetFailedOperator(const std::exception_ptr& exception);
  /// Takes an exception over to this thread together with the operator that it came from.
  static void SetFailedOperator(const std::exception_ptr& exception, const std::wstring& displayName);

 private:
  friend class OperatorState;
  ExecutionEnvironment();
  void Observe(const boost::shared_ptr<Operator>& op, RunStep step) const;
  struct State;
  std::unique_ptr<State> state_;
};

/// An operator that holds operators. Its OnExecute executes its tails, or, without any, the operators none of
/// whose outputs is connected inside it.
class Model : public Operator {
 public:
  Model();
  ~Model() override;

  void DeclarePorts() override {}
  const wchar_t* GetDefaultOperatorName() const override { return L"Model"; }
  const wchar_t* GetDefaultDisplayName() const override { return L"Model"; }
  std::wstring ToString() const override;
  void Clear() override;
  void ClearMessageQueue() override;
  using Operator::Configure;
  void Configure() override;
  void PrepareForSerialization() override;
  void SetReportProgress(const bool& report) override;
  bool AllowsReflection() const override;

 protected:
  void OnExecute() override;

 public:
  virtual bool IsDrawnWithChildren() const { return true; }
  virtual void AddOperator(const boost::shared_ptr<Operator>& op);
  virtual void RemoveOperator(const boost::shared_ptr<Operator>& op);
  virtual void AddTail(const boost::shared_ptr<Operator>& op);
  virtual void AddTails(const std::vector<boost::shared_ptr<Operator>>& operators);
  virtual void RemoveTail(const boost::shared_ptr<Operator>& op);
  virtual void SetOperatorProgress(const boost::shared_ptr<Operator>& op, const double& percent);

  const std::vector<boost::shared_ptr<Operator>>& GetOperators() const;
  /// The operators of this model; with `nested` those of inner models too, each behind its model.
  std::vector<boost::shared_ptr<Operator>> GetAllOperators(bool nested) const;
  std::vector<boost::shared_ptr<Operator>> GetTails() const;  ///< as set; empty where they are found
  /// A port of this model that leads to the inner port. The same name again leads to several.
  boost::shared_ptr<Port> AliasPort(const boost::shared_ptr<Port>& inner, const std::wstring& name);
  /// A new empty model that shares this one's execution environment.
  boost::shared_ptr<Model> DeriveNewContainer();
  void SetEnvironment(const boost::shared_ptr<ExecutionEnvironment>& environment);
  /// See Operator::GetDocumentFolder.
  void SetDocumentFolder(const std::wstring& folder);
  unsigned GetNumThreads() const;

  /// Made on first use; removed with the model, and what it holds with it.
  std::wstring GetTemporaryDirectory();
  /// A new name in that folder; the extension as it stands. The file is not made.
  std::wstring GenerateTemporaryFileName(const std::wstring& prefix, const std::wstring& extension);
  /// The file is removed with the model. Any thread.
  void RegisterTemporaryFile(const std::wstring& name);

  void SetIsOpenable(bool openable);
  bool IsOpenable() const;
  void SetAllowsReflection(bool allows);
  /// What a user may be told of: the operator, or the outermost model around it (or itself) that allows no reflection.
  static const Operator& GetVisible(const Operator& op);
  void SetProcessName(const std::wstring& name);
  void SetProcessNamespace(const std::wstring& nameSpace);
  std::wstring GetProcessName() const;
  std::wstring GetProcessNamespace() const;
  /// The model is in the alternate mode of that code while the guard lives: its saved text is for a format that
  /// hides it. Guards may be nested; the newest that lives counts.
  boost::shared_ptr<void> SetAlternateMode(const std::wstring& code);
  bool IsAlternateMode() const;
  std::wstring GetAlternateMode() const;  ///< the code; empty outside of the mode

 private:
  friend class ModelState;
  std::unique_ptr<class ModelState> modelState_;
};

}  // namespace Tamrin::Tessera
