#include <veliface/files/MavWavFormat.h>

#include <iomanip>
#include <sstream>

const char* const wavInfoNames[7] = {"INFO", "IART", "IPRD", "ICRD", "ISFT", "INAM", "ICMT"};
const char* const wavChunkNames[5] = {"RIFF", "WAVE", "LIST", "fmt ", "data"};

void padString(std::string& text) {
  const std::size_t n = text.size();
  const std::size_t width = n % 4 != 0 ? n + (4 - n % 4) : n;
  std::ostringstream os;
  os << std::left << std::setfill(' ') << std::setw(static_cast<int>(width)) << text;
  text = os.str();
}

uint32 MavWavDataChunk::dataSize() const {
  // At most 255 x 255 x 65535, which still fits 32 bits before the division.
  return static_cast<uint32>(uint64{numChannels_} * bitDepth_ * numSamples_ / 8u);
}

void MavWavFmtData::applySetup(const MavWavSetupData& setup) {
  const uint32 bytesPerSample = setup.bytesPerSample();
  setSampleRate(setup.sampleRate());
  setBytesPerSec(static_cast<uint32>(uint64{numChannels_} * bytesPerSample * setup.sampleRate()));
  setBlockAlign(static_cast<uint16>(bytesPerSample * numChannels_));
  setBitsPerSamp(setup.bitDepth());
}

void MavWavFmtData::serialize(uint64* /*len*/, uint8* /*buf*/) const {}

MavWavFmtData* MavWavFmtData::deserialize(ByteStream* s) {
  auto* f = new MavWavFmtData();
  f->numChannels_ = 1;
  s->readLE(f->compCode_);
  s->readLE(f->numChannels_);
  s->readLE(f->sampleRate_);
  s->readLE(f->bytesPerSec_);
  s->readLE(f->blockAlign_);
  s->readLE(f->bitsPerSamp_);
  return f;
}
