// Spectrum lines of 1024 bins written to a file: the writer's data path against an anchor
// that only formats the integers with std::to_chars and writes each line with one write(2).
// The single benchmarks report "per_bin" (seconds per bin); BM_Path_SpectrumLine runs the writer
// and the anchor alternately in one loop and reports both in ns per bin with their ratio.

#include <veliface/common/VelLog.h>
#include <veliface/files/MavSpecWriter.h>

#include <benchmark/benchmark.h>

#include <charconv>
#include <ctime>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kBins = 1024;
constexpr int kLinesPerFile = 16384;  // about 60 MB, then the file starts over

std::shared_ptr<uint8[]> levels() {
  std::shared_ptr<uint8[]> bins(new uint8[kBins]);
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> level(0, 255);
  for (int i = 0; i < kBins; ++i) bins[i] = static_cast<uint8>(level(rng));
  return bins;
}

MavSpectrumFileData record() {
  MavSpectrumFileData d;
  d.setDataTime(1700000001);
  d.setTemperature(21.5f);
  d.setHumidity(40.25f);
  d.setSeqNum(12345);
  d.setSpectrum(levels(), kBins);
  return d;
}

MavSpectrumFileHeader header() {
  MavSpectrumFileHeader h;
  h.setFname("spectrum_line_bench");
  h.setStartDt(1700000001);
  h.setSampleRate(512000);
  h.setNumPts(2048);
  h.setNumPtsBtw(1024);
  h.setPowerCalc(4);
  return h;
}

