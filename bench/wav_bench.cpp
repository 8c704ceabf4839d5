// Recording throughput of the WAV writer against plain write(2) of the same sample blocks:
// 256 MiB of 24-bit mono samples in blocks of 1024 samples, into files in /tmp.

#include <veliface/common/VelLog.h>
#include <veliface/files/MavWavWriter.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr uint32 kRate = 512000;
constexpr uint16 kBlockSamples = 1024;
constexpr std::size_t kBlockBytes = kBlockSamples * 3;
constexpr std::size_t kBlocks = (std::size_t{256} << 20) / kBlockBytes;
constexpr std::size_t kBlocksPerSecond = kRate / kBlockSamples;

std::vector<uint8> sampleBlock() {
  std::vector<uint8> b(kBlockBytes);
  for (std::size_t i = 0; i < b.size(); ++i) b[i] = static_cast<uint8>(i * 7);
  return b;
}

// MB/s of plain write(2) measured earlier in the same run (benchmarks run in order).
double plainMBps = 0;

double setRate(benchmark::State& state, double seconds) {
  const double bytes = static_cast<double>(state.iterations()) * kBlocks * kBlockBytes;
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
  const double mbps = seconds > 0 ? bytes / seconds / 1e6 : 0;
  state.counters["MB/s"] = mbps;
  return mbps;
}

// Wall-clock seconds of the benchmark body, file open to close.
struct Clock {
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  double total = 0;
  void lap() {
    const auto now = std::chrono::steady_clock::now();
    total += std::chrono::duration<double>(now - start).count();
  }
  void restart() { start = std::chrono::steady_clock::now(); }
};

void BM_PlainWrite(benchmark::State& state) {
  const std::vector<uint8> block = sampleBlock();
  const std::string path = "/tmp/velwav_bench_plain.raw";
  Clock clock;
  for (auto _ : state) {
    clock.restart();
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
      state.SkipWithError("cannot open /tmp file");
      return;
    }
    for (std::size_t i = 0; i < kBlocks; ++i) {
      if (::write(fd, block.data(), block.size()) != static_cast<ssize_t>(block.size())) {
        state.SkipWithError("write failed");
        break;
      }
    }
    ::close(fd);
    clock.lap();
  }
  plainMBps = setRate(state, clock.total);
  std::remove(path.c_str());
}

// state.range(0): crash-safety interval in bytes, 0 = off (the default behaviour).
void BM_WavWriter(benchmark::State& state) {
  const std::vector<uint8> block = sampleBlock();
  MavWavInfoDataHF info;
  info.setDeviceType(DEV_AUREL_HF, 0);
  info.setSerialNo(1234, 0);
  info.setCreator("wav_bench");
  info.setFilename("velwav_bench");
  MavWavSetupData setup;
  setup.setSampleRate(kRate);
  setup.setBitDepth(24);
  MavWavDataChunk chunk;
  chunk.setNumChannels(1);
  chunk.setBitDepth(24);
  chunk.setNumSamples(kBlockSamples);
  chunk.setData(block.data());

  VelLog::setSink([](const std::string&) {});  // "closing wav file" is not part of the figure
  Clock clock;
  for (auto _ : state) {
    clock.restart();
    MavWavWriter writer(3600, L"/tmp");
    writer.setCrashSafety(static_cast<uint64>(state.range(0)));
    for (std::size_t i = 0; i < kBlocks; ++i) {
      if (i % kBlocksPerSecond == 0) {  // a metadata and a setup record every second
        const std::size_t second = i / kBlocksPerSecond;
        info.setTime(static_cast<long long>(1 + second));
        info.setSeqNum(second * kRate);
        writer.feed(info);
        writer.feed(setup);
      }
      chunk.setSampleNum(static_cast<uint32>(i * kBlockSamples));
      if (!writer.feed(chunk)) {
        state.SkipWithError(MavWavWriter::errorStr(writer.errorCode()).c_str());
        break;
      }
    }
    writer.finishFile();
    clock.lap();
  }
  const double mbps = setRate(state, clock.total);
  if (plainMBps > 0) state.counters["ratio_vs_write"] = mbps / plainMBps;
  VelLog::setSink(nullptr);
  std::remove("/tmp/velwav_bench.wav");
}

BENCHMARK(BM_PlainWrite)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(BM_WavWriter)->Arg(0)->Arg(16 << 20)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

}  // namespace

BENCHMARK_MAIN();
