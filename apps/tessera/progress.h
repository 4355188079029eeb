#pragma once

#include <boost/shared_ptr.hpp>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

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

  /// Held while something else is written to standard error: takes the bar out of its way.
  class Aside {
   public:
    Aside();

   private:
    std::lock_guard<std::mutex> lock_;
  };
  /// Takes the bar away, whoever is writing: for a program that leaves at once.
  static void Wipe();

 private:
  using Operator = Tamrin::Tessera::Operator;
  void OnOperator(const boost::shared_ptr<Operator>& op, bool finished);
  /// What the user is told of. Copies of an inside, as of an iterator's, are told as what hides them.
  const Operator& ToShow(const Operator& op) const;
  void OnPercent(const boost::shared_ptr<Operator>& op, double percent);
  void Tick();
  void Show(bool always);
  void ShowBar(double elapsed);
  /// From 0 to 1.
  double ShareOf(const Tamrin::Tessera::Model& model) const;

  struct Running {
    const Operator* op;
    const Tamrin::Tessera::Model* process;
    std::string name;
    const Operator* hiddenBy;  ///< the model that allows no reflection, or null
  };

  const Kind kind_;
  const boost::shared_ptr<Tamrin::Tessera::Model> model_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point shown_;
  std::mutex mutex_;
  std::vector<Running> running_;
  std::unordered_set<const Operator*> finished_;
  std::unordered_map<const Operator*, std::size_t> finishedInside_;  ///< of each model
  std::unordered_map<const Operator*, double> percents_;             ///< that running operators told
  std::string name_;                                                 ///< of what began last and still runs
  double share_ = 0;                                                 ///< never falls
  int lastPercent_ = -1;
  Tamrin::Tessera::CallbackHandle handle_;
  std::condition_variable ending_;
  bool ended_ = false;
  std::thread ticker_;  ///< lets the time go on while one operator runs for long
};

}  // namespace TesseraProgram
