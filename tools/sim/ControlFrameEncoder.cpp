#include <sim/ControlFrameEncoder.h>

#include <mavcommon/Crc16.h>
#include <mavcommon/Endian.h>

#include <algorithm>

namespace velsim {
namespace {

constexpr uint8 kStart = 0x2A;
constexpr std::size_t kHeader = 4;
constexpr std::size_t kCrc = 2;
constexpr uint8 kFirstCode = 0x41;
constexpr uint8 kLastCode = 0x5B;

}  // namespace

bool ControlFrameEncoder::appendResponse(Bytes& out, uint8 code, const uint8* payload,
                                         std::size_t n) {
  if (n > 0xFFFF) return false;
  const std::size_t start = out.size();
  out.resize(start + kHeader + n + kCrc);
  uint8* p = &out[start];
  p[0] = kStart;
  p[1] = code;
  mav::storeLE(p + 2, static_cast<uint16>(n));
  std::copy(payload, payload + n, p + kHeader);
  mav::storeLE(p + kHeader + n, calculateCrc(p, kHeader + n));
  return true;
}

void RequestSplitter::feed(const uint8* data, std::size_t n) {
  // Compact once the consumed prefix dominates, so the buffer does not grow without bound.
  if (pos_ > 0 && pos_ >= buf_.size() / 2) {
    buf_.erase(buf_.begin(), buf_.begin() + static_cast<std::ptrdiff_t>(pos_));
    pos_ = 0;
  }
  buf_.insert(buf_.end(), data, data + n);
}

void RequestSplitter::drop(std::size_t n) {
  pos_ += n;
  skipped_ += n;
}

std::optional<Request> RequestSplitter::next() {
  for (;;) {
    const auto begin = buf_.begin() + static_cast<std::ptrdiff_t>(pos_);
    const auto star = std::find(begin, buf_.end(), kStart);
    drop(static_cast<std::size_t>(star - begin));
    const std::size_t avail = buf_.size() - pos_;
    if (avail < kHeader) return std::nullopt;

    const uint8* p = &buf_[pos_];
    const uint16 length = mav::loadLE<uint16>(p + 2);
    if (p[1] < kFirstCode || p[1] > kLastCode || length > maxPayload_) {
      drop(1);
      continue;
    }
    if (avail < kHeader + length + kCrc) return std::nullopt;

    const uint16 crc = mav::loadLE<uint16>(p + kHeader + length);
    if (crc != calculateCrc(p, kHeader + length)) {
      ++badCrc_;
      drop(1);
      continue;
    }
    Request r;
    r.code = p[1];
    r.payload.assign(p + kHeader, p + kHeader + length);
    pos_ += kHeader + length + kCrc;
    return r;
  }
}

}  // namespace velsim
