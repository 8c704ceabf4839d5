// Stream parsing throughput: a hydrophone capture pushed through the host's ring buffer and
// the stream processor, next to the bare cost of copying the same bytes into the ring.
//
// The capture is what a 24-bit hydrophone at 512 kS/s sends (about 1.5 MB/s): one event
// header per second and data frames of 1024 samples x 3 bytes, each with its event key.

#include <veliface/stream/VelStreamProcessor.h>

#include <mavcommon/CircularByteBuffer.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <cstring>
#include <random>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;

constexpr int kSeconds = 4;
constexpr int kFramesPerSecond = 500;     // 500 x 1024 samples = 512 kS/s
constexpr std::size_t kPiece = 16 * 1024;  // what a host typically gets from one socket read
constexpr std::size_t kRing = 256 * 1024;

void put16(Bytes& b, unsigned v) {
  b.push_back(static_cast<uint8>(v >> 8));
  b.push_back(static_cast<uint8>(v));
}
void put32(Bytes& b, uint32 v) {
  put16(b, v >> 16);
  put16(b, v & 0xFFFF);
}
void frame(Bytes& out, uint8 code, const Bytes& payload) {
  out.push_back(code);
  out.push_back(0x2A);
  put16(out, static_cast<unsigned>(payload.size()));
  out.insert(out.end(), payload.begin(), payload.end());
}
void eventKey(Bytes& b, uint32 time, uint32 seq) {
  b.insert(b.end(), {0x41, 0x01, 0x00, 0x00});
  put32(b, time);
  put32(b, 0);
  put32(b, seq);
  b.insert(b.end(), {0x01, 0x00, 0x00, 0x00});
}

Bytes makeCapture() {
  std::mt19937 rng(1);
  Bytes out;
  uint32 seq = 0;
  for (int s = 0; s < kSeconds; ++s) {
    Bytes hdr;
    eventKey(hdr, static_cast<uint32>(s), seq);
    hdr.insert(hdr.end(), {0x44, 0x01, 0x00, 0x00, 0x05, 0x01, 0x02, 0x03, 0x30, 0x39, 0xFF, 0x4C,
                           0x01, 0x00, 0x00, 0x00});
    Bytes status = {0x43, 0x00, 0x00, 0x00, 0x00, 0xC8, 0x01, 0x90, 80, 1, 0, 1};
    status.resize(24, 0);
    hdr.insert(hdr.end(), status.begin(), status.end());
    hdr.insert(hdr.end(), {0x45, 0x00, 0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x01, 0x03, 0x01});
    frame(out, 0x32, hdr);
    for (int f = 0; f < kFramesPerSecond; ++f) {
      Bytes d;
      d.reserve(3200);
      eventKey(d, static_cast<uint32>(s), ++seq);
      d.insert(d.end(), {0x42, 0x00, 0x00, 0x00});
      put32(d, static_cast<uint32>(f) * 1024);
      d.insert(d.end(), {0x01, 0x03});
      put16(d, 1024);
      for (int i = 0; i < 1024 * 3; ++i) d.push_back(static_cast<uint8>(rng()));
      frame(out, 0x31, d);
    }
  }
  return out;
}

const Bytes& capture() {
  static const Bytes c = makeCapture();
  return c;
}

// Copies the capture into the ring piece by piece; the reader side just drops the bytes.
void copyIntoRing(const Bytes& cap, CircularByteBuffer& ring) {
  for (std::size_t pos = 0; pos < cap.size(); pos += kPiece) {
    const std::size_t n = std::min(kPiece, cap.size() - pos);
    ring.write(cap.data() + pos, n);
    ring.skip(n);
  }
}

// Copies the capture into the ring and straight out again into one reused buffer: the floor
// for any parser whose messages own their samples, since those bytes must leave the ring.
void roundTripThroughRing(const Bytes& cap, CircularByteBuffer& ring, Bytes& out) {
  for (std::size_t pos = 0; pos < cap.size(); pos += kPiece) {
    const std::size_t n = std::min(kPiece, cap.size() - pos);
    ring.write(cap.data() + pos, n);
    ring.read(out.data(), n);
  }
}

