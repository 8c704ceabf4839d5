// Fuzz target: the control-channel processor and every response class it dispatches to.
//
// The input is fed as a raw capture, whole and in pieces through a wrapping ring. The
// control channel promises nothing across pieces (a payload that arrives in pieces is
// dropped on purpose), so the pieces are only run, not compared. What it does promise is
// checked on a clean capture made of the input: whole frames of the CRC-checked responses
// (trigger enquiry, trigger setup, reset) with correct CRCs, fed at once, yield exactly
// one message per frame, in order, of the class that the frame's code names.
//
// Campaign: -max_len=4096

#include "FuzzSupport.h"

#include <mavcommon/Crc16.h>
#include <veliface/control/VelControlProcessor.h>

#include <string>

namespace {

using veliface::fuzz::Bytes;

void describe(const VelControlMessage& m, std::string& out) {
  const auto& p = m.payload();
  out += "msg ";
  out += p ? std::to_string(p->commandCode()) : std::string("-");
  out += '\n';
}

constexpr uint8 kChecked[] = {0x52, 0x53, 0x59};

// The input as a run of whole frames of the CRC-checked codes (others are mapped onto
// them), each with its length cut to what follows and a correct CRC.
Bytes cleanCapture(const uint8_t* d, std::size_t n, std::string& expected) {
  Bytes out;
  std::size_t i = 0;
  while (n - i >= 4) {
    uint8 code = d[i + 1];
    if (code != 0x52 && code != 0x53 && code != 0x59) code = kChecked[code % 3];
    const std::size_t len =
        std::min<std::size_t>(d[i + 2] | (std::size_t{d[i + 3]} << 8), n - i - 4);
    const std::size_t start = out.size();
    const uint8 header[4] = {0x2A, code, static_cast<uint8>(len), static_cast<uint8>(len >> 8)};
    out.insert(out.end(), header, header + 4);
    out.insert(out.end(), d + i + 4, d + i + 4 + len);
    const uint16 crc = calculateCrc(out.data() + start, len + 4);
    out.push_back(static_cast<uint8>(crc));
    out.push_back(static_cast<uint8>(crc >> 8));
    expected += "msg " + std::to_string(code) + "\n";
    i += len + 4;
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  veliface::fuzz::quietLog();
  const std::uint32_t h = veliface::fuzz::hashBytes(data, size);
  const std::size_t piece = 1 + h % 43;
  const std::size_t offset = h >> 8;

  const Bytes raw(data, data + size);
  std::string whole, pieces;
  {
    VelControlProcessor p;
    veliface::fuzz::feed(p, raw, 0, size, offset, describe, whole);
  }
  {
    VelControlProcessor p;
    veliface::fuzz::feed(p, raw, piece, size, offset, describe, pieces);
  }
  veliface::fuzz::keep(whole.size() + pieces.size());

  std::string expected;
  const Bytes clean = cleanCapture(data, size, expected);
  std::string got;
  {
    VelControlProcessor p;
    veliface::fuzz::feed(p, clean, 0, clean.size(), offset, describe, got);
  }
  // A trigger setup whose test type selects no record class decodes to an empty payload.
  std::string gotCodes;
  for (std::size_t at = 0; at < got.size();) {
    const std::size_t end = got.find('\n', at);
    std::string line = got.substr(at, end - at);
    if (line == "msg -") line = "msg " + std::to_string(0x53);
    if (line.rfind("log:", 0) != 0) gotCodes += line + "\n";
    at = end + 1;
  }
  FUZZ_CHECK(gotCodes == expected);
  return 0;
}
