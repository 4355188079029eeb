#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>

#include "txlib/operator.h"

/// What the benchmarks of operators on arrays share.
namespace arraybench {

/// Seconds that a piece of Python says it took: `setup`, then the best of three rounds of `work`.
inline void TimeNumpy(benchmark::State& state, const std::string& setup, const std::string& work) {
  const std::string program = "import numpy as np, time, io\nrandom = np.random.default_rng(1)\n" + setup +
                              "\ntimes = []\nfor _ in range(3):\n  start = time.perf_counter()\n  " + work +
                              "\n  times.append(time.perf_counter() - start)\nprint(min(times))\n";
  for (auto _ : state) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(("/usr/bin/python3 -c '" + program + "'").c_str(), "r"),
                                                     &::pclose);
    double seconds = 0;
    if (!pipe || std::fscanf(pipe.get(), "%lf", &seconds) != 1) {
      state.SkipWithError("python3 with numpy is needed");
      break;
    }
    state.SetIterationTime(seconds);
  }
}

#define NUMPY_BENCHMARK(name, setup, work)                                            \
  void name(benchmark::State& state) { ::arraybench::TimeNumpy(state, setup, work); } \
  BENCHMARK(name)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond)

/// Runs an operator again and again; what it made before is dropped first.
inline void RunOperator(benchmark::State& state, const boost::shared_ptr<Tamrin::Tessera::Operator>& op) {
  for (auto _ : state) {
    op->SetExecuted(false);
    op->Execute();
  }
}

}  // namespace arraybench
