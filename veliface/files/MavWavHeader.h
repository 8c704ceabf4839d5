#pragma once
/// \file A WAV header as read back from a recording, and the reader that builds it from bytes.

#include <veliface/files/MavWavFormat.h>
#include <veliface/files/MavWavInfoData.h>

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/FiniteStateMachine.h>
#include <mavcommon/MavTypes.h>
#include <mavcommon/StateEvent.h>

#include <memory>

/// The header of a recording file: format, metadata and the size of the sample data.
class MavWavHeader {
 public:
  /// The format chunk.
  std::shared_ptr<MavWavFmtData> fmt() const { return fmt_; }
  /// Sets the format chunk.
  void setFmt(std::shared_ptr<MavWavFmtData> f) { fmt_ = std::move(f); }
  /// The INFO metadata.
  std::shared_ptr<MavWavInfoData> info() const { return info_; }
  /// Sets the INFO metadata.
  void setInfo(std::shared_ptr<MavWavInfoData> i) { info_ = std::move(i); }
  /// Size of the sample data in bytes.
  uint32 dataSize() const { return dataSize_; }
  /// Sets the size of the sample data.
  void setDataSize(uint32 v) { dataSize_ = v; }

 private:
  std::shared_ptr<MavWavFmtData> fmt_;
  std::shared_ptr<MavWavInfoData> info_;
  uint32 dataSize_ = 0;
};

/// The bytes of a file handed to the header reader.
class WavReadEvent : public StateEvent {
 public:
  /// Reads from `buffer`, which must outlive the event.
  explicit WavReadEvent(CircularByteBuffer& buffer) : buffer_(&buffer) {}
  /// Bytes waiting in the buffer.
  std::size_t bytesAvailable() const { return buffer_->bytesAvailable(); }
  /// Moves up to `count` bytes to `dst`; returns the count moved.
  std::size_t getn(int count, unsigned char* dst) const;

 private:
  CircularByteBuffer* buffer_;
};

/// Error codes of the header reader.
enum WavReadErr {
  WAVREAD_OK = 0,             ///< no error
  WAVREAD_UNKNOWN_CHUNK = 1,  ///< an unknown chunk of 500 bytes or more
  WAVREAD_NOT_WAVE = 2,       ///< a RIFF file whose form type is not WAVE
  WAVREAD_BAD_LENGTH = 3      ///< a LIST or fmt chunk too long to be a recording header
};

/// Reads the header of a recording file (RIFF, LIST/INFO, fmt, data size) from bytes.
class MavWavHeaderProcessor : public FiniteStateMachine<MavWavHeaderProcessor> {
 public:
  /// Starts in `st_init` with no header.
  MavWavHeaderProcessor();

  /// Reads the next chunk identifier once more than 19 bytes wait.
  void st_init(const StateEvent* e);
  /// Reads the INFO body as single-sensor metadata.
  void st_infoChunk(const StateEvent* e);
  /// Reads the format chunk body.
  void st_fmtChunk(const StateEvent* e);
  /// Builds the header from what was read.
  void st_dataSize(const StateEvent* e);
  /// Reading has ended (header complete or error).
  void st_endHdr(const StateEvent* e);

  /// Runs the reader over `buffer` until the header is complete, an error ends it, or the
  /// bytes run out; true when a header is ready.
  bool pump(CircularByteBuffer& buffer);
  /// Starts over for a new file.
  void reset();

  /// The header read so far (null until the data chunk is reached).
  std::shared_ptr<MavWavHeader> header() const { return header_; }
  /// Bytes of header consumed so far.
  uint64 headerSize() const { return headerSize_; }
  /// The last error (a `WavReadErr`).
  int errorCode() const { return error_; }
  /// Clears the error.
  void clearError() { error_ = WAVREAD_OK; }

 private:
  bool take(const WavReadEvent& e, uint8* dst, std::size_t n);
  void fail(int code);

  std::shared_ptr<MavWavHeader> header_;
  std::shared_ptr<MavWavFmtData> fmt_;
  std::shared_ptr<MavWavInfoData> info_;
  uint32 chunkLength_ = 0;
  uint32 dataSize_ = 0;
  uint64 skip_ = 0;
  uint64 headerSize_ = 0;
  int error_ = WAVREAD_OK;
};
