#include <veliface/record/CutChunks.h>

#include <veliface/stream/VelStreamPayloads.h>

namespace veliface::record {

namespace {

constexpr uint8 kEventKeyType = 0x41;
constexpr uint8 kWavSetupType = 0x45;
constexpr uint8 kFftSetupType = 0x46;

}  // namespace

bool headerIsWhole(const VelStreamEventHeaderPayload& hdr) {
  if (const auto key = hdr.eventKey(); key && key->typecode() != kEventKeyType) return false;
  const auto& setup = hdr.streamSetupChunk();
  if (const auto wav = setup.wavSetup(); wav && wav->typecode() != kWavSetupType) return false;
  if (const auto fft = setup.fftSetup(); fft && fft->typecode() != kFftSetupType) return false;
  return true;
}

bool dataHeadIsWhole(const VelStreamDataChunk& chunk) {
  // A head cut short leaves every field at zero; a whole head of a real block counts samples.
  return !chunk.isCorrupted() || chunk.numSamples() != 0;
}

}  // namespace veliface::record
