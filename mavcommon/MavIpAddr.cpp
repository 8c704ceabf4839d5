#include <mavcommon/MavIpAddr.h>

namespace {

bool parseDotted(const std::string& s, uint32& out) {
  uint32 value = 0;
  std::size_t i = 0;
  for (int part = 0; part < 4; ++part) {
    if (part > 0) {
      if (i >= s.size() || s[i] != '.') return false;
      ++i;
    }
    unsigned octet = 0;
    std::size_t digits = 0;
    while (i < s.size() && s[i] >= '0' && s[i] <= '9' && digits < 4) {
      octet = octet * 10 + static_cast<unsigned>(s[i] - '0');
      ++i;
      ++digits;
    }
    if (digits == 0 || digits > 3 || octet > 255) return false;
    value = (value << 8) | octet;
  }
  if (i != s.size()) return false;
  out = value;
  return true;
}

}  // namespace

MavIpAddr::MavIpAddr(const std::string& dotted) {
  uint32 v = 0;
  if (parseDotted(dotted, v)) addr_ = v;
}

bool MavIpAddr::isValid(const std::string& text) {
  uint32 v = 0;
  return parseDotted(text, v);
}

std::string MavIpAddr::toString() const {
  std::string s;
  for (int shift = 24; shift >= 0; shift -= 8) {
    if (shift != 24) s += '.';
    s += std::to_string((addr_ >> shift) & 0xFFu);
  }
  return s;
}
