#include <mavcommon/MavMacAddr.h>

#include <cstring>

MavMacAddr::MavMacAddr(const uint8* bytes) {
  if (bytes) std::memcpy(bytes_.data(), bytes, bytes_.size());
}

void MavMacAddr::copyTo(uint8* out) const { std::memcpy(out, bytes_.data(), bytes_.size()); }

std::string MavMacAddr::toString() const {
  static const char hex[] = "0123456789ABCDEF";
  std::string s;
  s.reserve(17);
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    if (i) s += ':';
    s += hex[bytes_[i] >> 4];
    s += hex[bytes_[i] & 0x0F];
  }
  return s;
}

bool MavMacAddr::fromString(const std::string& text) {
  if (text.size() != 17) return false;
  std::array<uint8, 6> b{};
  auto nibble = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  for (std::size_t i = 0; i < 6; ++i) {
    const std::size_t p = i * 3;
    if (i > 0 && text[p - 1] != ':' && text[p - 1] != '-') return false;
    const int hi = nibble(text[p]);
    const int lo = nibble(text[p + 1]);
    if (hi < 0 || lo < 0) return false;
    b[i] = static_cast<uint8>((hi << 4) | lo);
  }
  bytes_ = b;
  return true;
}
