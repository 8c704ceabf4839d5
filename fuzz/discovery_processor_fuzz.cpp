// Fuzz target: the discovery (Marco) processor and the three response payloads.
//
// The input is fed as a raw capture, whole and in pieces. It is then turned into a clean
// capture of whole frames of the three known type codes, whose outcome fed whole must
// equal the outcome fed in pieces: every state waits without taking bytes until what it
// needs is there. Raw bytes carry no such promise: the start-byte search is lossy (bytes
// it took before running short are not given back), and an unknown type code leaves its
// CRC bytes to be scanned as junk.
//
// Campaign: -max_len=2048

#include "FuzzSupport.h"

#include <veliface/discovery/VelMarcoProcessor.h>

#include <string>

namespace {

using veliface::fuzz::Bytes;

void describe(const VelMarcoCommand& m, std::string& out) {
  const auto p = m.payload();
  FUZZ_CHECK(p != nullptr);
  out += "msg ";
  out += static_cast<char>(p->commandCode());
  if (const auto* d = dynamic_cast<const VelMarcoDevicePayload*>(p.get())) {
    const MavNetHostInfo& n = d->netInfo();
    out += " type=" + std::to_string(d->deviceType()) + " serial=" + std::to_string(d->serialNo()) +
           " mac=" + n.macAddr().toString() + " mode=" + std::to_string(n.addrMode()) +
           " ip=" + n.ipAddr().toString() + " mask=" + n.subnetMask().toString() +
           " gw=" + n.gateway().toString() + " dns=" + n.dns().toString();
  }
  if (const auto* c = dynamic_cast<const VelChangeNetworkCmd*>(p.get())) {
    out += " error=" + std::to_string(c->error());
  }
  if (const auto* r = dynamic_cast<const VelResetDeviceCmd*>(p.get())) {
    out += " mac=" + r->macAddress().toString();
  }
  out += '\n';
}

// The input as a run of whole frames: "*", a known type code (others are mapped onto the
// three), the length (cut to what follows), the payload and two CRC bytes. A clean capture
// maps to itself. `maxFrame` receives the size of the longest frame.
Bytes cleanCapture(const uint8_t* d, std::size_t n, std::size_t& maxFrame) {
  static const uint8 kCodes[] = {MARCO_NETWORK_ENQUIRE, MARCO_CHANGE_NETWORK, MARCO_RESET_DEVICE};
  Bytes out;
  out.reserve(n);
  maxFrame = 0;
  std::size_t i = 0;
  while (n - i >= 6) {
    uint8 code = d[i + 1];
    if (code < MARCO_NETWORK_ENQUIRE || code > MARCO_RESET_DEVICE) code = kCodes[code % 3];
    const std::size_t len =
        std::min<std::size_t>(d[i + 2] | (std::size_t{d[i + 3]} << 8), n - i - 6);
    const uint8 header[4] = {0x2A, code, static_cast<uint8>(len), static_cast<uint8>(len >> 8)};
    out.insert(out.end(), header, header + 4);
    out.insert(out.end(), d + i + 4, d + i + 6 + len);  // payload and CRC
    maxFrame = std::max(maxFrame, len + 6);
    i += len + 6;
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  veliface::fuzz::quietLog();
  const std::uint32_t h = veliface::fuzz::hashBytes(data, size);
  const std::size_t piece = 1 + h % 37;
  const std::size_t offset = h >> 8;

  const Bytes raw(data, data + size);
  std::string rawWhole, rawPieces;
  {
    VelMarcoProcessor p;
    veliface::fuzz::feed(p, raw, 0, size, offset, describe, rawWhole);
  }
  {
    VelMarcoProcessor p;
    veliface::fuzz::feed(p, raw, piece, size, offset, describe, rawPieces);
  }
  veliface::fuzz::keep(rawWhole.size() + rawPieces.size());

  std::size_t maxFrame = 0;
  const Bytes clean = cleanCapture(data, size, maxFrame);
  std::string whole, pieces;
  {
    VelMarcoProcessor p;
    veliface::fuzz::feed(p, clean, 0, clean.size(), 0, describe, whole);
  }
  {
    VelMarcoProcessor p;
    veliface::fuzz::feed(p, clean, piece, maxFrame + piece, offset, describe, pieces);
  }
  if (whole != pieces) veliface::fuzz::summariesDiffer(whole, pieces);
  return 0;
}
