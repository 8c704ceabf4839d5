#pragma once
// The one routine that reads a fixed-size chunk: the whole record in one read, then the
// record's listed fields turned from big-endian into host order in place. The per-record
// tables below are the only place that says which fields a chunk converts.

#include <mavcommon/ByteStream.h>
#include <mavcommon/Endian.h>
#include <veliface/stream/VelStreamChunk.h>
#include <veliface/stream/internal/ObjectPool.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <memory>

namespace veliface::stream {

/// What the reader does with one field of a raw record after reading it.
enum class FieldAction : uint8 { BigEndian, Drop };

/// One field of a raw record: where it lies and what happens to it.
struct RecordField {
  std::size_t offset;
  std::size_t size;
  FieldAction action;
};

template <typename Rec>
struct RecordLayout;  // each raw record lists its fields below

#define VEL_BE(rec, member) \
  RecordField { offsetof(rec, member), sizeof(rec::member), FieldAction::BigEndian }

template <>
struct RecordLayout<stKEY_CHUNK_V0> {
  static constexpr std::array<RecordField, 4> fields{
      {VEL_BE(stKEY_CHUNK_V0, header), VEL_BE(stKEY_CHUNK_V0, timeStamp),
       VEL_BE(stKEY_CHUNK_V0, seqNumHigh), VEL_BE(stKEY_CHUNK_V0, seqNumLow)}};
};
template <>
struct RecordLayout<stKEY_CHUNK_V1> {
  // The reserved bytes are skipped on reading, not kept.
  static constexpr std::array<RecordField, 5> fields{
      {VEL_BE(stKEY_CHUNK_V1, header), VEL_BE(stKEY_CHUNK_V1, timeStamp),
       VEL_BE(stKEY_CHUNK_V1, seqNumHigh), VEL_BE(stKEY_CHUNK_V1, seqNumLow),
       RecordField{offsetof(stKEY_CHUNK_V1, reserved), 3, FieldAction::Drop}}};
};
template <>
struct RecordLayout<stDEVICE_CHUNK_V0> {
  static constexpr std::array<RecordField, 2> fields{
      {VEL_BE(stDEVICE_CHUNK_V0, serialNo), VEL_BE(stDEVICE_CHUNK_V0, sensitivity)}};
};
template <>
struct RecordLayout<stDEVICE_CHUNK_V1> {
  static constexpr std::array<RecordField, 2> fields{
      {VEL_BE(stDEVICE_CHUNK_V1, serialNo), VEL_BE(stDEVICE_CHUNK_V1, sensitivity)}};
};
template <>
struct RecordLayout<stSTATUS_CHUNK_V0> {
  static constexpr std::array<RecordField, 2> fields{
      {VEL_BE(stSTATUS_CHUNK_V0, temperature), VEL_BE(stSTATUS_CHUNK_V0, humidity)}};
};
template <>
struct RecordLayout<stWAVE_SETUP_CHUNK_V0> {
  static constexpr std::array<RecordField, 2> fields{
      {VEL_BE(stWAVE_SETUP_CHUNK_V0, sampleRate), VEL_BE(stWAVE_SETUP_CHUNK_V0, gain)}};
};
template <>
struct RecordLayout<stFFT_SETUP_CHUNK_V0> {
  static constexpr std::array<RecordField, 7> fields{
      {VEL_BE(stFFT_SETUP_CHUNK_V0, sampleRate), VEL_BE(stFFT_SETUP_CHUNK_V0, numPoints),
       VEL_BE(stFFT_SETUP_CHUNK_V0, refLevel), VEL_BE(stFFT_SETUP_CHUNK_V0, procType),
       VEL_BE(stFFT_SETUP_CHUNK_V0, samplesBtwFfts), VEL_BE(stFFT_SETUP_CHUNK_V0, accumCount),
       VEL_BE(stFFT_SETUP_CHUNK_V0, weighting)}};
};
template <>
struct RecordLayout<stFFT_SETUP_CHUNK_V1> {
  static constexpr std::array<RecordField, 7> fields{
      {VEL_BE(stFFT_SETUP_CHUNK_V1, sampleRate), VEL_BE(stFFT_SETUP_CHUNK_V1, numPoints),
       VEL_BE(stFFT_SETUP_CHUNK_V1, refLevel), VEL_BE(stFFT_SETUP_CHUNK_V1, procType),
       VEL_BE(stFFT_SETUP_CHUNK_V1, samplesBtwFfts), VEL_BE(stFFT_SETUP_CHUNK_V1, accumCount),
       VEL_BE(stFFT_SETUP_CHUNK_V1, weighting)}};
};
template <>
struct RecordLayout<stAMPLITUDE_CHUNK_V0> {
  static constexpr std::array<RecordField, 4> fields{
      {VEL_BE(stAMPLITUDE_CHUNK_V0, maxCount), VEL_BE(stAMPLITUDE_CHUNK_V0, minCount),
       VEL_BE(stAMPLITUDE_CHUNK_V0, maxAmplitude), VEL_BE(stAMPLITUDE_CHUNK_V0, minAmplitude)}};
};
template <>
struct RecordLayout<stTRIG_CHUNK_V0> {
  static constexpr std::array<RecordField, 0> fields{};
};

#undef VEL_BE

/// Stores the `size` big-endian bytes at `src` as a host-order integer at `dst`.
inline void bigEndianToHost(uint8* dst, const uint8* src, std::size_t size) {
  if (size == 2) {
    const uint16 v = mav::loadBE<uint16>(src);
    std::memcpy(dst, &v, sizeof v);
  } else if (size == 4) {
    const uint32 v = mav::loadBE<uint32>(src);
    std::memcpy(dst, &v, sizeof v);
  }
}

/// Reads one whole record of type `Rec` and converts its listed fields. On a short stream
/// `rec` is left as it was and false is returned.
template <typename Rec>
bool readRecord(ByteStream* s, Rec& rec) {
  const uint8* src = s->current();
  if (!s->read(&rec, sizeof rec).good()) return false;
  // The fields are converted from the stream's bytes, not from the copy just made: loading
  // part of a record that was stored a moment ago stalls the processor's store forwarding.
  auto* dst = reinterpret_cast<uint8*>(&rec);
  for (const RecordField& f : RecordLayout<Rec>::fields) {
    if (f.action == FieldAction::BigEndian) {
      bigEndianToHost(dst + f.offset, src + f.offset, f.size);
    } else {
      std::memset(dst + f.offset, 0, f.size);
    }
  }
  return true;
}

/// Reads a fixed chunk into a new object (constructor defaults kept on a short stream).
template <typename Chunk>
Chunk* newFixedChunk(ByteStream* s) {
  typename Chunk::Record rec{};
  readRecord(s, rec);
  return new Chunk(rec);
}

/// Reads a fixed chunk into a shared object. On a short stream it is still a chunk: the
/// record stays as constructed (all zero, its type byte included) and the stream fails.
template <typename Chunk>
std::shared_ptr<Chunk> readFixedChunk(ByteStream* s) {
  typename Chunk::Record rec{};
  readRecord(s, rec);
  return makePooled<Chunk>(rec);
}

}  // namespace veliface::stream
