#pragma once
/// \file The event that runs a byte-stream parser: the host's receive buffer.

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/StateEvent.h>

/// Wraps the host's receive buffer for the states of a parser. The buffer is not owned and
/// must outlive the event.
class BufferEvent : public StateEvent {
 public:
  /// Wraps `buffer`.
  explicit BufferEvent(CircularByteBuffer& buffer) : buffer_(buffer) {}
  /// Number of unread bytes in the buffer.
  std::size_t bytesAvailable() const { return buffer_.bytesAvailable(); }
  /// Reads `n` bytes into `destination`; returns the count read.
  int getn(int n, uint8* destination) const {
    return n <= 0 ? 0 : static_cast<int>(buffer_.read(destination, static_cast<std::size_t>(n)));
  }
  /// Copies up to `n` bytes into `destination` without consuming them; returns the count.
  int peekn(int n, uint8* destination) const {
    return n <= 0 ? 0 : static_cast<int>(buffer_.peek(destination, static_cast<std::size_t>(n)));
  }
  /// The next `n` bytes in place when they lie in one piece in the buffer, else null; valid
  /// until the buffer is next written or cleared (reading or skipping leaves them in place).
  const uint8* view(int n) const {
    return n <= 0 ? nullptr : buffer_.peekContiguous(static_cast<std::size_t>(n));
  }
  /// Drops up to `n` bytes; returns the count dropped.
  int skip(int n) const {
    return n <= 0 ? 0 : static_cast<int>(buffer_.skip(static_cast<std::size_t>(n)));
  }

 private:
  CircularByteBuffer& buffer_;
};
