// Fuzz target: the header reader of recording files (RIFF, LIST/INFO, fmt, data size) and
// the single-sensor INFO reader it calls.
//
// The input is read as the start of a file, once from one buffer and once in pieces
// through a ring that wraps. Every state of the reader waits, without taking bytes, until
// what it needs is there, so both reads must end alike: same error, same count of header
// bytes, same header. A header is only reported whole, and never longer than the input.
//
// Campaign: -max_len=4096

#include "FuzzSupport.h"

#include <veliface/files/MavWavHeader.h>

#include <string>

namespace {

using veliface::fuzz::Bytes;

std::string describe(const MavWavHeaderProcessor& r, bool ready) {
  std::string out = "ready=" + std::to_string(ready) + " error=" + std::to_string(r.errorCode()) +
                    " size=" + std::to_string(r.headerSize());
  const auto h = r.header();
  if (!h) return out;
  out += " data=" + std::to_string(h->dataSize());
  if (const auto f = h->fmt()) {
    out += " fmt=" + std::to_string(f->compCode()) + "/" + std::to_string(f->numChannels()) + "/" +
           std::to_string(f->sampleRate()) + "/" + std::to_string(f->bitsPerSamp());
  }
  if (const auto i = h->info()) {
    out += " info=" + i->deviceStr(0) + "#" + std::to_string(i->serialNo(0)) + " " + i->creatorStr() +
           " " + i->filename() + " " + std::to_string(i->sensitivity(0)) + " " +
           std::to_string(i->seqNum()) + " " + std::to_string(i->timestamp());
  }
  return out;
}

// Reads `bytes` in pieces of `piece` (all at once for 0) through a ring that wraps after
// `offset`, pumping after each piece.
std::string read(const Bytes& bytes, std::size_t piece, std::size_t offset) {
  MavWavHeaderProcessor reader;
  CircularByteBuffer ring = veliface::fuzz::wrappedRing(bytes.size() + 1, offset);
  if (piece == 0) piece = bytes.size() + 1;
  bool ready = false;
  std::size_t at = 0;
  do {
    const std::size_t n = std::min(piece, bytes.size() - at);
    FUZZ_CHECK(ring.write(bytes.data() + at, n) == n);
    at += n;
    const veliface::fuzz::AllocWatch watch;
    ready = reader.pump(ring);
  } while (at < bytes.size() && !ready);
  FUZZ_CHECK(reader.headerSize() <= bytes.size());
  FUZZ_CHECK(ready == (reader.header() != nullptr && reader.errorCode() == WAVREAD_OK));
  return describe(reader, ready);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  veliface::fuzz::quietLog();
  const std::uint32_t h = veliface::fuzz::hashBytes(data, size);
  const Bytes bytes(data, data + size);
  const std::string whole = read(bytes, 0, h >> 8);
  const std::string pieces = read(bytes, 1 + h % 53, h >> 8);
  if (whole != pieces) veliface::fuzz::summariesDiffer(whole, pieces);
  veliface::fuzz::keep(whole.size());
  return 0;
}
