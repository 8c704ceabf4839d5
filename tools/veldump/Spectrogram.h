#pragma once
/// \file Drawing spectra as a spectrogram image: time on x, frequency bin on y (lowest bin at
/// the bottom), level as colour on a perceptual (viridis-like) scale.
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
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

/// The levels that map to the two ends of the colour scale.
struct LevelRange {
  std::optional<double> lo;  ///< level drawn darkest; default the lowest level present
  std::optional<double> hi;  ///< level drawn brightest; default the highest level present
};

/// Renders `spectra` (one vector of bin levels per spectrum, in time order) into a
/// `width` x `height` image. Each pixel shows the mean level of the spectra and bins that
/// fall into it (the nearest one when the image is larger than the data); levels are scaled
/// over `range` (by default from the lowest to the highest level present), levels outside it
/// take the colour of its ends. Spectra with fewer bins than the longest are padded with
/// the lowest level present.
Image renderSpectrogram(const std::vector<std::vector<uint8_t>>& spectra, unsigned width,
                        unsigned height, const LevelRange& range = {});

/// Shrinks a long run of spectra to at most `maxColumns` x `maxRows` cells while they are
/// read, so that memory does not grow with the file: spectrum i of `total` falls into
/// column i * columns / total, bin b of `bins` into row b * rows / bins, and each cell
/// keeps the mean of what falls into it.
class SpectrumReducer {
 public:
  /// For `total` spectra of up to `bins` bins.
  SpectrumReducer(std::size_t total, std::size_t bins, std::size_t maxColumns, std::size_t maxRows);
  /// Adds the next spectrum (`count` levels); spectra beyond `total` go to the last column.
  void add(const uint8_t* levels, std::size_t count);
  /// Columns of the result.
  std::size_t columns() const { return columns_; }
  /// Rows (bins) of each result column.
  std::size_t rows() const { return rows_; }
  /// The cells' means, rounded, one vector per column; a column ends before its first row
  /// that received nothing (a column no spectrum fell into is empty).
  std::vector<std::vector<uint8_t>> result() const;

 private:
  std::size_t total_;
  std::size_t bins_;
  std::size_t columns_;
  std::size_t rows_;
  std::size_t next_ = 0;
  std::vector<double> sums_;
  std::vector<std::uint32_t> counts_;
};

/// Writes `image` as an 8-bit RGB PNG; false with `err` set when it cannot.
bool writePng(const Image& image, const std::string& path, std::string& err);

}  // namespace veldump
