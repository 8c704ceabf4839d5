#pragma once
/// \file Fixed-capacity ring of bytes between a transport and a protocol processor.

#include <mavcommon/MavTypes.h>

#include <cstddef>
#include <vector>

/// A fixed-capacity FIFO of bytes. The transport writes what arrives, a processor reads it.
class CircularByteBuffer {
 public:
  /// Creates an empty ring that holds at most `capacity` bytes.
  explicit CircularByteBuffer(std::size_t capacity);

  /// Stores as many of the `n` bytes at `src` as fit; returns the count stored.
  std::size_t write(const uint8_t* src, std::size_t n);
  /// Moves up to `n` bytes to `dst`; returns the count read.
  std::size_t read(uint8_t* dst, std::size_t n);
  /// Copies up to `n` bytes to `dst` without consuming them; returns the count copied.
  std::size_t peek(uint8_t* dst, std::size_t n) const;
  /// The next `n` waiting bytes in place, when they lie in one piece (not across the end of
  /// the ring); else null. Valid until the next write or clear: reading and skipping only
  /// move the indexes, never the stored bytes.
  const uint8_t* peekContiguous(std::size_t n) const;
  /// Drops up to `n` bytes; returns the count dropped.
  std::size_t skip(std::size_t n);
  /// Number of bytes waiting to be read.
  std::size_t bytesAvailable() const { return count_; }
  /// Total number of bytes the ring can hold.
  std::size_t capacity() const { return buf_.size(); }
  /// Number of bytes that can still be written.
  std::size_t freeSpace() const { return buf_.size() - count_; }
  /// Drops every waiting byte.
  void clear();

 private:
  // Index arithmetic without a division: every index passed here is below twice the size.
  std::size_t wrap(std::size_t i) const { return i >= buf_.size() ? i - buf_.size() : i; }

  std::vector<uint8_t> buf_;
  std::size_t head_ = 0;  // next byte to read
  std::size_t count_ = 0;
};
