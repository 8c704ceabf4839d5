#include <veliface/stream/VelStreamChunk.h>

#include <mavcommon/Endian.h>
#include <veliface/stream/internal/ChunkRead.h>

using veliface::stream::newFixedChunk;

VelEventKeyChunkV0* VelEventKeyChunkV0::deserialize(ByteStream* s) {
  return newFixedChunk<VelEventKeyChunkV0>(s);
}
VelEventKeyChunkV1* VelEventKeyChunkV1::deserialize(ByteStream* s) {
  return newFixedChunk<VelEventKeyChunkV1>(s);
}
VelDeviceInfoChunkV0* VelDeviceInfoChunkV0::deserialize(ByteStream* s) {
  return newFixedChunk<VelDeviceInfoChunkV0>(s);
}
VelDeviceInfoChunkV1* VelDeviceInfoChunkV1::deserialize(ByteStream* s) {
  return newFixedChunk<VelDeviceInfoChunkV1>(s);
}
VelStreamStatusChunkV0* VelStreamStatusChunkV0::deserialize(ByteStream* s) {
  return newFixedChunk<VelStreamStatusChunkV0>(s);
}
VelWavSetupChunk* VelWavSetupChunk::deserialize(ByteStream* s) {
  return newFixedChunk<VelWavSetupChunk>(s);
}
VelFftSetupChunkV0* VelFftSetupChunkV0::deserialize(ByteStream* s) {
  return newFixedChunk<VelFftSetupChunkV0>(s);
}
VelFftSetupChunkV1* VelFftSetupChunkV1::deserialize(ByteStream* s) {
  return newFixedChunk<VelFftSetupChunkV1>(s);
}
VelAmplScalingChunkV0* VelAmplScalingChunkV0::deserialize(ByteStream* s) {
  return newFixedChunk<VelAmplScalingChunkV0>(s);
}
VelStreamTrigStatusChunkV0* VelStreamTrigStatusChunkV0::deserialize(ByteStream* s) {
  return newFixedChunk<VelStreamTrigStatusChunkV0>(s);
}

void VelStreamDataChunk::ResetI8(uint32 count) {
  ResetI8(std::shared_ptr<uint8[]>(new uint8[count]()), count);
}
void VelStreamDataChunk::ResetI8(std::shared_ptr<uint8[]> array, uint32 count) {
  data_ = std::move(array);
  dataSize_ = data_ ? count : 0;
}
void VelStreamDataChunk::ResetD(uint32 count) {
  ResetD(std::shared_ptr<double[]>(new double[count]()), count);
}
void VelStreamDataChunk::ResetD(std::shared_ptr<double[]> array, uint32 count) {
  dData_ = std::move(array);
  numDSamps_ = dData_ ? count : 0;
}

bool VelStreamDataChunkV0::readHead(ByteStream* s) {
  // The read keeps the stream's all-or-nothing bookkeeping; the fields are then loaded from
  // the stream's own bytes, since loads from the fresh copy stall on store forwarding.
  const uint8* head = s->current();
  uint8 copy[12];
  if (!s->read(copy, sizeof copy).good()) return false;
  // Bytes 0-3 (type, version, header field) are not interpreted.
  sampleNum_ = mav::loadBE<uint32>(head + 4);
  numChannels_ = head[8];
  sampleFormat_ = head[9];
  numSamples_ = mav::loadBE<uint16>(head + 10);
  return true;
}

VelStreamDataChunkV0* VelStreamDataChunkV0::deserialize(ByteStream* s) {
  auto* chunk = new VelStreamDataChunkV0();
  if (!chunk->readHead(s)) {
    chunk->isCorrupted_ = true;  // cut in its head: the fields keep their defaults
    return chunk;
  }
  const uint32 count = sampleByteCount(chunk->sampleFormat_, chunk->numChannels_, chunk->numSamples_);
  // Never allocate for samples that are not there: the count comes from the wire.
  if (count > s->bytesAvailable()) {
    chunk->isCorrupted_ = true;
    s->ignore(s->bytesAvailable());
    return chunk;
  }
  if (count > 0) {
    chunk->ResetI8(std::shared_ptr<uint8[]>(new uint8[count]), count);
    s->read(chunk->data_.get(), count);
  }
  return chunk;
}

std::shared_ptr<VelStreamDataChunkV0> VelStreamDataChunkV0::deserializeShared(
    ByteStream* s, const std::shared_ptr<uint8[]>& block) {
  auto chunk = veliface::stream::makePooled<VelStreamDataChunkV0>();
  if (!chunk->readHead(s)) {
    chunk->isCorrupted_ = true;  // cut in its head: the fields keep their defaults
    return chunk;
  }
  const uint32 count = sampleByteCount(chunk->sampleFormat_, chunk->numChannels_, chunk->numSamples_);
  if (count > s->bytesAvailable()) {
    // Fewer sample bytes than announced: a chunk without samples, marked as corrupted.
    chunk->isCorrupted_ = true;
    s->ignore(s->bytesAvailable());
    return chunk;
  }
  if (count > 0) {
    // The samples stay where the frame was read; the chunk shares the frame's block.
    chunk->ResetI8(std::shared_ptr<uint8[]>(block, block.get() + s->position()), count);
    s->ignore(count);
  }
  return chunk;
}

void VelUtil::peekChunk(ByteStream* s, uint8* version, uint8* type) {
  const int t = s->get();
  if (t < 0) return;
  *type = static_cast<uint8>(t);
  const int v = s->peek();
  if (v >= 0) *version = static_cast<uint8>(v);
  s->unget();
}
