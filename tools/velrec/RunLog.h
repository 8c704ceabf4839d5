#pragma once
// The log of a run, kept beside the recordings (velrec.log): every line with the UTC time it
// was written, so that a deployment left alone for weeks can be read back afterwards.

#include <cstdio>
#include <filesystem>
#include <string>

namespace velrec {

/// Appends time-stamped lines to a file; each line is flushed at once.
class RunLog {
 public:
  /// Opens (appends to) `path`; `error` gets the path and the system's reason on failure.
  RunLog(const std::filesystem::path& path, std::string& error);
  ~RunLog();
  RunLog(const RunLog&) = delete;
  RunLog& operator=(const RunLog&) = delete;
  /// Writes "2026-11-24T10:15:00.123Z " + `line`.
  void write(const std::string& line);

 private:
  std::FILE* file_ = nullptr;
};

/// The current UTC time as "2026-11-24T10:15:00.123Z".
std::string utcNow();

}  // namespace velrec