// Copies the capture into the ring piece by piece and decodes every frame.
std::size_t parseThroughRing(const Bytes& cap, CircularByteBuffer& ring, VelStreamProcessor& proc) {
  std::size_t messages = 0;
  for (std::size_t pos = 0; pos < cap.size(); pos += kPiece) {
    ring.write(cap.data() + pos, std::min(kPiece, cap.size() - pos));
    while (auto m = proc.pump(ring)) {
      benchmark::DoNotOptimize(m.get());
      ++messages;
    }
  }
  return messages;
}

void BM_MemcpyIntoRing(benchmark::State& state) {
  const Bytes& cap = capture();
  CircularByteBuffer ring(kRing);
  for (auto _ : state) {
    copyIntoRing(cap, ring);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * cap.size()));
}
BENCHMARK(BM_MemcpyIntoRing)->Unit(benchmark::kMillisecond);

void BM_ParseThroughRing(benchmark::State& state) {
  const Bytes& cap = capture();
  CircularByteBuffer ring(kRing);
  VelStreamProcessor proc(VEL_STREAM_WAVEFORM);
  std::size_t messages = 0;
  for (auto _ : state) messages = parseThroughRing(cap, ring, proc);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * cap.size()));
  state.counters["frames"] = static_cast<double>(messages);
}
BENCHMARK(BM_ParseThroughRing)->Unit(benchmark::kMillisecond);

// CPU time of this thread: the build machine is shared, so wall time would count other jobs.
double threadSeconds() {
  timespec ts{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// The stream-parsing path: the processor decoding every frame out of the ring (ours) against
// copying the same pieces into the ring (anchor), alternating in one loop so that both see
// the same machine. Timed with this thread's CPU time, as the machine is shared. Counters in
// MB/s of capture; ratio = ours / anchor.
void BM_Path_StreamParse(benchmark::State& state) {
  const Bytes& cap = capture();
  CircularByteBuffer ring(kRing);
  VelStreamProcessor proc(VEL_STREAM_WAVEFORM);
  double anchorSec = 0;
  double oursSec = 0;
  std::size_t messages = 0;
  for (auto _ : state) {
    const double t0 = threadSeconds();
    copyIntoRing(cap, ring);
    benchmark::ClobberMemory();
    const double t1 = threadSeconds();
    messages = parseThroughRing(cap, ring, proc);
    const double t2 = threadSeconds();
    anchorSec += t1 - t0;
    oursSec += t2 - t1;
  }
  if (messages != static_cast<std::size_t>(kSeconds * (1 + kFramesPerSecond))) {
    state.SkipWithError("not every frame was decoded");
  }
  const double mb = static_cast<double>(cap.size()) * static_cast<double>(state.iterations()) / 1e6;
  state.counters["ours"] = mb / oursSec;
  state.counters["anchor"] = mb / anchorSec;
  state.counters["ratio"] = (mb / oursSec) / (mb / anchorSec);
}
BENCHMARK(BM_Path_StreamParse)->Unit(benchmark::kMillisecond);

// The ceiling for messages that own their samples: every byte copied into the ring and out
// again once (round trip), against the copy in alone; same timing as above.
void BM_RingRoundTrip(benchmark::State& state) {
  const Bytes& cap = capture();
  CircularByteBuffer ring(kRing);
  Bytes out(kPiece);
  double copySec = 0;
  double roundTripSec = 0;
  for (auto _ : state) {
    const double t0 = threadSeconds();
    copyIntoRing(cap, ring);
    benchmark::ClobberMemory();
    const double t1 = threadSeconds();
    roundTripThroughRing(cap, ring, out);
    benchmark::ClobberMemory();
    const double t2 = threadSeconds();
    copySec += t1 - t0;
    roundTripSec += t2 - t1;
  }
  const double mb = static_cast<double>(cap.size()) * static_cast<double>(state.iterations()) / 1e6;
  state.counters["memcpy_MBps"] = mb / copySec;
  state.counters["roundtrip_MBps"] = mb / roundTripSec;
  state.counters["roundtrip_ratio"] = copySec / roundTripSec;
}
BENCHMARK(BM_RingRoundTrip)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
