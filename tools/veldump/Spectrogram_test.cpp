#include "Spectrogram.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

using Rgb = std::array<uint8_t, 3>;

Rgb pixel(const veldump::Image& img, unsigned x, unsigned y) {
  const std::size_t at = (static_cast<std::size_t>(y) * img.width + x) * 3;
  return {img.rgb[at], img.rgb[at + 1], img.rgb[at + 2]};
}

TEST(Spectrogram, ColourScaleRunsFromVioletToYellowGettingLighter) {
  EXPECT_EQ(veldump::levelColour(0.0), (Rgb{68, 1, 84}));
  EXPECT_EQ(veldump::levelColour(0.5), (Rgb{33, 145, 140}));
  EXPECT_EQ(veldump::levelColour(1.0), (Rgb{253, 231, 37}));
  EXPECT_EQ(veldump::levelColour(-3.0), veldump::levelColour(0.0));
  EXPECT_EQ(veldump::levelColour(7.0), veldump::levelColour(1.0));
  // Perceived lightness must rise with the level, or a spectrogram misleads.
  double last = -1;
  for (int i = 0; i <= 100; ++i) {
    const Rgb c = veldump::levelColour(i / 100.0);
    const double luma = 0.2126 * c[0] + 0.7152 * c[1] + 0.0722 * c[2];
    EXPECT_GT(luma, last) << i;
    last = luma;
  }
}

TEST(Spectrogram, TimeRunsRightAndLowBinsSitAtTheBottom) {
  // Two spectra of three bins; only the second spectrum's top bin is loud.
  const std::vector<std::vector<uint8_t>> spectra = {{10, 10, 10}, {10, 10, 250}};
  const veldump::Image same = veldump::renderSpectrogram(spectra, 2, 3);
  EXPECT_EQ(pixel(same, 1, 0), veldump::levelColour(1.0));  // right column, top row
  EXPECT_EQ(pixel(same, 0, 0), veldump::levelColour(0.0));
  EXPECT_EQ(pixel(same, 1, 2), veldump::levelColour(0.0));  // bottom row is bin 0
  // Shrunk to one pixel per axis: the mean of all six levels.
  const veldump::Image one = veldump::renderSpectrogram(spectra, 1, 1);
  EXPECT_EQ(pixel(one, 0, 0), veldump::levelColour((300.0 / 6 - 10) / 240));
  // Enlarged: each cell becomes a block; a short spectrum is padded with the lowest level.
  const veldump::Image big = veldump::renderSpectrogram({{10, 10, 250}, {10}}, 4, 6);
  EXPECT_EQ(pixel(big, 1, 1), veldump::levelColour(1.0));
  EXPECT_EQ(pixel(big, 2, 0), veldump::levelColour(0.0));
}

TEST(Spectrogram, PngHeaderCarriesTheRequestedSize) {
  const auto path = std::filesystem::temp_directory_path() / "veldump-spectrogram-test.png";
  std::string err;
  ASSERT_TRUE(veldump::writePng(veldump::renderSpectrogram({{1, 2}, {3, 4}}, 300, 7), path.string(), err)) << err;
  std::ifstream in(path, std::ios::binary);
  std::ostringstream read;
  read << in.rdbuf();
  const std::string bytes = read.str();
  std::filesystem::remove(path);
  ASSERT_GE(bytes.size(), 33u);
  // Signature, IHDR length 13, "IHDR", width 300, height 7, 8 bits, RGB.
  const std::string expected("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\x01\x2c\0\0\0\x07\x08\x02", 26);
  EXPECT_EQ(bytes.substr(0, 26), expected);
  EXPECT_FALSE(veldump::writePng(veldump::Image{}, path.string(), err));
  EXPECT_FALSE(veldump::writePng(veldump::renderSpectrogram({{1}}, 1, 1), "/nonexistent-dir/x.png", err));
  EXPECT_NE(err.find("cannot open"), std::string::npos);
}

}  // namespace
