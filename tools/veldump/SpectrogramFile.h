#pragma once
/// \file The spectrogram of a spectrum file: read it twice (once to size the picture, once
/// to fill it), shrink long recordings to a reasonable image and write a PNG.
#include "Spectrogram.h"

#include <cstddef>
#include <iosfwd>
#include <string>

namespace veldump {

/// How to draw a spectrum file.
struct SpectrogramOptions {
  std::string output;              ///< PNG path; empty: the input path with ".png" for its extension
  LevelRange range;                ///< levels at the ends of the colour scale
  std::size_t maxColumns = 4096;   ///< more spectra than this are averaged into this many columns
  std::size_t maxRows = 1024;      ///< more bins than this are averaged into this many rows
};

/// The PNG path used when none is given: `input` with its extension replaced by ".png".
std::string defaultPngPath(const std::string& input);

/// Draws the spectrogram of the spectrum file `path` (time along x, frequency up y) and
/// writes it as a PNG; prints the output path, image size and axes to `out`, errors and
/// malformed lines to `err`. Returns 0 written, 1 written but malformed lines were passed
/// over (or the PNG could not be written), 2 unreadable or without spectra.
int drawSpectrogram(const std::string& path, const SpectrogramOptions& opt, std::ostream& out, std::ostream& err);

}  // namespace veldump
