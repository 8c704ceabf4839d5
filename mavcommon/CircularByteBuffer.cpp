#include <mavcommon/CircularByteBuffer.h>

#include <algorithm>
#include <cstring>

CircularByteBuffer::CircularByteBuffer(std::size_t capacity) : buf_(capacity) {}

std::size_t CircularByteBuffer::write(const uint8_t* src, std::size_t n) {
  n = std::min(n, freeSpace());
  if (n == 0) return 0;
  const std::size_t tail = wrap(head_ + count_);
  const std::size_t first = std::min(n, buf_.size() - tail);
  std::memcpy(buf_.data() + tail, src, first);
  if (n > first) std::memcpy(buf_.data(), src + first, n - first);
  count_ += n;
  return n;
}

std::size_t CircularByteBuffer::peek(uint8_t* dst, std::size_t n) const {
  n = std::min(n, count_);
  if (n == 0) return 0;
  const std::size_t first = std::min(n, buf_.size() - head_);
  std::memcpy(dst, buf_.data() + head_, first);
  if (n > first) std::memcpy(dst + first, buf_.data(), n - first);
  return n;
}

const uint8_t* CircularByteBuffer::peekContiguous(std::size_t n) const {
  if (n == 0 || n > count_ || n > buf_.size() - head_) return nullptr;
  return buf_.data() + head_;
}

std::size_t CircularByteBuffer::skip(std::size_t n) {
  n = std::min(n, count_);
  if (n == 0) return 0;
  count_ -= n;
  // Starting over at index 0 when the ring runs empty keeps the next frames contiguous.
  head_ = count_ == 0 ? 0 : wrap(head_ + n);
  return n;
}

std::size_t CircularByteBuffer::read(uint8_t* dst, std::size_t n) {
  return skip(peek(dst, n));
}

void CircularByteBuffer::clear() {
  head_ = 0;
  count_ = 0;
}
