#include <sim/SignalGenerator.h>
#include <sim/SpectrumComputer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace velsim {
namespace {

std::vector<int32_t> tone(double hz, double amplitude, std::size_t frames, unsigned channels = 1) {
  SignalConfig c;
  c.sampleRate = 48000;
  c.channels = channels;
  c.toneHz = hz;
  c.toneAmplitude = amplitude;
  c.noiseAmplitude = 0;
  c.sweepPeriodSeconds = 0;
  c.sweepSeconds = 0;
  SignalGenerator g(c);
  std::vector<int32_t> v(frames * channels);
  g.fill(v.data(), frames);
  return v;
}

std::size_t peakBin(const std::vector<uint8>& levels) {
  return static_cast<std::size_t>(std::max_element(levels.begin(), levels.end()) - levels.begin());
}

TEST(SpectrumComputer, PureTonePeaksAtItsBinWithItsAmplitude) {
  // 3000 Hz at 48 kHz with 1024 points is exactly bin 64. Half of 24-bit full scale is
  // 4,194,303 counts: 20 log10 of that is 132.45 dB re one count.
  SpectrumComputer s({1024, 1024, 1, 0, 0.0});
  const std::vector<int32_t> v = tone(3000, 0.5, 1024);
  s.push(v.data(), v.size());
  Spectrum out;
  ASSERT_TRUE(s.pop(out));
  ASSERT_EQ(out.levels.size(), 512u);
  EXPECT_EQ(peakBin(out.levels), 64u);
  EXPECT_EQ(out.levels[64], 132);
  // The Hann window puts half the amplitude (-6 dB) in each neighbour and nothing further.
  EXPECT_EQ(out.levels[63], 126);
  EXPECT_EQ(out.levels[65], 126);
  EXPECT_LT(out.levels[60], 40);
  EXPECT_LT(out.levels[200], 40);

  // The reference level shifts every byte down; levels below it clamp at 0.
  SpectrumComputer ref({1024, 1024, 1, 100, 100.0});
  ref.push(v.data(), v.size());
  ASSERT_TRUE(ref.pop(out));
  EXPECT_EQ(out.levels.size(), 100u);
  EXPECT_EQ(out.levels[64], 32);
  EXPECT_EQ(out.levels[10], 0);
}

TEST(SpectrumComputer, ToneBetweenBinsPeaksAtTheNearestBin) {
  // Channel 1 of interleaved stereo; 4100 Hz at 48 kHz and 2048 points is bin 174.9.
  const std::vector<int32_t> v = tone(4100, 0.3, 2048, 2);
  SpectrumComputer s({2048, 2048, 1, 0, 0.0});
  s.push(v.data() + 1, 2048, 2);
  Spectrum out;
  ASSERT_TRUE(s.pop(out));
  EXPECT_EQ(peakBin(out.levels), 175u);
}

TEST(SpectrumComputer, HopAndAccumulationDecideWhereSpectraStart) {
  const std::vector<int32_t> v = tone(1000, 0.5, 6000);
  struct Case {
    SpectrumConfig config;
    std::vector<uint64> starts;
  };
  const Case cases[] = {
      // Overlapping FFTs every 128 samples, four per spectrum: FFTs at 0..5632.
      {{256, 128, 4, 0, 0.0}, {0, 512, 1024, 1536, 2048, 2560, 3072, 3584, 4096, 4608, 5120}},
      // Gaps between FFTs: 256 points every 1000 samples.
      {{256, 1000, 1, 0, 0.0}, {0, 1000, 2000, 3000, 4000, 5000}},
      {{256, 1000, 2, 0, 0.0}, {0, 2000, 4000}},
  };
  for (const Case& c : cases) {
    for (std::size_t piece : {std::size_t{6000}, std::size_t{1}, std::size_t{333}}) {
      SpectrumComputer s(c.config);
      for (std::size_t i = 0; i < v.size(); i += piece) {
        s.push(v.data() + i, std::min(piece, v.size() - i));
      }
      std::vector<uint64> starts;
      Spectrum out;
      while (s.pop(out)) {
        starts.push_back(out.firstSample);
        EXPECT_EQ(peakBin(out.levels), 5u);  // 1000 Hz in 187.5 Hz bins
      }
      EXPECT_EQ(starts, c.starts) << "hop " << c.config.hop << " accum "
                                  << c.config.accumulations << " piece " << piece;
    }
  }
}

TEST(SpectrumComputer, AccumulationAveragesPower) {
  // One FFT of a tone and one of silence average to half the power: 3 dB below the tone.
  std::vector<int32_t> v = tone(3000, 0.5, 2048);
  std::fill(v.begin() + 1024, v.end(), 0);
  SpectrumComputer s({1024, 1024, 2, 0, 0.0});
  s.push(v.data(), v.size());
  Spectrum out;
  ASSERT_TRUE(s.pop(out));
  EXPECT_EQ(out.levels[64], 129);
  EXPECT_FALSE(s.pop(out));
}

TEST(SpectrumComputer, LevelBytesAndConfigurationLimits) {
  EXPECT_EQ(SpectrumComputer::levelByte(0.0, 0.0), 0);
  EXPECT_EQ(SpectrumComputer::levelByte(1e30, 0.0), 255);  // 300 dB clamps
  EXPECT_EQ(SpectrumComputer::levelByte(1e10, 40.0), 60);

  const SpectrumConfig bad[] = {
      {1000, 1000, 1, 0, 0.0},  // not a power of two
      {65536, 1, 1, 0, 0.0},    // does not fit 16 bits
      {1024, 0, 1, 0, 0.0},     // no hop
      {1024, 1024, 0, 0, 0.0},  // no accumulation
      {1024, 1024, 1, 513, 0.0},  // more bins than half the points
  };
  for (const SpectrumConfig& c : bad) EXPECT_THROW(SpectrumComputer{c}, std::invalid_argument);
}

}  // namespace
}  // namespace velsim
