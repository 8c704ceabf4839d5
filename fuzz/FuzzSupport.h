#pragma once
// Shared by the fuzz targets: a silent log sink that can record the lines of one run, a
// check that aborts (so that the fuzzer and the replay runner both see a failure), an
// allocation watch, and small helpers to summarise what a parser produced.

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/MavTypes.h>
#include <veliface/common/VelLog.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace veliface::fuzz {

// Stops the run with a message when a property of the parser does not hold.
[[noreturn]] inline void fail(const char* what, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: fuzz check failed: %s\n", file, line, what);
  std::abort();
}

#define FUZZ_CHECK(cond) \
  ((cond) ? static_cast<void>(0) : ::veliface::fuzz::fail(#cond, __FILE__, __LINE__))

// The library's diagnostic lines go nowhere, except into `record` while one is set, so
// that a target can compare the lines of two runs as part of their outcome.
class QuietLog {
 public:
  QuietLog() {
    VelLog::setSink([](const std::string& line) {
      if (recording()) {
        *recording() += "log:";
        *recording() += line;
        *recording() += '\n';
      }
    });
  }
  // Appends every later line to `out` (none when null).
  static void record(std::string* out) { recording() = out; }

 private:
  static std::string*& recording() {
    static std::string* out = nullptr;
    return out;
  }
};

// Installs the quiet sink once per process.
inline void quietLog() { static const QuietLog once; }

// What the replaced allocation functions (AllocGuard.cpp) counted while a watch was armed.
struct AllocCounts {
  bool armed = false;
  std::size_t blocks = 0;
  std::size_t bytes = 0;
  std::size_t largest = 0;
};
AllocCounts& allocCounts();

// The most a parser may ask for in one block. A frame or file chunk carries at most a
// 16-bit length of payload, and sample data is only allocated for samples that arrived,
// so no block of a parse needs more than 64 KiB plus the samples a data chunk holds.
constexpr std::size_t kMaxParseBlock = 64 * 1024;

// Watches the allocations of one parse: on leaving the scope it stops the run when any
// single block was larger than 64 KiB plus `sampleBytes` (the bytes of sample data that
// the input itself carries, for targets whose data chunks copy their samples).
class AllocWatch {
 public:
  explicit AllocWatch(std::size_t sampleBytes = 0) : limit_(kMaxParseBlock + sampleBytes) {
    AllocCounts& c = allocCounts();
    outer_ = c.armed;
    if (!outer_) c = AllocCounts{true, 0, 0, 0};
  }
  ~AllocWatch() {
    AllocCounts& c = allocCounts();
    if (outer_) return;
    c.armed = false;
    if (c.largest > limit_) {
      std::fprintf(stderr, "one block of %zu bytes (limit %zu)\n", c.largest, limit_);
      fail("a parse allocated a block beyond the limit", __FILE__, __LINE__);
    }
  }
  AllocWatch(const AllocWatch&) = delete;
  AllocWatch& operator=(const AllocWatch&) = delete;

 private:
  std::size_t limit_;
  bool outer_ = false;
};

// Keeps a value alive for the optimiser: the parse that produced it cannot be dropped.
template <typename T>
void keep(const T& value) {
  static volatile std::size_t sink = 0;
  sink = sink + static_cast<std::size_t>(value);
}

// FNV-1a over a block: a compact stand-in for sample bytes in a summary.
inline std::uint32_t hashBytes(const std::uint8_t* p, std::size_t n) {
  std::uint32_t h = 2166136261u;
  for (std::size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 16777619u;
  return h;
}

// A ring whose read and write positions stand `offset` bytes in, so that what is written
// next wraps past the end of the storage (offset is taken modulo the capacity).
inline CircularByteBuffer wrappedRing(std::size_t capacity, std::size_t offset) {
  CircularByteBuffer ring(capacity);
  offset %= capacity;
  std::string filler(offset, '\0');
  const auto* bytes = reinterpret_cast<const uint8*>(filler.data());
  ring.write(bytes, offset);
  ring.skip(offset);
  return ring;
}

}  // namespace veliface::fuzz

#include <algorithm>
#include <vector>

namespace veliface::fuzz {

using Bytes = std::vector<uint8>;

// Feeds `bytes` to `proc` through a ring of `capacity` bytes that wraps after `offset`,
// in pieces of `piece` bytes (all at once for 0), and takes every message the processor
// completes after each piece. `describe(message, out)` appends a message's summary to
// `out`; the library's log lines land there too, in the order they were written.
template <class Processor, class Describe>
void feed(Processor& proc, const Bytes& bytes, std::size_t piece, std::size_t capacity,
          std::size_t offset, Describe describe, std::string& out) {
  QuietLog::record(&out);
  CircularByteBuffer ring = wrappedRing(std::max<std::size_t>(capacity, 1), offset);
  if (piece == 0) piece = std::max<std::size_t>(bytes.size(), 1);
  std::size_t at = 0;
  do {
    const std::size_t n = std::min(piece, bytes.size() - at);
    FUZZ_CHECK(ring.write(bytes.data() + at, n) == n);
    at += n;
    for (;;) {
      decltype(proc.pump(ring)) m;
      {
        const AllocWatch watch;
        m = proc.pump(ring);
      }
      if (!m) break;
      describe(*m, out);
    }
  } while (at < bytes.size());
  QuietLog::record(nullptr);
}

// Reports where two summaries of the same bytes part, then stops the run.
[[noreturn]] inline void summariesDiffer(const std::string& a, const std::string& b) {
  const auto at = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  const auto from = static_cast<std::size_t>(at.first - a.begin());
  const std::size_t lineStart = a.rfind('\n', from) == std::string::npos ? 0 : a.rfind('\n', from) + 1;
  std::fprintf(stderr, "whole:  %s\npieces: %s\n", a.substr(lineStart, 200).c_str(),
               b.substr(lineStart, 200).c_str());
  fail("the same frames fed in pieces gave a different outcome", __FILE__, __LINE__);
}

}  // namespace veliface::fuzz
