// CRC-16 of control and discovery frames: each implementation against memcpy of the same
// bytes, on a 64-byte frame and on a 64 KiB block. Figures are GB/s of thread CPU time; the
// CRC and the copy alternate inside one benchmark loop so that both see the same machine.

#include "PathTiming.h"

#include <mavcommon/Crc16.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

using Crc = uint16 (*)(const uint8*, uint64, uint16);

// Each half of an iteration handles about 1 MiB, so the clock reads cost well under 1 %.
constexpr std::size_t kBatchBytes = 1u << 20;

void runCrcPath(benchmark::State& state, Crc crc) {
  const auto size = static_cast<std::size_t>(state.range(0));
  const std::size_t reps = kBatchBytes / size;
  std::vector<uint8> src(size);
  std::vector<uint8> dst(size);
  std::mt19937 rng(5);
  for (auto& b : src) b = static_cast<uint8>(rng());

  velbench::PathTimes t;
  uint16 sink = 0;
  for (auto _ : state) {
    velbench::PathTimes::time(&t.ours, [&] {
      for (std::size_t i = 0; i < reps; ++i) {
        benchmark::DoNotOptimize(src.data());
        sink ^= crc(src.data(), size, 0);
      }
    });
    velbench::PathTimes::time(&t.anchor, [&] {
      for (std::size_t i = 0; i < reps; ++i) {
        benchmark::DoNotOptimize(src.data());
        std::memcpy(dst.data(), src.data(), size);
        benchmark::ClobberMemory();
      }
    });
  }
  benchmark::DoNotOptimize(sink);
  const double bytes = static_cast<double>(state.iterations()) * static_cast<double>(reps * size);
  velbench::setPathCounters(state, bytes / t.ours * 1e-9, bytes / t.anchor * 1e-9);
}

void BM_Path_Crc16Portable(benchmark::State& state) {
  runCrcPath(state, &mav::crc16::updatePortable);
}
BENCHMARK(BM_Path_Crc16Portable)->Arg(64)->Arg(65536);

void BM_Path_Crc16Clmul(benchmark::State& state) {
  if (!mav::crc16::clmulAvailable()) {
    state.SkipWithError("no carry-less multiply");
    return;
  }
  runCrcPath(state, &mav::crc16::updateClmul);
}
BENCHMARK(BM_Path_Crc16Clmul)->Arg(64)->Arg(65536);

// The entry point the library itself calls, which picks the path by length and CPU.
void BM_Crc16Dispatch(benchmark::State& state) { runCrcPath(state, &crcUpdateBlock); }
BENCHMARK(BM_Crc16Dispatch)->Arg(16)->Arg(32)->Arg(48)->Arg(64)->Arg(128)->Arg(256);

}  // namespace

BENCHMARK_MAIN();
