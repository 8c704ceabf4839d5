#pragma once
/// \file Drawing spectra as a spectrogram image: time on x, frequency bin on y (lowest bin at
/// the bottom), level as colour on a perceptual (viridis-like) scale.
#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace veldump {

/// An 8-bit RGB image, rows top to bottom.
struct Image {
  unsigned width = 0;         ///< pixels per row
  unsigned height = 0;        ///< rows
  std::vector<uint8_t> rgb;   ///< width x height x 3 bytes
};

/// The colour of `t` in [0, 1] (clamped) on a viridis-like scale: dark blue-violet through
/// teal and green to yellow, with lightness rising steadily so that levels read correctly
/// also in grey.
std::array<uint8_t, 3> levelColour(double t);

/// Renders `spectra` (one vector of bin levels per spectrum, in time order) into a
/// `width` x `height` image. Each pixel shows the mean level of the spectra and bins that
/// fall into it (the nearest one when the image is larger than the data); levels are scaled
/// from the lowest to the highest level present. Spectra with fewer bins than the longest
/// are padded with the lowest level.
Image renderSpectrogram(const std::vector<std::vector<uint8_t>>& spectra, unsigned width,
                        unsigned height);

/// Writes `image` as an 8-bit RGB PNG; false with `err` set when it cannot.
bool writePng(const Image& image, const std::string& path, std::string& err);

}  // namespace veldump
