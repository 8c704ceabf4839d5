// Fuzz target: the stream-channel processor and the chunk payloads it builds.
//
// The input is first fed as a raw capture, whole and in pieces. Then it is turned into a
// clean capture (whole frames with the marker in place) and the outcome of feeding that
// whole must equal the outcome of feeding it in pieces through a wrapping ring: a stream
// frame is awaited, never abandoned, so clean frames decode the same however they arrive.
// Raw bytes carry no such promise: a header search that runs out of bytes drops the two
// bytes in hand, so junk that arrives in pieces may hide a frame that whole input shows.
//
// Campaign: -max_len=16384

#include "FuzzSupport.h"

#include <veliface/stream/VelStreamNotifyPayload.h>
#include <veliface/stream/VelStreamPayloads.h>
#include <veliface/stream/VelStreamProcessor.h>

#include <string>

namespace {

using veliface::fuzz::Bytes;

void describeKey(const std::shared_ptr<const VelEventKeyChunk>& k, std::string& out) {
  if (!k) {
    out += " key=-";
    return;
  }
  out += " key=" + std::to_string(k->timeStamp()) + "/" + std::to_string(k->seqNum()) + "/" +
         std::to_string(k->channel());
}

void describe(const VelStreamMessage& m, std::string& out) {
  const VelStreamMessagePayload* p = m.payload().get();
  FUZZ_CHECK(p != nullptr);
  out += "msg type=" + std::to_string(p->streamType());
  if (const auto* n = dynamic_cast<const VelStreamNotifyPayload*>(p)) {
    out += " notify=" + std::to_string(n->errorCode()) + " " + n->errorStr();
  } else if (const auto* d = dynamic_cast<const VelStreamDataPayload*>(p)) {
    out += " data";
    describeKey(d->eventKey(), out);
    if (const auto c = d->data()) {
      out += " sample=" + std::to_string(c->sampleNum()) +
             " ch=" + std::to_string(c->numChannels()) +
             " fmt=" + std::to_string(c->sampleFormat()) +
             " n=" + std::to_string(c->numSamples()) + " bad=" + std::to_string(c->isCorrupted()) +
             " size=" + std::to_string(c->dataSize());
      FUZZ_CHECK(c->dataSize() == 0 || c->data());
      if (c->data()) out += " hash=" + std::to_string(veliface::fuzz::hashBytes(c->data().get(), c->dataSize()));
    }
  } else if (const auto* h = dynamic_cast<const VelStreamEventHeaderPayload*>(p)) {
    out += " header";
    describeKey(h->eventKey(), out);
    for (const auto& info : h->deviceInfoChunks()) {
      FUZZ_CHECK(info && info->channel() != 0xFF);
      out += " dev=" + std::to_string(info->serialNo());
    }
    FUZZ_CHECK(h->isArray() == static_cast<bool>(h->arrayMasterInfo()));
    if (h->isArray()) out += " master=" + std::to_string(h->arrayMasterInfo()->serialNo());
    FUZZ_CHECK(h->numChannels() == static_cast<uint8>(h->streamStatusChunks().size()));
    out += " ch=" + std::to_string(h->numChannels()) +
           " wav=" + std::to_string(static_cast<bool>(h->streamSetupChunk().wavSetup())) +
           " fft=" + std::to_string(static_cast<bool>(h->streamSetupChunk().fftSetup())) +
           " scalings=" + std::to_string(h->amplScalingChunks().size());
  } else if (const auto* s = dynamic_cast<const VelStatusDataPayload*>(p)) {
    out += " status";
    if (const auto t = s->trigChunk()) out += " trigs=" + std::to_string(t->numTrigs());
  } else {
    veliface::fuzz::fail("a stream message of an unknown payload class", __FILE__, __LINE__);
  }
  out += '\n';
}

// The input as a run of whole frames: each frame keeps its code and length (cut to what
// follows) and gets its marker; a clean capture maps to itself. `maxFrame` receives the
// size of the longest frame.
Bytes cleanCapture(const uint8_t* d, std::size_t n, std::size_t& maxFrame) {
  Bytes out;
  out.reserve(n);
  maxFrame = 0;
  std::size_t i = 0;
  while (n - i >= 4) {
    const std::size_t len = std::min<std::size_t>((std::size_t{d[i + 2]} << 8) | d[i + 3], n - i - 4);
    const uint8 header[4] = {d[i], 0x2A, static_cast<uint8>(len >> 8), static_cast<uint8>(len)};
    out.insert(out.end(), header, header + 4);
    out.insert(out.end(), d + i + 4, d + i + 4 + len);
    maxFrame = std::max(maxFrame, len + 4);
    i += len + 4;
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  veliface::fuzz::quietLog();
  const std::uint32_t h = veliface::fuzz::hashBytes(data, size);
  const std::size_t piece = 1 + h % 61;
  const std::size_t offset = h >> 8;

  const Bytes raw(data, data + size);
  std::string rawWhole, rawPieces;
  {
    VelStreamProcessor p(VEL_STREAM_WAVEFORM);
    veliface::fuzz::feed(p, raw, 0, size, offset, describe, rawWhole);
  }
  {
    VelStreamProcessor p(VEL_STREAM_SPECTRUM);
    veliface::fuzz::feed(p, raw, piece, size, offset, describe, rawPieces);
  }
  veliface::fuzz::keep(rawWhole.size() + rawPieces.size());

  std::size_t maxFrame = 0;
  const Bytes clean = cleanCapture(data, size, maxFrame);
  std::string whole, pieces;
  {
    VelStreamProcessor p(VEL_STREAM_STATUS);
    veliface::fuzz::feed(p, clean, 0, clean.size(), 0, describe, whole);
  }
  {
    // A ring just large enough for one frame that has not completed plus one piece.
    VelStreamProcessor p(VEL_STREAM_STATUS);
    veliface::fuzz::feed(p, clean, piece, maxFrame + piece, offset, describe, pieces);
  }
  if (whole != pieces) veliface::fuzz::summariesDiffer(whole, pieces);
  return 0;
}