// Seconds per bin, printed with an SI prefix ("4.2n" is 4.2 ns per bin).
void perBin(benchmark::State& state) {
  state.counters["per_bin"] = benchmark::Counter(static_cast<double>(state.iterations()) * kBins,
                                                 benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// The writer: one data record per iteration through MavSpecWriter::feed.
void BM_SpecWriterLine(benchmark::State& state) {
  const VelLog::SinkScope quiet(VelLog::discard);
  const std::filesystem::path file = "/tmp/spectrum_line_bench.txt";
  std::filesystem::remove(file);
  MavSpecWriter writer(3600, L"/tmp");
  MavSpectrumFileHeader h = header();
  MavSpectrumFileData d = record();
  writer.feed(h);
  int lines = 0;
  for (auto _ : state) {
    writer.feed(d);
    if (++lines == kLinesPerFile) {
      state.PauseTiming();
      writer.finishFile();
      std::filesystem::remove(file);
      writer.feed(h);
      lines = 0;
      state.ResumeTiming();
    }
  }
  writer.finishFile();
  std::filesystem::remove(file);
  perBin(state);
}
BENCHMARK(BM_SpecWriterLine)->UseRealTime();

// The data line alone on a narrow std::ofstream (no header, no writer).
void BM_SpecLineOfstream(benchmark::State& state) {
  const char* const path = "/tmp/spectrum_line_bench_ofs.txt";
  std::ofstream os(path, std::ios::binary);
  MavSpectrumFileData d = record();
  int lines = 0;
  for (auto _ : state) {
    os << d;
    if (++lines == kLinesPerFile) {
      state.PauseTiming();
      os.close();
      os.open(path, std::ios::binary | std::ios::trunc);
      lines = 0;
      state.ResumeTiming();
    }
  }
  os.close();
  std::remove(path);
  perBin(state);
}
BENCHMARK(BM_SpecLineOfstream)->UseRealTime();

// Anchor: the same characters built with std::to_chars into one buffer, one write(2) a line.
class AnchorLines {
 public:
  explicit AnchorLines(const char* path)
      : path_(path), fd_(::open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644)), bins_(levels()), buf_(8192, '\0') {}
  ~AnchorLines() {
    if (fd_ >= 0) ::close(fd_);
    std::remove(path_);
  }
  AnchorLines(const AnchorLines&) = delete;
  AnchorLines& operator=(const AnchorLines&) = delete;
  bool ok() const { return fd_ >= 0; }

  void line() {
    char* p = buf_.data();
    char* const end = buf_.data() + buf_.size();
    const char head[] = "22:13:21\t\t21.50\t40.25\t";
    for (char c : head) {
      if (c != '\0') *p++ = c;
    }
    p = std::to_chars(p, end, 12345).ptr;
    *p++ = '\t';
    p = std::to_chars(p, end, kBins).ptr;
    *p++ = '\t';
    for (int i = 0; i < kBins; ++i) {
      p = std::to_chars(p, end, static_cast<unsigned>(bins_[i])).ptr;
      *p++ = '\t';
    }
    *p++ = '\n';
    benchmark::DoNotOptimize(::write(fd_, buf_.data(), static_cast<std::size_t>(p - buf_.data())));
  }
  // Starts the file over (outside the timed part).
  void restart() {
    benchmark::DoNotOptimize(::ftruncate(fd_, 0));
    ::lseek(fd_, 0, SEEK_SET);
  }

 private:
  const char* path_;
  int fd_;
  std::shared_ptr<uint8[]> bins_;
  std::string buf_;
};

void BM_AnchorToCharsWrite(benchmark::State& state) {
  AnchorLines anchor("/tmp/spectrum_line_bench_anchor.txt");
  int lines = 0;
  for (auto _ : state) {
    anchor.line();
    if (++lines == kLinesPerFile) {
      state.PauseTiming();
      anchor.restart();
      lines = 0;
      state.ResumeTiming();
    }
  }
  perBin(state);
}
BENCHMARK(BM_AnchorToCharsWrite)->UseRealTime();

double threadSeconds() {
  timespec ts{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// The writer's data line against the anchor in the same run: each iteration writes a batch of
// lines with each, alternating, and times them with the thread's own CPU clock. CPU time, not
// wall time: both make one write(2) per line to the page cache, and on a shared machine the
// wall clock mostly measures who else is running.
void BM_Path_SpectrumLine(benchmark::State& state) {
  constexpr int kBatch = 64;
  const VelLog::SinkScope quiet(VelLog::discard);
  const std::filesystem::path file = "/tmp/spectrum_line_bench_path.txt";
  std::filesystem::remove(file);
  MavSpecWriter writer(3600, L"/tmp");
  MavSpectrumFileHeader h = header();
  h.setFname("spectrum_line_bench_path");
  MavSpectrumFileData d = record();
  writer.feed(h);
  writer.feed(d);  // the frequency line and the first data line: once per file, not timed
  AnchorLines anchor("/tmp/spectrum_line_bench_path_anchor.txt");
  if (!writer.isOpen() || !anchor.ok()) {
    state.SkipWithError("cannot open /tmp files");
    return;
  }
  double ours = 0;
  double anchorTime = 0;
  int lines = 0;
  for (auto _ : state) {
    double t0 = threadSeconds();
    for (int i = 0; i < kBatch; ++i) writer.feed(d);
    double t1 = threadSeconds();
    ours += t1 - t0;
    t0 = t1;
    for (int i = 0; i < kBatch; ++i) anchor.line();
    t1 = threadSeconds();
    anchorTime += t1 - t0;
    lines += kBatch;
    if (lines >= kLinesPerFile) {
      writer.finishFile();
      std::filesystem::remove(file);
      writer.feed(h);
      writer.feed(d);
      anchor.restart();
      lines = 0;
    }
  }
  writer.finishFile();
  std::filesystem::remove(file);
  const double perBinCount = static_cast<double>(state.iterations()) * kBatch * kBins;
  state.counters["ours"] = ours / perBinCount * 1e9;
  state.counters["anchor"] = anchorTime / perBinCount * 1e9;
  state.counters["ratio"] = anchorTime > 0 ? ours / anchorTime : 0;
}
BENCHMARK(BM_Path_SpectrumLine);

}  // namespace

BENCHMARK_MAIN();
