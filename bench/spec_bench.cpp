// Spectrum lines of 1024 bins written to a file: the writer's data path against an anchor
// that only formats the integers with std::to_chars and writes each line with one write(2).
// Both report "per_bin" (seconds per bin); compare them within one run (the machine is shared).

#include <veliface/common/VelLog.h>
#include <veliface/files/MavSpecWriter.h>

#include <benchmark/benchmark.h>

#include <charconv>
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
  h.setFname("spec_bench");
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
  VelLog::setSink([](const std::string&) {});
  const std::filesystem::path file = "/tmp/spec_bench.txt";
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
  VelLog::setSink(nullptr);
  perBin(state);
}
BENCHMARK(BM_SpecWriterLine)->UseRealTime();

// The data line alone on a narrow std::ofstream (no header, no writer).
void BM_SpecLineOfstream(benchmark::State& state) {
  const char* const path = "/tmp/spec_bench_ofs.txt";
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
void BM_AnchorToCharsWrite(benchmark::State& state) {
  const char* const path = "/tmp/spec_bench_anchor.txt";
  const int fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const std::shared_ptr<uint8[]> bins = levels();
  std::string buf(8192, '\0');
  int lines = 0;
  for (auto _ : state) {
    char* p = buf.data();
    char* const end = buf.data() + buf.size();
    const char head[] = "22:13:21\t\t21.5\t40.25\t";
    for (char c : head) {
      if (c != '\0') *p++ = c;
    }
    p = std::to_chars(p, end, 12345).ptr;
    *p++ = '\t';
    p = std::to_chars(p, end, kBins).ptr;
    *p++ = '\t';
    for (int i = 0; i < kBins; ++i) {
      p = std::to_chars(p, end, static_cast<unsigned>(bins[i])).ptr;
      *p++ = '\t';
    }
    *p++ = '\n';
    benchmark::DoNotOptimize(::write(fd, buf.data(), static_cast<std::size_t>(p - buf.data())));
    if (++lines == kLinesPerFile) {
      state.PauseTiming();
      benchmark::DoNotOptimize(::ftruncate(fd, 0));
      ::lseek(fd, 0, SEEK_SET);
      lines = 0;
      state.ResumeTiming();
    }
  }
  ::close(fd);
  std::remove(path);
  perBin(state);
}
BENCHMARK(BM_AnchorToCharsWrite)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
