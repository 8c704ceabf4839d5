#include <veliface/vocabulary/DeviceText.h>

#include <cstdio>

namespace veliface {

namespace {

bool isControl(unsigned char c) { return c < 0x20 || c == 0x7F; }

}  // namespace

std::string escapeDeviceText(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (c == '\\') {
      out += "\\\\";
    } else if (isControl(c)) {
      char hex[5];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      out += hex;
    } else {
      out += ch;
    }
  }
  return out;
}

std::string cleanDeviceText(const std::string& text) {
  std::string out = text;
  for (char& ch : out) {
    if (isControl(static_cast<unsigned char>(ch))) ch = '?';
  }
  return out;
}

}  // namespace veliface
