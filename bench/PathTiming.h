#pragma once
// Shared by the hot-path benchmarks: our code and its anchor are timed alternately inside
// one benchmark loop, each batch on the calling thread's CPU clock (so time the shared
// machine gives to other processes is not counted), and reported as the three counters
// "ours", "anchor" and "ratio" that the performance page reads.

#include <benchmark/benchmark.h>

#include <ctime>

namespace velbench {

/// CPU time consumed by the calling thread, in seconds.
inline double threadCpuSeconds() {
  timespec ts{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

/// Accumulated thread CPU time of the two alternating halves of a benchmark.
struct PathTimes {
  double ours = 0;
  double anchor = 0;

  /// Runs `f` once and adds its thread CPU time to `*into`.
  template <typename F>
  static void time(double* into, F&& f) {
    const double t0 = threadCpuSeconds();
    f();
    *into += threadCpuSeconds() - t0;
  }
};

/// Sets the three counters as plain numbers; `ratio` is ours / anchor.
inline void setPathCounters(benchmark::State& state, double ours, double anchor) {
  state.counters["ours"] = ours;
  state.counters["anchor"] = anchor;
  state.counters["ratio"] = anchor != 0 ? ours / anchor : 0;
}

}  // namespace velbench
