#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support.h"
#include "txlib/model.h"

namespace korven::tx_general {

/// Copies of an iterator's model, one per iteration, in their order.
using ModelCopies = std::vector<boost::shared_ptr<Model>>;

/// Stands inside a copy for one of its inputs: holds the item of its iteration, and hands pulls on to the input of
/// the iterator that the copy was made from.
class StreamChooser : public Operator {
 public:
  /// `ownerPort` is null where the owner has no input of that name.
  StreamChooser(boost::shared_ptr<Port> ownerPort, std::uint32_t index)
      : ownerPort_(std::move(ownerPort)), index_(index) {}
  const wchar_t* GetDefaultOperatorName() const override { return L"StreamChooser"; }
  void DeclarePorts() override;
  using Operator::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override;

 private:
  const boost::shared_ptr<Port> ownerPort_;
  const std::uint32_t index_;
};

/// Runs the copy that a request names by its index, and answers with that index.
class ModelExecutionTrigger : public Operator {
 public:
  ModelExecutionTrigger(boost::shared_ptr<const ModelCopies> copies, boost::shared_ptr<Operator> owner)
      : copies_(std::move(copies)), owner_(std::move(owner)), remaining_(copies_->size()) {}
  const wchar_t* GetDefaultOperatorName() const override { return L"ModelExecutionTrigger"; }
  void DeclarePorts() override;
  using Operator::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override;

  /// The request for the next copy; null when each has been handed out. Not to be called twice at once.
  RequestPtr NextRequest();
  /// Tells the owner of one more copy that has run. Not to be called twice at once.
  void NoteCompleted(const DataPtr& answer);

 private:
  const boost::shared_ptr<const ModelCopies> copies_;
  const boost::shared_ptr<Operator> owner_;
  std::size_t remaining_;
  std::int64_t completed_ = 0;
};

/// Attribute of a request: the index of the iteration that it asks for.
inline constexpr const wchar_t* kTriggerAttribute = L"TriggerToPull";

/// The five ports that every execution method has.
void DeclareMethodPorts(Operator& method);

/// One input of a run: its name, and an item per iteration or items that are common to them.
struct MethodInput {
  std::wstring name;
  DataList items;
};

/// What "InputData" holds, in the order of its keys. A value that is no list is one item; a list without items, from
/// which no iteration could take one, is an error of the method where there are iterations.
std::vector<MethodInput> ReadMethodInputs(Operator& method, unsigned count);

/// The item of an iteration; the first where the list, which has one, is too short.
inline const DataPtr& ItemOf(const DataList& items, std::size_t index) {
  return index < items.size() ? items[index] : items.front();
}

/// A value inside of a model that the model's text never holds: a password, or a list or dictionary with one.
struct WithheldValue {
  std::size_t place;  ///< of its operator, among all of the model
  boost::shared_ptr<Operator> op;
  boost::shared_ptr<Port> port;
};
/// None of an operator that is no model.
std::vector<WithheldValue> FindWithheldValues(const Operator& owner);
/// Sets them in a copy that was opened from the model's text.
void GiveWithheldValues(const std::vector<WithheldValue>& values, const Model& copy);

/// Request number `index` for a trigger.
RequestPtr MakeTriggerRequest(unsigned index);

/// One line of the session log.
void LogIteration(const std::wstring& text);
/// The line, and the progress of the operator, for an iteration that has been completed.
void TellIteration(Operator& owner, std::int64_t completed, unsigned index, std::size_t count);

}  // namespace korven::tx_general
