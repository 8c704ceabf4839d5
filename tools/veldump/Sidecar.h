#pragma once
/// \file The JSON sidecar velrec writes beside each WAV file (X.json beside X.wav): the true
/// start time, the gaps filled with zeros, the device. Read here to report beside the header.
#include <nlohmann/json.hpp>

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace veldump {

/// What the sidecar of a WAV file says, as far as this tool reports it.
struct Sidecar {
  bool present = false;        ///< a sidecar file exists beside the WAV file
  std::string error;           ///< why it could not be read; empty when read (or absent)
  std::string startTime;       ///< ISO 8601 UTC time of the first sample ("" when not given)
  std::string startSource;     ///< how that time was measured ("" when not given)
  std::int64_t frames = -1;    ///< frames the file holds by the sidecar (-1 when not given)
  std::vector<std::pair<std::uint64_t, std::uint64_t>> gaps;  ///< (start frame, frames) of each gap
  nlohmann::json data;         ///< the whole object, for JSON output
  /// Frames of all gaps together.
  std::uint64_t gapFrames() const;
};

/// The sidecar path of `wavPath`: the same name with ".json".
std::string sidecarPathOf(const std::string& wavPath);

/// Reads the sidecar beside `wavPath`; a missing one is `present == false` with no error.
/// Fields that are missing or of another type are left at their defaults (older files).
Sidecar readSidecar(const std::string& wavPath);

/// Prints the start time and the gaps (the first `maxGaps`, then how many more) to `out`;
/// appends to `problems` a sidecar that could not be read and a frame count that differs
/// from `wavFrames`, the frames the WAV file's data holds.
void printSidecar(const Sidecar& s, std::uint64_t wavFrames, std::ostream& out, std::vector<std::string>& problems,
                  std::size_t maxGaps = 10);

}  // namespace veldump
