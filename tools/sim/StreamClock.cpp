#include <sim/StreamClock.h>

#include <stdexcept>
#include <thread>

namespace velsim {
namespace {

constexpr uint64 kNanos = 1000000000ull;

}  // namespace

StreamClock::StreamClock(uint32 sampleRate, int64 startSeconds, uint32 startNanos, bool fast,
                         SteadyClock::time_point start)
    : rate_(sampleRate),
      startSeconds_(startSeconds),
      startNanos_(startNanos),
      fast_(fast),
      steadyStart_(start) {
  if (sampleRate == 0) throw std::invalid_argument("sample rate must be positive");
  if (startNanos >= kNanos) throw std::invalid_argument("start nanoseconds must be below 1e9");
}

std::chrono::nanoseconds StreamClock::offsetOf(uint64 n) const {
  // Whole seconds and the remainder separately: (n % rate) * 1e9 stays below 2^63.
  const uint64 ns = (n / rate_) * kNanos + (n % rate_) * kNanos / rate_;
  return std::chrono::nanoseconds(static_cast<int64>(ns));
}

void StreamClock::waitFor(uint64 n) const {
  if (fast_) return;
  std::this_thread::sleep_until(deadlineOf(n));
}

int64 StreamClock::secondOf(uint64 n) const {
  const uint64 ns = startNanos_ + static_cast<uint64>(offsetOf(n).count());
  return startSeconds_ + static_cast<int64>(ns / kNanos);
}

uint64 StreamClock::firstSampleOf(int64 second) const {
  if (second <= startSeconds_) return 0;
  // Time from sample 0 to the start of `second` as whole seconds plus a remainder below 1e9.
  uint64 whole = static_cast<uint64>(second - startSeconds_);
  uint64 rest = 0;
  if (startNanos_ > 0) {
    whole -= 1;
    rest = kNanos - startNanos_;
  }
  // The smallest n with n / rate >= whole + rest / 1e9.
  return whole * rate_ + (rest * rate_ + kNanos - 1) / kNanos;
}

}  // namespace velsim
