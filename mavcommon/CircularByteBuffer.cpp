#include <mavcommon/CircularByteBuffer.h>

#include <algorithm>
#include <cstring>

CircularByteBuffer::CircularByteBuffer(std::size_t capacity) : buf_(capacity) {}

std::size_t CircularByteBuffer::write(const uint8_t* src, std::size_t n) {
  const std::size_t cap = buf_.size();
  n = std::min(n, freeSpace());
  if (n == 0) return 0;
  std::size_t tail = (head_ + count_) % cap;
  const std::size_t first = std::min(n, cap - tail);
  std::memcpy(buf_.data() + tail, src, first);
  if (n > first) std::memcpy(buf_.data(), src + first, n - first);
  count_ += n;
  return n;
}

std::size_t CircularByteBuffer::peek(uint8_t* dst, std::size_t n) const {
  const std::size_t cap = buf_.size();
  n = std::min(n, count_);
  if (n == 0) return 0;
  const std::size_t first = std::min(n, cap - head_);
  std::memcpy(dst, buf_.data() + head_, first);
  if (n > first) std::memcpy(dst + first, buf_.data(), n - first);
  return n;
}

std::size_t CircularByteBuffer::skip(std::size_t n) {
  n = std::min(n, count_);
  if (n == 0) return 0;
  head_ = (head_ + n) % buf_.size();
  count_ -= n;
  if (count_ == 0) head_ = 0;
  return n;
}

std::size_t CircularByteBuffer::read(uint8_t* dst, std::size_t n) {
  return skip(peek(dst, n));
}

void CircularByteBuffer::clear() {
  head_ = 0;
  count_ = 0;
}
