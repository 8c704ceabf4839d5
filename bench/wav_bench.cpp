// Recording throughput of the WAV writer against plain write(2) of the same sample blocks:
// 24-bit mono samples at 512 kS/s in blocks of 1024 samples (3 KiB), into files in /tmp.
//
// The writer records as a host does: a metadata and a setup record every second of audio and
// the crash-safety size patch every second (1.536 MB of samples, about every 500 blocks).
// Wall-clock time from open to close: what a recording costs is mostly the kernel's and the
// disk's time, which per-thread CPU time would not see.

#include <veliface/common/VelLog.h>
#include <veliface/files/MavWavWriter.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr uint32 kRate = 512000;
constexpr uint16 kBlockSamples = 1024;
constexpr std::size_t kBlockBytes = kBlockSamples * 3;
constexpr std::size_t kBlocks = (std::size_t{128} << 20) / kBlockBytes;
constexpr std::size_t kBlocksPerSecond = kRate / kBlockSamples;
constexpr uint64 kBytesPerSecond = uint64{kRate} * 3;

const char* const kPlainPath = "/tmp/velwav_bench_plain.raw";
const char* const kWavPath = "/tmp/velwav_bench.wav";

std::vector<uint8> sampleBlock() {
  std::vector<uint8> b(kBlockBytes);
  for (std::size_t i = 0; i < b.size(); ++i) b[i] = static_cast<uint8>(i * 7);
  return b;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Anchor: every 3 KiB block with its own write(2). Seconds, or a negative value on failure.
double plainRun(const std::vector<uint8>& block) {
  const auto start = std::chrono::steady_clock::now();
  const int fd = ::open(kPlainPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return -1;
  for (std::size_t i = 0; i < kBlocks; ++i) {
    if (::write(fd, block.data(), block.size()) != static_cast<ssize_t>(block.size())) {
      ::close(fd);
      return -1;
    }
  }
  ::close(fd);
  return secondsSince(start);
}

struct Records {
  MavWavInfoDataHF info;
  MavWavSetupData setup;
  MavWavDataChunk chunk;
  explicit Records(const std::vector<uint8>& block) {
    info.setDeviceType(DEV_AUREL_HF, 0);
    info.setSerialNo(1234, 0);
    info.setCreator("wav_bench");
    info.setFilename("velwav_bench");
    setup.setSampleRate(kRate);
    setup.setBitDepth(24);
    chunk.setNumChannels(1);
    chunk.setBitDepth(24);
    chunk.setNumSamples(kBlockSamples);
    chunk.setData(block.data());
  }
};

// Ours: the same blocks through MavWavWriter with crash safety every `patchEvery` bytes.
// Seconds, or a negative value on failure.
double writerRun(Records& r, uint64 patchEvery) {
  const auto start = std::chrono::steady_clock::now();
  MavWavWriter writer(3600, L"/tmp");
  writer.setCrashSafety(patchEvery);
  for (std::size_t i = 0; i < kBlocks; ++i) {
    if (i % kBlocksPerSecond == 0) {
      const std::size_t second = i / kBlocksPerSecond;
      r.info.setTime(static_cast<long long>(1 + second));
      r.info.setSeqNum(second * kRate);
      writer.feed(r.info);
      writer.feed(r.setup);
    }
    r.chunk.setSampleNum(static_cast<uint32>(i * kBlockSamples));
    if (!writer.feed(r.chunk)) return -1;
  }
  writer.finishFile();
  if (writer.errorCode() != WAV_NO_ERROR) return -1;
  return secondsSince(start);
}

constexpr double kMB = static_cast<double>(kBlocks * kBlockBytes) / 1e6;

// Ours and the anchor alternate inside the loop, so both see the same machine load; files are
// removed after each run so that no dirty pages of one run are written back during the next.
void BM_Path_WavRecord(benchmark::State& state) {
  const std::vector<uint8> block = sampleBlock();
  Records records(block);
  const VelLog::SinkScope quiet(VelLog::discard);  // "closing wav file" is not part of the figure
  double ours = 0;
  double anchor = 0;
  for (auto _ : state) {
    const double a = plainRun(block);
    std::remove(kPlainPath);
    const double o = writerRun(records, kBytesPerSecond);
    std::remove(kWavPath);
    if (a < 0 || o < 0) {
      state.SkipWithError("write failed");
      break;
    }
    anchor += a;
    ours += o;
  }
  const double n = static_cast<double>(state.iterations());
  state.SetBytesProcessed(static_cast<int64_t>(n * kBlocks * kBlockBytes));
  state.counters["ours"] = ours > 0 ? n * kMB / ours : 0;
  state.counters["anchor"] = anchor > 0 ? n * kMB / anchor : 0;
  state.counters["ratio"] = anchor > 0 && ours > 0 ? anchor / ours : 0;
}
BENCHMARK(BM_Path_WavRecord)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(6);

// The writer alone, crash safety off (0) or every second of audio.
void BM_WavWriter(benchmark::State& state) {
  const std::vector<uint8> block = sampleBlock();
  Records records(block);
  const VelLog::SinkScope quiet(VelLog::discard);
  double seconds = 0;
  for (auto _ : state) {
    const double s = writerRun(records, static_cast<uint64>(state.range(0)));
    std::remove(kWavPath);
    if (s < 0) {
      state.SkipWithError("write failed");
      break;
    }
    seconds += s;
  }
  state.counters["MB/s"] = seconds > 0 ? static_cast<double>(state.iterations()) * kMB / seconds : 0;
}
BENCHMARK(BM_WavWriter)->Arg(0)->Arg(kBytesPerSecond)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(4);

}  // namespace

BENCHMARK_MAIN();
