#pragma once
/// \file What a recorder tells its host: files opened and closed, progress, gaps and errors.

#include <mavcommon/MavTypes.h>

#include <cstddef>
#include <filesystem>
#include <string>

namespace veliface::record {

/// Callbacks of a recorder; every one has an empty default so a host overrides what it needs.
/// They are called on the thread that feeds the recorder, from inside its calls.
class RecordListener {
 public:
  /// Virtual: hosts derive from it.
  virtual ~RecordListener() = default;
  /// A recording file was opened (created, or continued for spectrum files).
  virtual void fileOpened(const std::filesystem::path& path) { (void)path; }
  /// A recording file was finished and closed; `bytes` is its size.
  virtual void fileClosed(const std::filesystem::path& path, uint64 bytes) { (void)path, (void)bytes; }
  /// Running total of sample bytes (waveform) or data lines (spectrum) written since start.
  virtual void bytesWritten(uint64 total) { (void)total; }
  /// Sample bytes of `frames` sample frames went into the open WAV file, little-endian as
  /// they stand in it; lets a host check what was written without reading the file back.
  virtual void samplesWritten(const uint8* data, std::size_t bytes, uint32 frames) {
    (void)data, (void)bytes, (void)frames;
  }
  /// `count` samples are missing between two consecutive blocks of one second.
  virtual void missedSamples(uint64 count) { (void)count; }
  /// `frames` sample frames never arrived and were written as zeros into `file`, from its
  /// frame `atFrame` on, so that the samples after them keep their true time.
  virtual void gapFilled(const std::filesystem::path& file, uint64 atFrame, uint64 frames) {
    (void)file, (void)atFrame, (void)frames;
  }
  /// The stream started over (`reason`: a pause, a clock jump, a reset): the file was
  /// finished and the next starts at the new stream's time.
  virtual void streamRestarted(const std::string& reason) { (void)reason; }
  /// Two consecutive event headers are not one second of samples apart.
  virtual void sequenceLoss(uint64 lastSeq, uint64 seq) { (void)lastSeq, (void)seq; }
  /// A writer error: the writer's code and its text. Recording goes on where it can.
  virtual void error(int code, const std::string& text) { (void)code, (void)text; }
};

}  // namespace veliface::record
