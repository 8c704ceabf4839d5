#include <veliface/files/VelWideText.h>

namespace veliface::files {

namespace {
// Length of the UTF-8 sequence that starts with `lead`, or 0 when it cannot start one.
int sequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}
}  // namespace

std::wstring toWide(const std::string& utf8, InvalidUtf8 invalid) {
  std::wstring out;
  out.reserve(utf8.size());
  std::size_t i = 0;
  while (i < utf8.size()) {
    const auto lead = static_cast<unsigned char>(utf8[i]);
    const int len = sequenceLength(lead);
    bool ok = len > 0 && i + static_cast<std::size_t>(len) <= utf8.size();
    char32_t cp = len == 1 ? lead : len == 2 ? (lead & 0x1Fu) : len == 3 ? (lead & 0x0Fu) : (lead & 0x07u);
    for (int k = 1; ok && k < len; ++k) {
      const auto cont = static_cast<unsigned char>(utf8[i + static_cast<std::size_t>(k)]);
      ok = (cont & 0xC0u) == 0x80u;
      cp = (cp << 6) | (cont & 0x3Fu);
    }
    if (!ok) {
      out.push_back(invalid == InvalidUtf8::Latin1 ? static_cast<wchar_t>(lead) : wchar_t{0xFFFD});
      ++i;
      continue;
    }
    out.push_back(static_cast<wchar_t>(cp));
    i += static_cast<std::size_t>(len);
  }
  return out;
}

void appendUtf8(std::string& out, wchar_t c) {
  const auto cp = static_cast<char32_t>(c);
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | ((cp >> 18) & 0x07)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

std::string toUtf8(const std::wstring& wide) {
  std::string out;
  out.reserve(wide.size());
  for (wchar_t c : wide) appendUtf8(out, c);
  return out;
}

}  // namespace veliface::files
