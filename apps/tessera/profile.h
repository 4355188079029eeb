#pragma once

#include <boost/shared_ptr.hpp>
#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "txlib/jsonvalue.h"
#include "txlib/model.h"

namespace TesseraProgram {

/// Counts and times what the operators of a model do, on all threads, while it lives. Copies that an operator runs in
/// place of its own inside count for the operators that they are copies of.
class Profile {
 public:
  explicit Profile(const boost::shared_ptr<Tamrin::Tessera::Model>& model);
  Profile(const Profile&) = delete;
  Profile& operator=(const Profile&) = delete;

  /// Of all operators, in the order of the document.
  Tamrin::Tessera::JsonValue ToJson() const;
  /// Of those that did something, those that took the most time themselves first.
  void Print() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Row {
    std::string path;  ///< ids from the outermost model's operator inwards
    std::wstring operatorName, displayName;
    std::size_t runs = 0, pulls = 0;
    Clock::duration total{}, own{};
  };
  struct Frame {
    const Tamrin::Tessera::Operator* op;
    Clock::time_point begin;
    Clock::duration inner{};  ///< of the steps inside that have a row
  };

  void AddRows(const Tamrin::Tessera::Model& model, const std::string& prefix);
  void OnStep(const boost::shared_ptr<Tamrin::Tessera::Operator>& op, Tamrin::Tessera::RunStep step);
  void End(const Tamrin::Tessera::Operator& op, bool isPull);

  const Clock::time_point begin_ = Clock::now();
  mutable std::mutex mutex_;
  std::vector<Row> rows_;
  std::map<std::string, std::size_t> byPath_;
  Tamrin::Tessera::CallbackHandle handle_;
};

}  // namespace TesseraProgram
