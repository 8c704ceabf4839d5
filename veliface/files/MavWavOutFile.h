#pragma once
/// \file The output file of a WAV recording: sample blocks batched into large writes, sizes
/// patched in place.

#include <mavcommon/MavTypes.h>

#include <cstddef>
#include <filesystem>
#include <memory>

/// A recording file opened for writing. Small appends are gathered in memory and written in
/// large batches at explicit offsets, so a failed or partial write never shifts later data;
/// bytes that could not be written stay in memory and are tried again by the next flush.
class MavWavOutFile {
 public:
  /// Default size of one batched write.
  static constexpr std::size_t kDefaultBatchBytes = std::size_t{1} << 20;

  /// A closed file that will batch up to `batchBytes` per write.
  explicit MavWavOutFile(std::size_t batchBytes = kDefaultBatchBytes);
  /// Flushes and closes an open file (sizes are not patched here).
  ~MavWavOutFile();
  MavWavOutFile(const MavWavOutFile&) = delete;
  MavWavOutFile& operator=(const MavWavOutFile&) = delete;

  /// Creates or truncates `path` for writing; false (and fail set) when it cannot be opened.
  bool open(const std::filesystem::path& path);
  /// True while the file is open.
  bool isOpen() const { return fd_ >= 0; }
  /// Appends `n` bytes. False when they could not be accepted: nothing of them is kept then,
  /// while earlier bytes not yet on disk stay queued for the next flush.
  bool append(const void* data, std::size_t n);
  /// Writes every gathered byte to the file; false when some remain unwritten.
  bool flush();
  /// Overwrites the 32-bit little-endian value at `offset` (a size field of the header).
  bool patch(uint64 offset, uint32 value);
  /// Forces written data to the storage device.
  bool sync();
  /// Flushes and closes; false (and fail set) when either failed.
  bool close();
  /// Gives back the batch memory of a finished file that stays open.
  void releaseBuffer();
  /// True once any operation on the file failed.
  bool fail() const { return failed_; }
  /// Bytes accepted so far (on disk or still gathered).
  uint64 size() const { return onDisk_ + used_; }

 private:
  bool writeAt(const uint8* data, std::size_t n, uint64 offset, std::size_t& written);

  int fd_ = -1;
  std::size_t capacity_;
  std::unique_ptr<uint8[]> buf_;
  std::size_t used_ = 0;
  uint64 onDisk_ = 0;
  bool failed_ = false;
};
