#include <veliface/record/JsonText.h>

#include <veliface/files/VelWideText.h>

#include <cstdio>
#include <ctime>

namespace veliface::record {

std::string jsonString(const std::string& text) {
  using veliface::files::InvalidUtf8;
  const std::wstring wide = veliface::files::toWide(text, InvalidUtf8::Replacement);
  std::string out = "\"";
  for (const wchar_t c : wide) {
    if (c == L'"' || c == L'\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c == 0x7F) {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\u%04x", static_cast<unsigned>(c));
      out += esc;
    } else {
      veliface::files::appendUtf8(out, c);
    }
  }
  return out + "\"";
}

std::string isoTimeMicros(int64 micros) {
  // Floor division, so that times before 1970 still print a fraction in [0, 1).
  int64 seconds = micros / 1000000;
  int64 fraction = micros % 1000000;
  if (fraction < 0) fraction += 1000000, --seconds;
  const auto t = static_cast<std::time_t>(seconds);
  std::tm tm{};
  if (gmtime_r(&t, &tm) == nullptr) return "";
  char buf[64];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d.%06lldZ", tm.tm_year + 1900, tm.tm_mon + 1,
                tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, static_cast<long long>(fraction));
  return buf;
}

}  // namespace veliface::record
