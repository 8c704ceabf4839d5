#include <sim/SignalGenerator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

namespace velsim {
namespace {

std::vector<int32_t> generate(SignalGenerator& g, std::size_t frames) {
  std::vector<int32_t> v(frames * g.config().channels);
  g.fill(v.data(), frames);
  return v;
}

TEST(SignalGenerator, SameSeedSameSignalHoweverChunked) {
  SignalConfig c;
  c.channels = 2;
  c.noiseAmplitude = 0.1;
  c.sweepPeriodSeconds = 0.5;
  c.sweepSeconds = 0.2;
  SignalGenerator whole(c);
  const std::vector<int32_t> a = generate(whole, 30000);
  EXPECT_EQ(whole.sampleCount(), 30000u);

  SignalGenerator pieces(c);
  std::vector<int32_t> b;
  for (std::size_t n : {1u, 7u, 4096u, 25896u}) {
    const std::vector<int32_t> part = generate(pieces, n);
    b.insert(b.end(), part.begin(), part.end());
  }
  EXPECT_EQ(a, b);

  c.seed = 2;
  SignalGenerator other(c);
  EXPECT_NE(generate(other, 30000), a);

  // The two channels share tone and sweep but not their noise.
  std::size_t differ = 0;
  for (std::size_t i = 0; i < a.size(); i += 2) differ += a[i] != a[i + 1];
  EXPECT_GT(differ, a.size() / 4);
}

TEST(SignalGenerator, StaysWithinFullScaleWhenOverdriven) {
  for (unsigned depth : {16u, 24u}) {
    SignalConfig c;
    c.bitDepth = depth;
    c.toneAmplitude = 0.9;
    c.sweepAmplitude = 0.9;
    c.noiseAmplitude = 0.5;
    c.sweepPeriodSeconds = 1.0;
    c.sweepSeconds = 1.0;
    SignalGenerator g(c);
    const int32_t top = depth == 16 ? 32767 : 8388607;
    EXPECT_EQ(g.fullScale(), top);
    const std::vector<int32_t> v = generate(g, 48000);
    const auto [lo, hi] = std::minmax_element(v.begin(), v.end());
    EXPECT_EQ(*hi, top) << depth << " bits: overdrive clips at full scale";
    EXPECT_EQ(*lo, -top - 1) << depth << " bits";
  }
}

// RMS of channel 0 over [from, to) sample frames.
double rms(const std::vector<int32_t>& v, std::size_t from, std::size_t to) {
  double sum = 0;
  for (std::size_t i = from; i < to; ++i) sum += static_cast<double>(v[i]) * v[i];
  return std::sqrt(sum / static_cast<double>(to - from));
}

TEST(SignalGenerator, SweepRunsAtTheStartOfEachPeriod) {
  SignalConfig c;
  c.sampleRate = 8000;
  c.bitDepth = 16;
  c.noiseAmplitude = 0;
  c.toneHz = 500;
  c.toneAmplitude = 0.25;
  c.sweepStartHz = 1000;
  c.sweepEndHz = 3000;
  c.sweepAmplitude = 0.25;
  c.sweepSeconds = 1;
  c.sweepPeriodSeconds = 4;
  SignalGenerator g(c);
  const std::vector<int32_t> v = generate(g, 8 * 8000);
  const double toneOnly = 0.25 * 32767 / std::sqrt(2.0);
  const double withSweep = toneOnly * std::sqrt(2.0);  // two uncorrelated sines of equal size
  for (std::size_t period = 0; period < 2; ++period) {
    const std::size_t base = period * 32000;
    EXPECT_NEAR(rms(v, base, base + 8000), withSweep, withSweep * 0.02) << period;
    EXPECT_NEAR(rms(v, base + 8000, base + 32000), toneOnly, toneOnly * 0.02) << period;
  }
}

TEST(SignalGenerator, RejectsConfigurationsItCannotProduce) {
  SignalConfig c;
  c.bitDepth = 20;
  EXPECT_THROW(SignalGenerator{c}, std::invalid_argument);
  c = SignalConfig{};
  c.channels = 0;
  EXPECT_THROW(SignalGenerator{c}, std::invalid_argument);
  c = SignalConfig{};
  c.toneHz = 24000;  // at half of 48 kHz
  EXPECT_THROW(SignalGenerator{c}, std::invalid_argument);
  c = SignalConfig{};
  c.sweepSeconds = 11;  // longer than its 10 s period
  EXPECT_THROW(SignalGenerator{c}, std::invalid_argument);
}

}  // namespace
}  // namespace velsim
