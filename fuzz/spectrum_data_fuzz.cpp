// Fuzz target: the reader of one spectrum data line (time, comment, temperature, humidity,
// sequence number, bin count, one level per bin, every column ending in a tab).
//
// A line it rejects leaves the object as it was. A line it accepts must print a line that
// reads back to the same time, comment, sequence number and levels.
//
// Campaign: -max_len=4096

#include "FuzzSupport.h"

#include <veliface/files/MavSpectrumFile.h>

#include <cstring>
#include <sstream>
#include <string>

namespace {

std::string describe(const MavSpectrumFileData& d) {
  std::string out = std::to_string(d.dataTime()) + "|" + d.comment() + "|" + std::to_string(d.seqNum()) +
                    "|" + std::to_string(d.numBins()) + "|";
  FUZZ_CHECK(d.numBins() <= 0 || d.spectrum() != nullptr);
  for (int i = 0; i < d.numBins(); ++i) out += std::to_string(d.spectrum()[i]) + ",";
  return out;
}

int64 floorDays(int64 t) { return t / 86400 - (t % 86400 < 0 ? 1 : 0); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  veliface::fuzz::quietLog();
  // The first two bytes choose the day, the rest is the line.
  const int day = size >= 2 ? (data[0] << 8 | data[1]) - 0x4000 : 0;
  const std::string line = size >= 2 ? std::string(reinterpret_cast<const char*>(data) + 2, size - 2) : "";

  MavSpectrumFileData d;
  d.setComment("before");
  d.setSeqNum(-17);
  d.setDataTime(123);
  const std::string before = describe(d);
  bool ok = false;
  {
    const veliface::fuzz::AllocWatch watch;
    ok = d.deserialise(line, day);
  }
  const std::string first = describe(d);
  veliface::fuzz::keep(first.size());
  if (!ok) {
    FUZZ_CHECK(first == before);
    return 0;
  }

  std::ostringstream printed;
  printed << d;
  MavSpectrumFileData again;
  FUZZ_CHECK(again.deserialise(printed.str(), static_cast<int>(floorDays(d.dataTime()))));
  const std::string second = describe(again);
  if (second != first) veliface::fuzz::summariesDiffer(first, second);
  return 0;
}
