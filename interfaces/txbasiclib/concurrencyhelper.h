#pragma once

#include <boost/function.hpp>
#include <boost/logic/tribool.hpp>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <memory>

#include "txlib/datarequest.h"
#include "txlib/operator.h"
#include "txlib/port.h"

namespace Tamrin::TesseraBasic {

/// Drives requests through a port on as many threads as the run has. Both callables are called one at a time,
/// on any of the threads. The first exception of a pull or a callable ends the asking for work, and is raised
/// by RunGlobalProcess when the pulls under way have ended. May be used inside a pull of another helper; the
/// threads are shared. With 0 threads everything runs on the caller's.
class ConcurrencyHelper {
 public:
  using Completion = boost::function<void(const boost::shared_ptr<Tessera::Data>&)>;
  /// Fills the request and the completion and gives true; gives false when there is no further work.
  using RequestCallback = boost::function<bool(boost::shared_ptr<Tessera::DataRequest>&, Completion&)>;

  ConcurrencyHelper();
  ~ConcurrencyHelper();
  void SetDataPort(const boost::shared_ptr<Tessera::Port>& port);
  void SetDataRequestCallback(const RequestCallback& callback);
  /// Returns when every request has been answered. The flag says whether the order of answers matters: true
  /// runs one request at a time; false and indeterminate run them at once.
  void RunGlobalProcess(boost::logic::tribool ordered);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// Work on elements that do not depend on one another: calls with parts that together are 0 to `count` - 1, of about
/// `part` each, on as many threads as the operator's run has. With too little work for two threads, and inside a pull
/// of a helper, whose threads are busy, all of it is one call. The work must not raise.
void ForParts(const Tessera::Operator& op, std::int64_t count, std::int64_t part,
              const boost::function<void(std::int64_t begin, std::int64_t end)>& work);

}  // namespace Tamrin::TesseraBasic
