#pragma once
/// \file The device side of the control channel: response frames out, request frames in.
///
/// A control frame is '*', code, u16 payload length, payload, CRC-16 over header and payload;
/// the length and the CRC are little-endian.

#include <sim/StreamFrameEncoder.h>

#include <mavcommon/MavTypes.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace velsim {

/// Builds response frames.
class ControlFrameEncoder {
 public:
  /// Appends a response frame of `code` around `n` payload bytes; false (nothing appended)
  /// above 65535 bytes. The device sends a CRC on every response, including those whose CRC
  /// the host never reads: the host skips those two bytes while it looks for the next '*'.
  static bool appendResponse(Bytes& out, uint8 code, const uint8* payload, std::size_t n);
  /// Same for a payload held in a buffer.
  static bool appendResponse(Bytes& out, uint8 code, const Bytes& payload) {
    return appendResponse(out, code, payload.data(), payload.size());
  }
};

/// One request frame from the host.
struct Request {
  uint8 code = 0;        ///< command code
  Bytes payload;         ///< payload without header and CRC
};

/// Cuts the host's byte stream into request frames. Bytes before a '*' are skipped; a '*'
/// followed by a byte that is no command letter (0x41..0x5B) is skipped too. A candidate whose
/// CRC does not match is counted and only its '*' is dropped, so that a good frame hidden
/// behind a corrupted length is still found on the next search.
class RequestSplitter {
 public:
  /// `maxPayload` bounds the length a candidate may claim before it is treated as garbage.
  explicit RequestSplitter(std::size_t maxPayload = 0xFFFF) : maxPayload_(maxPayload) {}

  /// Adds received bytes.
  void feed(const uint8* data, std::size_t n);
  /// The next complete request with a good CRC, or nothing until more bytes arrive.
  std::optional<Request> next();

  /// Candidates whose CRC did not match.
  uint64 badCrcCount() const { return badCrc_; }
  /// Bytes skipped while searching for a frame start (including dropped '*' bytes).
  uint64 skippedBytes() const { return skipped_; }
  /// Bytes received but not yet consumed.
  std::size_t buffered() const { return buf_.size() - pos_; }

 private:
  void drop(std::size_t n);

  Bytes buf_;
  std::size_t pos_ = 0;
  std::size_t maxPayload_;
  uint64 badCrc_ = 0;
  uint64 skipped_ = 0;
};

}  // namespace velsim
