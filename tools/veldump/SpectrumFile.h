#pragma once
/// \file Reading a spectrum text file through the library's header and data-line readers:
/// finding its header blocks and data lines, noting malformed lines by number, and
/// summarising what it holds.
#include <veliface/files/MavSpectrumFile.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace veldump {

/// One header block of a spectrum file and the spectra that follow it.
struct SpectrumBlock {
  std::size_t line = 0;             ///< line number of the block's first line ("File Details:")
  MavSpectrumFileHeader header;     ///< the header as the library reads it back
  bool haveFrequencies = false;     ///< a line of bin frequencies followed the header
  double startFrequency = 0.0;      ///< the first bin frequency of that line, Hz
  double endFrequency = 0.0;        ///< the last bin frequency of that line, Hz
  std::size_t frequencyBins = 0;    ///< number of frequencies on that line
  std::size_t spectra = 0;          ///< data lines read under this block
};

/// A line that is not what its place in the file calls for.
struct BadLine {
  std::size_t line = 0;  ///< 1-based line number
  std::string why;       ///< what is wrong with it
};

/// What a whole spectrum file holds.
struct SpectrumSummary {
  std::string error;                  ///< why the file is unreadable; empty when readable
  std::vector<SpectrumBlock> blocks;  ///< header blocks in file order
  std::vector<BadLine> malformed;     ///< malformed lines in file order
  std::size_t spectra = 0;            ///< data lines read
  std::int64_t firstTime = 0;         ///< time of the first spectrum, seconds since 1970
  std::int64_t lastTime = 0;          ///< time of the last spectrum
  std::int32_t firstSeq = 0;          ///< sequence number of the first spectrum
  std::int32_t lastSeq = 0;           ///< sequence number of the last spectrum
  std::size_t minBins = 0;            ///< fewest bins in a spectrum
  std::size_t maxBins = 0;            ///< most bins in a spectrum
  int minLevel = 0;                   ///< lowest level byte of any bin
  int maxLevel = 0;                   ///< highest level byte of any bin
  double meanLevel = 0.0;             ///< mean level over every bin of every spectrum
  std::vector<double> binMeans;       ///< mean level of each bin over the spectra that have it

  /// True when the file could be read as a spectrum file.
  bool readable() const { return error.empty(); }
  /// Bin with the highest mean level (0 without spectra).
  std::size_t loudestBin() const;
};

/// Called for each spectrum read, with the block it belongs to.
using SpectrumSink = std::function<void(const SpectrumBlock&, const MavSpectrumFileData&)>;

/// Reads a spectrum file from `in`: every header block goes through
/// MavSpectrumFileHeader::deserialise and every data line through
/// MavSpectrumFileData::deserialise; `sink` (if set) sees each spectrum. Unreadable when the
/// first line is not a spectrum header; malformed lines are noted and passed over.
SpectrumSummary readSpectrumFile(std::istream& in, const SpectrumSink& sink = nullptr);

/// Opens `path` and reads it as above; unreadable when it cannot be opened.
SpectrumSummary readSpectrumFile(const std::string& path, const SpectrumSink& sink = nullptr);

/// Prints the summary as text (or one JSON object with `json`); returns the exit code:
/// 0 OK, 1 malformed lines found, 2 unreadable.
int printSpectrumReport(const SpectrumSummary& s, bool json, std::ostream& out);

}  // namespace veldump
