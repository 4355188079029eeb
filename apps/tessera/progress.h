#pragma once

#include <boost/shared_ptr.hpp>
#include <chrono>
#include <mutex>
#include <string>
#include <unordered_set>

#include "txlib/model.h"

namespace TesseraProgram {

/// Shows on standard error how far a run is: a line that is written over, or a line for each step.
class Progress {
 public:
  enum class Kind { None, Bar, Plain };
  /// "auto" is a bar on a terminal and nothing elsewhere.
  static Kind Choose(const std::string& name, bool quiet);

  Progress(Kind kind, const boost::shared_ptr<Tamrin::Tessera::Model>& model);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void OnOperator(const boost::shared_ptr<Tamrin::Tessera::Operator>& op, bool finished);
  void OnPercent(double percent);
  void Show(bool always);

  const Kind kind_;
  const boost::shared_ptr<Tamrin::Tessera::Model> model_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point shown_;
  std::mutex mutex_;
  std::size_t total_ = 0;
  std::unordered_set<const Tamrin::Tessera::Operator*> finished_;
  double currentPercent_ = 0;
  std::wstring running_;
  int lastPercent_ = -1;
  Tamrin::Tessera::CallbackHandle handle_;
};

}  // namespace TesseraProgram
