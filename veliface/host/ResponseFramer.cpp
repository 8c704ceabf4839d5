#include <veliface/host/ResponseFramer.h>

#include <mavcommon/Crc16.h>

#include <algorithm>

namespace veliface::host {

namespace {

constexpr uint8 kStart = 0x2A;
constexpr std::size_t kHeader = 4;
constexpr std::size_t kCrc = 2;
// Later starts tried while an earlier one waits for its bytes; bounds the work one call
// does on a buffer full of noise.
constexpr std::size_t kLaterStartsTried = 32;

bool isCommandLetter(uint8 b) { return b >= 0x41 && b <= 0x5B; }

}  // namespace

void ResponseFramer::feed(const uint8* data, std::size_t n) {
  if (n == 0) return;
  if (pos_ > 0 && pos_ >= buf_.size() / 2) {
    buf_.erase(buf_.begin(), buf_.begin() + static_cast<std::ptrdiff_t>(pos_));
    pos_ = 0;
  }
  buf_.insert(buf_.end(), data, data + n);
}

void ResponseFramer::clear() {
  buf_.clear();
  pos_ = 0;
}

void ResponseFramer::drop(std::size_t n) {
  pos_ += std::min(n, buf_.size() - pos_);
  if (pos_ == buf_.size()) clear();
}

std::optional<std::size_t> ResponseFramer::findStart(std::size_t from) const {
  for (std::size_t i = from; i < buf_.size(); ++i) {
    if (buf_[i] != kStart) continue;
    // A '*' as the very last byte may still be a start: its code has not come yet.
    if (i + 1 == buf_.size() || isCommandLetter(buf_[i + 1])) return i;
  }
  return std::nullopt;
}

std::size_t ResponseFramer::completeSize(std::size_t at) const {
  if (buf_.size() - at < kHeader) return 0;
  const std::size_t length = buf_[at + 2] | static_cast<std::size_t>(buf_[at + 3]) << 8;
  const std::size_t size = kHeader + length + kCrc;
  return buf_.size() - at >= size ? size : 0;
}

bool ResponseFramer::crcMatches(std::size_t at, std::size_t size) const {
  const uint8* f = buf_.data() + at;
  const uint16 sent = static_cast<uint16>(f[size - 2] | f[size - 1] << 8);
  return sent == calculateCrc(f, size - kCrc);
}

ResponseFrame ResponseFramer::take(std::size_t at, std::size_t size, bool good) {
  ResponseFrame frame;
  frame.bytes.assign(buf_.begin() + static_cast<std::ptrdiff_t>(at),
                     buf_.begin() + static_cast<std::ptrdiff_t>(at + size));
  frame.crcGood = good;
  // A good frame is consumed whole; of a bad one only its '*' goes, so that the search
  // goes on inside it.
  drop(at - pos_ + (good ? size : 1));
  return frame;
}

std::optional<ResponseFrame> ResponseFramer::next() {
  const auto start = findStart(pos_);
  if (!start) {
    noise_ += buf_.size() - pos_;
    clear();
    return std::nullopt;
  }
  noise_ += *start - pos_;
  drop(*start - pos_);
  const std::size_t at = pos_;
  if (const std::size_t size = completeSize(at)) {
    const bool good = crcMatches(at, size);
    if (!good) ++noise_;  // its '*' is dropped
    return take(at, size, good);
  }
  // This start waits for more bytes; a later start whose good frame is complete shows that
  // it was noise.
  std::size_t tried = 0;
  for (auto later = findStart(at + 1); later && tried < kLaterStartsTried; later = findStart(*later + 1), ++tried) {
    const std::size_t size = completeSize(*later);
    if (size && crcMatches(*later, size)) {
      noise_ += *later - at;
      return take(*later, size, true);
    }
  }
  return std::nullopt;
}

}  // namespace veliface::host
