#pragma once
/// \file Device clock and pacing of a simulated stream: sample numbers to time and back.

#include <mavcommon/MavTypes.h>

#include <chrono>
#include <cstdint>

namespace velsim {

/// A stream's clock. Sample 0 is taken at the device time `startSeconds` + `startNanos`
/// (seconds since 1970 UTC); sample n follows n / sampleRate seconds later. All arithmetic is
/// integer, so a stream running for weeks keeps exact second boundaries.
///
/// In real-time mode `waitFor(n)` sleeps until sample n is due on the host's steady clock;
/// in fast mode it returns at once, and the device clock still advances by the samples sent.
class StreamClock {
 public:
  using SteadyClock = std::chrono::steady_clock;

  /// Clock starting at `start` on the steady clock (default: now).
  StreamClock(uint32 sampleRate, int64 startSeconds, uint32 startNanos, bool fast,
              SteadyClock::time_point start = SteadyClock::now());

  /// Time from sample 0 to sample `n`, rounded down to whole nanoseconds.
  std::chrono::nanoseconds offsetOf(uint64 n) const;
  /// Steady-clock instant at which sample `n` is due.
  SteadyClock::time_point deadlineOf(uint64 n) const { return steadyStart_ + offsetOf(n); }
  /// Sleeps until sample `n` is due (returns at once in fast mode or when it is already due).
  void waitFor(uint64 n) const;

  /// Whole device second (seconds since 1970) in which sample `n` is taken.
  int64 secondOf(uint64 n) const;
  /// First sample taken at or after the start of device second `second` (0 for seconds
  /// at or before the start).
  uint64 firstSampleOf(int64 second) const;
  /// First sample of the next whole second after the one sample `n` falls in.
  uint64 nextSecondStart(uint64 n) const { return firstSampleOf(secondOf(n) + 1); }

  /// Samples per second.
  uint32 sampleRate() const { return rate_; }
  /// True in fast mode.
  bool fast() const { return fast_; }

 private:
  uint32 rate_;
  int64 startSeconds_;
  uint32 startNanos_;
  bool fast_;
  SteadyClock::time_point steadyStart_;
};

}  // namespace velsim
