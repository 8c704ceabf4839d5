// Fuzz target: the reader of a spectrum file's header block ("Label<TAB>value" lines up to
// "Data:").
//
// The input is taken as characters (see `characters`). The reader answers false exactly when the recorded bin width
// disagrees with the setup, and says so in one line. A header it accepted must print a
// header that it accepts again with the same values.
//
// Campaign: -max_len=4096

#include "FuzzSupport.h"

#include <veliface/files/MavSpectrumFile.h>

#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>

namespace {

// Every byte is one character; a byte with the top bit set and the next one make one
// character of up to 15 bits, so that texts beyond Latin-1 are reached too.
std::wstring characters(const uint8_t* d, std::size_t n) {
  std::wstring out;
  out.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    if (d[i] >= 0xF8 && i + 1 < n) {
      out += static_cast<wchar_t>(((d[i] & 0x07u) << 8 | d[i + 1]) + 0x100);
      ++i;
    } else {
      out += static_cast<wchar_t>(d[i]);
    }
  }
  return out;
}

// The values a header keeps. The FFT size is compared as printed (0 stands for 1024), and
// the sensitivity only while a float holds it exactly: the file keeps it as the difference
// of two whole reference levels.
std::string describe(const MavSpectrumFileHeader& h) {
  const bool exactSensitivity = std::fabs(h.sensitivity()) < 1e6f;
  return std::to_string(h.startDt()) + "|" + std::to_string(h.timeZone()) + "|" + h.author() + "|" +
         h.computerName() + "|" + h.userName() + "|" + h.clientName() + "|" + h.jobName() + "|" +
         h.personnel() + "|" + std::to_string(h.startSample()) + "|" +
         std::to_string(h.devId().devType()) + "#" + std::to_string(h.devId().serialNo()) + "|" +
         h.firmware() + "|" + std::to_string(h.refLevelVolts()) + "|" +
         (exactSensitivity ? std::to_string(h.sensitivity()) : std::string("~")) +
         "|" + std::to_string(h.sampleRate()) + "|" + std::to_string(h.fftSize()) + "|" +
         std::to_string(h.numPtsBtw()) + "|" + std::to_string(h.powerCalc()) + "|" +
         std::to_string(h.accums());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  veliface::fuzz::quietLog();
  const std::wstring text = characters(data, size);
  MavSpectrumFileHeader h;
  std::string log;
  bool ok = false;
  veliface::fuzz::QuietLog::record(&log);
  {
    const veliface::fuzz::AllocWatch watch;
    ok = h.deserialise(text);
  }
  veliface::fuzz::QuietLog::record(nullptr);
  FUZZ_CHECK(ok == log.empty());
  FUZZ_CHECK(ok || log == "log:fabs(m_binWidth - binWidth()) > 1.e-3\n");
  const std::string first = describe(h);
  veliface::fuzz::keep(first.size());
  // Not expected to come back: a zone of -32768 hours prints a magnitude that no int16
  // holds, a year before 1000 prints with fewer than the four digits the date needs, and
  // a text ending in a carriage return loses it as the line end of a CR LF file would.
  constexpr int64 kYear1000 = -30610224000;
  const auto endsInCr = [](const std::string& t) { return !t.empty() && t.back() == '\r'; };
  for (const std::string* t : {&h.author(), &h.computerName(), &h.userName(), &h.clientName(),
                               &h.jobName(), &h.personnel(), &h.firmware()}) {
    if (endsInCr(*t)) return 0;
  }
  if (!ok || h.timeZone() == INT16_MIN || h.startDt() < kYear1000) return 0;

  std::wostringstream printed;
  printed << h;
  MavSpectrumFileHeader again;
  FUZZ_CHECK(again.deserialise(printed.str()));
  const std::string second = describe(again);
  if (second != first) veliface::fuzz::summariesDiffer(first, second);
  return 0;
}
