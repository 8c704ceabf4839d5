#pragma once
// Test helper: feeds a byte sequence to a processor's ring buffer in pieces, so that every
// parser can be checked against the same input cut at every possible place.

#include <mavcommon/CircularByteBuffer.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <stdexcept>
#include <vector>

namespace veliface::test {

// The piece sizes every parser is fed with.
inline const std::vector<std::size_t>& pieceSizes() {
  static const std::vector<std::size_t> sizes = {1, 2, 3, 5, 7, 13, 32, 1024};
  return sizes;
}

// A ring of `capacity` bytes whose read and write positions stand `offset` bytes in, so
// that writes wrap past the end after capacity - offset bytes.
inline CircularByteBuffer makeWrappingBuffer(std::size_t capacity, std::size_t offset) {
  CircularByteBuffer ring(capacity);
  const std::vector<uint8_t> filler(offset, 0);
  ring.write(filler.data(), filler.size());
  std::vector<uint8_t> sink(offset);
  ring.read(sink.data(), sink.size());
  return ring;
}

// Writes `bytes` into `ring` in consecutive pieces of `piece` bytes (the last may be
// shorter) and calls `afterPiece()` after each one, e.g. to run the processor.
template <typename AfterPiece>
void feedInPieces(CircularByteBuffer& ring, const std::vector<uint8_t>& bytes, std::size_t piece,
                  AfterPiece afterPiece) {
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    const std::size_t n = std::min(piece, bytes.size() - at);
    const std::size_t stored = ring.write(bytes.data() + at, n);
    if (stored != n) throw std::length_error("feedInPieces: ring buffer too small");
    afterPiece();
  }
}

// Concatenates byte tables: cat({a, b, c}).
inline std::vector<uint8_t> cat(std::initializer_list<std::vector<uint8_t>> parts) {
  std::vector<uint8_t> out;
  for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

}  // namespace veliface::test
