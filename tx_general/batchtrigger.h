#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support.h"

namespace korven::tx_general {

/// Inputs of a batch run: names, and a list of items for each of them.
struct BatchInputs {
  std::vector<std::wstring> keys;
  std::vector<DataList> items;
};

/// Outputs of a batch run: names, and the items that have been gathered for each of them.
struct BatchOutputs {
  std::vector<std::wstring> names;
  std::vector<DataList> items;
};

/// What the input file of one iteration holds. Raises KorvenLog::Exception, "Data not JSONable!", for a value that has
/// no form in JSON.
std::string BatchInputText(const BatchInputs& inputs, std::size_t index, bool hasOutputs);

/// Takes the items of one iteration out of what its output file holds, in the order of the names. Raises
/// std::runtime_error for what is not there. `kept` has for each name the type of a value that had no form in JSON and
/// is empty for that reason, else nothing.
DataList ParseBatchOutput(const std::string& text, const std::vector<std::wstring>& names,
                          std::vector<std::wstring>& kept);

/// Carries one run by the batch manager: its files, and the two phases around it.
class ConcurrentActionTrigger : public Operator {
 public:
  using Action = std::function<void(std::size_t index)>;

  /// `owner` is the method; inputs and outputs belong to the caller.
  ConcurrentActionTrigger(boost::shared_ptr<Operator> owner, const std::wstring& modelFile, std::int64_t count,
                          const BatchInputs& inputs, BatchOutputs& outputs);
  const wchar_t* GetDefaultOperatorName() const override { return L"ConcurrentActionTrigger"; }
  void DeclarePorts() override;
  using Operator::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override;

  /// The work of the next phase.
  void SetAction(Action action);
  /// The request for the next iteration; null when each has been handed out. Not to be called twice at once.
  RequestPtr NextRequest();
  /// Not to be called twice at once.
  void NoteCompleted(std::size_t index);

  // The steps. Prepare and Gather may run for several iterations at once.
  void Prepare(std::size_t index);
  /// Raises std::runtime_error, "Cannot find shell command"; SetErrorMessage of the owner where the manager fails.
  void RunBatch(unsigned threads);
  void Gather(std::size_t index);

  /// Warns of the outputs that came back empty since their values have no form in JSON, by the operator that the user
  /// sees.
  void TellKept(Operator& shown) const;

 private:
  void Register(const std::wstring& file);
  std::wstring FileName(const wchar_t* kind, std::size_t index) const;
  void WriteList(const std::wstring& file, unsigned threads) const;

  const boost::shared_ptr<Operator> owner_;
  const std::wstring modelFile_, pathPart_, basePart_;
  const std::int64_t count_;
  std::int64_t remaining_ = 0;
  std::int64_t completed_ = 0;
  const BatchInputs& inputs_;
  BatchOutputs& outputs_;
  std::mutex lock_;  ///< guards the registering, the names, the outputs and what is kept
  std::vector<std::wstring> inputFiles_, outputFiles_;
  std::map<std::pair<std::wstring, std::wstring>, std::size_t> kept_;  ///< output and type: items
  Action action_;
  std::wstring lineTerminator_;
  std::int32_t simultaneous_ = 1;
};

}  // namespace korven::tx_general
