#include <veliface/stream/DataCollChunk.h>

#include <utility>

namespace {

// Reads little-endian fields in wire order. The stream's failure is sticky, so once one
// field cannot be read, it and every field after it keep their values.
template <typename... Fields>
void readFields(ByteStream* s, Fields&... fields) {
  (s->readLE(fields), ...);
}

// Reads a data block of `n` bytes. The block is only allocated when the stream holds all
// of it, so a length field that promises more than arrived never makes us allocate more
// than the input; the block then stays empty and the stream is left failed.
void readBlock(ByteStream* s, uint16 n, std::vector<uint8>& out) {
  if (s->fail() || n > s->bytesAvailable()) {
    s->ignore(n);
    return;
  }
  out.resize(n);
  s->read(out.data(), n);
}

}  // namespace

DataCollWavChunk* DataCollWavChunk::deserialize(ByteStream* s) {
  auto* c = new DataCollWavChunk();
  readFields(s, c->seqNum_, c->dataFormat_, c->numBytes_, c->gain_, c->sampleRate_,
             c->sensitivity_, c->fullScale_mV_);
  readBlock(s, c->numBytes_, c->data_);
  return c;
}

std::vector<uint8> DataCollWavChunk::takeWavData() { return std::exchange(data_, {}); }

DataCollSpecChunk* DataCollSpecChunk::deserialize(ByteStream* s) {
  auto* c = new DataCollSpecChunk();
  readFields(s, c->seqNum_, c->numBytes_, c->gain_, c->sampleRate_, c->sensitivity_,
             c->procType_);
  if (c->procType_ == 4 || c->procType_ == 5) {
    readFields(s, c->accumsPerRslt_, c->weight_);
  } else if (c->procType_ == 6) {
    // Deliberate: type 6 sends the weight before the count; swapping them would misread
    // every type 6 spectrum.
    readFields(s, c->weight_, c->accumsPerRslt_);
  }
  readFields(s, c->ptsBtwFft_, c->ptsPerFft_);
  readBlock(s, c->numBytes_, c->data_);
  return c;
}

std::vector<uint8> DataCollSpecChunk::takeSpecData() { return std::exchange(data_, {}); }
