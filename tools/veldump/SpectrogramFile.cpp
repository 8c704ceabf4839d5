#include "SpectrogramFile.h"

#include "SpectrumFile.h"
#include "WavFile.h"

#include <veliface/files/VelDateStamp.h>

#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <ostream>

namespace veldump {

namespace {

// Few spectra or few bins would give a picture too small to look at: each cell is then
// drawn as a block of pixels, so that the image is at least about this large.
constexpr std::size_t kMinWidth = 512;
constexpr std::size_t kMinHeight = 256;

unsigned enlarged(std::size_t cells, std::size_t atLeast) {
  const std::size_t factor = (atLeast + cells - 1) / cells;
  return static_cast<unsigned>(cells * std::max<std::size_t>(factor, 1));
}

}  // namespace

std::string defaultPngPath(const std::string& input) {
  return std::filesystem::path(input).replace_extension(".png").string();
}

int drawSpectrogram(const std::string& path, const SpectrogramOptions& opt, std::ostream& out, std::ostream& err) {
  if (opt.range.lo && opt.range.hi && !(*opt.range.hi > *opt.range.lo)) {
    err << "veldump: --max must be above --min\n";
    return EXIT_USAGE;
  }
  const SpectrumSummary s = readSpectrumFile(path);
  if (!s.readable()) {
    err << "veldump: " << path << ": " << s.error << '\n';
    return EXIT_UNREADABLE;
  }
  if (s.spectra == 0 || s.maxBins == 0) {
    err << "veldump: " << path << ": no spectra to draw\n";
    return EXIT_UNREADABLE;
  }
  SpectrumReducer reducer(s.spectra, s.maxBins, opt.maxColumns, opt.maxRows);
  const SpectrumSummary again = readSpectrumFile(path, [&](const SpectrumBlock&, const MavSpectrumFileData& d) {
    reducer.add(d.spectrum(), static_cast<std::size_t>(std::max<int>(d.numBins(), 0)));
  });
  if (again.spectra != s.spectra) {
    err << "veldump: " << path << ": the file changed while it was read\n";
    return EXIT_UNREADABLE;
  }
  const unsigned width = enlarged(reducer.columns(), kMinWidth);
  const unsigned height = enlarged(reducer.rows(), kMinHeight);
  const Image image = renderSpectrogram(reducer.result(), width, height, opt.range);
  const std::string target = opt.output.empty() ? defaultPngPath(path) : opt.output;
  std::string why;
  if (!writePng(image, target, why)) {
    err << "veldump: " << why << '\n';
    return EXIT_PROBLEM;
  }
  const double binWidth = s.blocks.front().header.binWidth();
  out << "wrote " << target << ": " << width << " x " << height << " pixels\n"
      << "x: time " << VelUtil::specTimeStamp(s.firstTime) << " to " << VelUtil::specTimeStamp(s.lastTime) << ", "
      << s.spectra << " spectra\n"
      << "y: frequency 0 to " << std::fixed << std::setprecision(0) << binWidth * static_cast<double>(s.maxBins)
      << " Hz, " << s.maxBins << " bins\n"
      << "colour: level " << std::setprecision(1) << opt.range.lo.value_or(s.minLevel) << " (dark) to "
      << opt.range.hi.value_or(s.maxLevel) << " (bright) dB above the reference\n";
  if (reducer.columns() < s.spectra) {
    out << "downsampled: " << s.spectra << " spectra averaged into " << reducer.columns() << " columns\n";
  }
  if (reducer.rows() < s.maxBins) {
    out << "downsampled: " << s.maxBins << " bins averaged into " << reducer.rows() << " rows\n";
  }
  for (const BadLine& b : s.malformed) err << "veldump: " << path << ": line " << b.line << ": " << b.why << '\n';
  return s.malformed.empty() ? EXIT_OK : EXIT_PROBLEM;
}

}  // namespace veldump
