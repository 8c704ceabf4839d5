#pragma once
/// \file Checking a WAV recording's sizes against its length, and repairing sizes left at
/// zero or stale by a recording that was cut off.
#include <veliface/files/MavWavHeader.h>

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace veldump {

/// Exit codes shared by the subcommands: a file that cannot be read is a failure like a
/// problem found in it; 2 is kept for wrong options, as in every tool.
enum ExitCode { EXIT_OK = 0, EXIT_PROBLEM = 1, EXIT_UNREADABLE = 1, EXIT_USAGE = 2 };

/// What a WAV file's header says and how it fits the file.
struct WavInspection {
  std::string path;                       ///< the file inspected
  std::string error;                      ///< why the file is unreadable (without its path); empty when readable
  std::uint64_t fileSize = 0;             ///< length of the file in bytes
  std::uint64_t dataOffset = 0;           ///< offset of the first sample byte
  std::uint32_t riffSize = 0;             ///< RIFF size field as stored
  std::shared_ptr<MavWavHeader> header;   ///< the header as the library reads it
  std::vector<std::string> problems;      ///< inconsistencies found; empty when the file is OK
  /// The INFO texts (identifier, text) of a file of several channels, read as they stand:
  /// such a file carries the array record, which the library reads back as a one-sensor record.
  std::vector<std::pair<std::string, std::string>> arrayInfo;

  /// True when the header could be read.
  bool readable() const { return error.empty(); }
  /// Sample bytes actually in the file after the header.
  std::uint64_t dataInFile() const { return fileSize > dataOffset ? fileSize - dataOffset : 0; }
};

/// Reads the header of the WAV file at `path` and checks its RIFF and data sizes and format
/// against the file.
WavInspection inspectWav(const std::string& path);

/// Prints format, sizes, duration, INFO metadata, what the sidecar beside the file says
/// (true start, gaps) and the problems; returns the exit code (0 OK, 1 problems or unreadable).
int printWavReport(const WavInspection& w, std::ostream& out);

/// Rewrites the RIFF and data sizes of the file at `path` from its length (the data size
/// rounded down to whole blocks, a partial block dropped), keeping everything else, unless
/// that could make the file worse: a valid file (any chunk order, chunks after the samples)
/// is left alone; a file another program is writing (it holds the lock the library's writer
/// takes), one without a fmt chunk before its samples, or one whose block align does not fit
/// its format is refused. Writes to `output`, or in place when `output` is empty, through a
/// temporary file in the target directory that is renamed over the target. Reports what it
/// did to `out`; returns 0 when repaired or already right, 1 when refused or it cannot
/// write, 2 when the input is unreadable.
int repairWav(const std::string& path, const std::string& output, std::ostream& out);

}  // namespace veldump
