#include <sim/StreamClock.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace velsim {
namespace {

using std::chrono::nanoseconds;

TEST(StreamClock, SampleOffsetsAreExactOverLongRuns) {
  const StreamClock c(48000, 0, 0, true);
  EXPECT_EQ(c.offsetOf(0), nanoseconds(0));
  EXPECT_EQ(c.offsetOf(1), nanoseconds(20833));
  EXPECT_EQ(c.offsetOf(48000), nanoseconds(1000000000));
  EXPECT_EQ(c.offsetOf(72000), nanoseconds(1500000000));
  // A year of samples: no drift and no overflow.
  EXPECT_EQ(c.offsetOf(48000ull * 86400 * 365), nanoseconds(86400ll * 365 * 1000000000));

  const auto t0 = StreamClock::SteadyClock::time_point(nanoseconds(5000));
  const StreamClock paced(8000, 0, 0, false, t0);
  EXPECT_EQ(paced.deadlineOf(4000), t0 + nanoseconds(500000000));
}

TEST(StreamClock, SecondBoundariesFollowTheStartTime) {
  struct Case {
    uint32 rate;
    int64 startSeconds;
    uint32 startNanos;
    int64 second;
    uint64 first;  // first sample at or after that second
  };
  const Case cases[] = {
      {10, 1000, 0, 1000, 0},       {10, 1000, 0, 1001, 10},
      {10, 1000, 500000000, 1001, 5},  // half a second in: five samples to the boundary
      {10, 1000, 500000000, 1002, 15}, {10, 1000, 500000000, 999, 0},
      {3, 0, 250000000, 1, 3},      // samples at .25, .58, .92, then 1.25
      {48000, 1700000000, 999999999, 1700000001, 1},
  };
  for (const Case& k : cases) {
    const StreamClock c(k.rate, k.startSeconds, k.startNanos, true);
    EXPECT_EQ(c.firstSampleOf(k.second), k.first) << k.rate << " " << k.startNanos << " " << k.second;
  }

  // secondOf and firstSampleOf agree at every boundary.
  const StreamClock c(44100, 1600000000, 123456789, true);
  EXPECT_EQ(c.secondOf(0), 1600000000);
  for (int64 s = 1600000001; s < 1600000050; ++s) {
    const uint64 n = c.firstSampleOf(s);
    EXPECT_EQ(c.secondOf(n), s);
    EXPECT_EQ(c.secondOf(n - 1), s - 1);
    EXPECT_EQ(c.nextSecondStart(n - 1), n);
  }
}

TEST(StreamClock, FastModeNeverSleepsAndBadSettingsAreRefused) {
  // An hour ahead: returns at once in fast mode (a sleeping clock would stall the test run).
  const StreamClock fast(48000, 0, 0, true);
  fast.waitFor(48000ull * 3600);
  EXPECT_TRUE(fast.fast());

  EXPECT_THROW(StreamClock(0, 0, 0, true), std::invalid_argument);
  EXPECT_THROW(StreamClock(48000, 0, 1000000000, true), std::invalid_argument);
}

}  // namespace
}  // namespace velsim
