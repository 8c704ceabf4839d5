#include <veliface/files/internal/SpecLine.h>

#include <veliface/files/MavSpectrumFile.h>
#include <veliface/files/VelDateStamp.h>
#include <veliface/files/VelWideText.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <locale>

namespace veliface::files {

namespace {

// Widest float column: sign, 39 integer digits of the largest float, point and the digits.
constexpr std::streamsize kMaxPrecision = 40;
constexpr std::size_t kFloatField = 96;

// The float notation the stream would use, or false when it is not one of the three that
// std::to_chars gives character for character (printf's %f, %e and %g in the C locale).
bool floatFormat(const std::ios_base& fmt, std::chars_format& out) {
  const std::ios_base::fmtflags field = fmt.flags() & std::ios_base::floatfield;
  if (field == std::ios_base::fixed) {
    out = std::chars_format::fixed;
  } else if (field == std::ios_base::scientific) {
    out = std::chars_format::scientific;
  } else if (field == std::ios_base::fmtflags{}) {
    out = std::chars_format::general;
  } else {
    return false;  // hexadecimal floats
  }
  return true;
}

bool plainState(const std::ios_base& fmt) {
  const std::ios_base::fmtflags flags = fmt.flags();
  if (fmt.width() != 0) return false;  // would pad the time column
  if ((flags & (std::ios_base::showpos | std::ios_base::showpoint | std::ios_base::uppercase)) != 0) return false;
  const auto base = flags & std::ios_base::basefield;
  if (base == std::ios_base::hex || base == std::ios_base::oct) return false;
  if (fmt.precision() < 0 || fmt.precision() > kMaxPrecision) return false;
  // The line goes to a wide stream; its locale's punctuation is what a stream would print.
  const auto& punct = std::use_facet<std::numpunct<wchar_t>>(fmt.getloc());
  return punct.decimal_point() == L'.' && punct.grouping().empty();
}

// Texts reach the file through the wide stream, which decodes them and encodes them again:
// plain ASCII stands as it is, anything else takes that round trip (a byte that is not valid
// UTF-8 comes out as the Latin-1 character of its value).
void appendText(std::string& out, const std::string& text) {
  const bool ascii = std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (ascii) {
    out += text;
  } else {
    out += toUtf8(toWide(text));
  }
}

}  // namespace

bool appendDataLine(std::string& out, const MavSpectrumFileData& d, const std::ios_base& fmt) {
  std::chars_format floats{};
  if (!plainState(fmt) || !floatFormat(fmt, floats)) return false;
  const int precision = static_cast<int>(fmt.precision());

  appendText(out, VelUtil::specTimeStamp(d.dataTime()));
  out += '\t';
  appendText(out, d.comment());
  out += '\t';

  const int bins = d.spectrum() == nullptr ? 0 : std::max<int>(d.numBins(), 0);
  // Two floats, two integers and the bins of at most "255\t" each, then the line end.
  const std::size_t start = out.size();
  out.resize(start + 2 * (kFloatField + 1) + 2 * 12 + 4 * static_cast<std::size_t>(bins) + 1);
  char* p = out.data() + start;
  char* const end = out.data() + out.size();
  // A float column prints as the double it is promoted to, as the stream's insertion does.
  for (const float v : {d.temperature(), d.humidity()}) {
    p = std::to_chars(p, end, static_cast<double>(v), floats, precision).ptr;
    *p++ = '\t';
  }
  p = std::to_chars(p, end, d.seqNum()).ptr;
  *p++ = '\t';
  p = std::to_chars(p, end, d.numBins()).ptr;
  *p++ = '\t';
  const uint8* level = d.spectrum();
  for (int i = 0; i < bins; ++i) {
    p = std::to_chars(p, end, static_cast<unsigned>(level[i])).ptr;
    *p++ = '\t';
  }
  *p++ = '\n';
  out.resize(static_cast<std::size_t>(p - out.data()));
  return true;
}

}  // namespace veliface::files
