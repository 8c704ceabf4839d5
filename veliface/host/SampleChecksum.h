#pragma once
/// \file The checksum both ends of a recording print over the sample bytes, so that what a
/// device (or the simulator) sent and what the files hold can be compared.

#include <mavcommon/MavTypes.h>

#include <cstddef>
#include <cstring>

namespace veliface::host {

/// A 64-bit checksum of a byte sequence, fed in pieces of any size.
///
/// The bytes are taken eight at a time as little-endian words, each folded in with one
/// multiply and one rotation, so a recorder can check gigabytes of samples at several GB/s
/// (a byte-at-a-time hash would be the slowest part of a replay). The value depends only on
/// the bytes and their order, never on how they were split into pieces: bytes short of a
/// whole word wait for the next piece, and `value()` folds in whatever is left.
class SampleChecksum {
 public:
  /// Adds `n` bytes to the sequence.
  void update(const uint8* data, std::size_t n) {
    if (pending_ != 0) {
      const std::size_t take = n < 8 - pending_ ? n : 8 - pending_;
      if (take != 0) std::memcpy(tail_ + pending_, data, take);
      pending_ += take;
      data += take;
      n -= take;
      if (pending_ < 8) return;
      fold(word(tail_));
      pending_ = 0;
    }
    for (; n >= 8; data += 8, n -= 8) fold(word(data));
    if (n != 0) std::memcpy(tail_, data, n);  // fewer than 8; data may be null when n is 0
    pending_ = n;
  }
  /// The checksum of every byte added so far.
  uint64 value() const {
    uint64 h = h_;
    for (std::size_t i = 0; i < pending_; ++i) h = (h ^ tail_[i]) * kPrime;
    // Length last, so that sequences of zero bytes of different lengths differ.
    h ^= count_ * 8 + pending_;
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDull;
    h ^= h >> 33;
    return h;
  }

 private:
  static constexpr uint64 kPrime = 0x100000001B3ull;
  static uint64 word(const uint8* p) {
    uint64 w = 0;
    for (int i = 7; i >= 0; --i) w = (w << 8) | p[i];  // little-endian whatever the host
    return w;
  }
  void fold(uint64 w) {
    const uint64 x = (h_ ^ w) * 0x9E3779B97F4A7C15ull;
    h_ = (x << 31) | (x >> 33);
    ++count_;
  }

  uint64 h_ = 0xCBF29CE484222325ull;
  uint64 count_ = 0;  // whole words folded
  uint8 tail_[8] = {};
  std::size_t pending_ = 0;
};

}  // namespace veliface::host
