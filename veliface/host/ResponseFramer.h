#pragma once
/// \file Cuts the bytes of a control channel into whole response frames and checks each CRC.

#include <mavcommon/MavTypes.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace veliface::host {

/// One complete response frame as it came off the line.
struct ResponseFrame {
  std::vector<uint8> bytes;  ///< '*', code, length (u16 LE), payload, CRC (u16 LE)
  bool crcGood = false;      ///< the CRC over header and payload matches the frame's own

  /// The command code the frame answers.
  uint8 code() const { return bytes.size() > 1 ? bytes[1] : 0; }
};

/// Collects received control bytes until a response frame is wholly there, then hands it out.
///
/// The control processor decodes a response as soon as its payload is waiting, drops one
/// whose payload arrives in pieces, and never reads the CRC of most codes. A host that runs
/// it over bytes as they come off a serial line or a TCP socket therefore loses answers that
/// were split across reads and takes damaged ones as they are. The framer sits in front of
/// it: a frame is given out only once header, payload and CRC are all here, with the verdict
/// on its CRC, so the processor only ever sees whole frames.
///
/// Search rule: a frame starts with '*' followed by a command letter (0x41 to 0x5B). A start
/// whose frame fails its CRC is given out as a bad frame and only its '*' is dropped, so that
/// a good frame hidden behind a damaged length is still found. While a start waits for the
/// rest of its frame, a later start whose frame is already complete and good wins, and the
/// bytes before it are dropped as line noise: a stray '*' cannot hold up the channel.
class ResponseFramer {
 public:
  /// Adds received bytes.
  void feed(const uint8* data, std::size_t n);
  /// The next whole frame (good or bad CRC), or nothing until more bytes arrive.
  std::optional<ResponseFrame> next();
  /// Drops everything received so far.
  void clear();
  /// Bytes received and not yet given out or dropped.
  std::size_t buffered() const { return buf_.size() - pos_; }
  /// Bytes dropped as noise so far (not part of any frame given out).
  uint64 noiseBytes() const { return noise_; }

 private:
  // The frame starting at `at` if it is complete: its total size, else 0.
  std::size_t completeSize(std::size_t at) const;
  bool crcMatches(std::size_t at, std::size_t size) const;
  std::optional<std::size_t> findStart(std::size_t from) const;
  ResponseFrame take(std::size_t at, std::size_t size, bool good);
  void drop(std::size_t n);

  std::vector<uint8> buf_;
  std::size_t pos_ = 0;
  uint64 noise_ = 0;
};

}  // namespace veliface::host
