#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "documentmemory.h"
#include "enginestate.h"

namespace Tamrin::Tessera {

/// Facts of a port, the operator and the port told by their indexes.
struct KnownFacts {
  std::size_t op;
  std::size_t port;
  SharedFacts facts;
};

/// The operators of a model that is being made, in the order in which its document names them; the outermost model
/// is the first.
class DocumentCopy {
 public:
  void Add(boost::shared_ptr<Operator> op) { operators_.push_back(std::move(op)); }
  std::size_t Count() const { return operators_.size(); }
  const boost::shared_ptr<Operator>& Op(std::size_t index) const { return operators_[index]; }
  Model& ModelAt(std::size_t index) const { return static_cast<Model&>(*operators_[index]); }
  /// Raises std::runtime_error where the operator has no such port.
  const boost::shared_ptr<Port>& PortOf(std::size_t index, std::wstring_view name) const;
  /// What ports of an earlier copy said; null at the first. The facts have to outlive this object.
  void SetKnownFacts(const std::vector<KnownFacts>& facts) { known_ = &facts; }
  SharedFacts FindKnownFacts(std::size_t index, std::wstring_view name) const;

 private:
  std::vector<boost::shared_ptr<Operator>> operators_;
  const std::vector<KnownFacts>* known_ = nullptr;
};

/// What the reader of a document did to the model, in order, to be done again for another copy without the text.
class DocumentSteps {
 public:
  using Step = std::function<void(DocumentCopy&)>;
  void Add(Step step) { steps_.push_back(std::move(step)); }
  /// Ends the recording: facts of the ports as they are now are shared with the copies that follow.
  void ShareFacts(const DocumentCopy& made);
  /// A new copy. Any thread. Raises what the operators raise, and where they are no longer as they were.
  boost::shared_ptr<Model> Repeat() const;

 private:
  std::vector<Step> steps_;
  std::vector<KnownFacts> facts_;
};

}  // namespace Tamrin::Tessera
