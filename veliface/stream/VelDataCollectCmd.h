#pragma once
/// \file The collect-data command ("C", 0x43): a one-time snapshot of a device's data on
/// the control channel.

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavTypes.h>
#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/VelCommandPayload.h>
#include <veliface/stream/DataCollChunk.h>

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

/// Collect-data request and response.
///
/// The request is the mask of the kinds of data wanted (0x02 humidity, 0x04 temperature,
/// 0x10 spectrum, 0x20 waveform, 0x08 extended data), plus, when 0x08 is set, a second
/// byte naming the extended kind. The response repeats the mask, then one chunk per set
/// bit in bit order, then (for 0x08) extended chunks of type, length and body.
class VelDataCollectCmd : public VelControlMsgPayload,
                          public DeserializationFactory<VelDataCollectCmd> {
 public:
  /// A request or an empty response for `mask`.
  explicit VelDataCollectCmd(uint8 mask = 0) : mask_(mask) {}

  /// Writes the mask byte, and for bit 0x08 the extended-kind byte (0x10 when the mask
  /// has 0x10, else 0x20 when it has 0x20, else 0); `*len` grows by the bytes written.
  void serialize(uint64* len, uint8* buf) const override;
  /// 0x43, "CollectData".
  uint8 commandCode() const override { return 0x43; }

  /// Reads a response; the caller owns the result. Never fails: unexpected data is
  /// logged and skipped, and fields that are not in the stream keep their defaults.
  static VelDataCollectCmd* deserialize(ByteStream* s);

  /// The mask byte.
  uint8 mask() const { return mask_; }
  /// Sets the mask byte.
  void setMask(uint8 mask) { mask_ = mask; }

  /// The chunk stored under `key`, or an empty pointer.
  std::shared_ptr<const DataCollChunk> getChunk(DataCollMask key) const;
  /// The chunk of class `T` (found under `T::kKey`), or an empty pointer.
  template <typename T>
  std::shared_ptr<const T> chunk() const {
    return std::dynamic_pointer_cast<const T>(getChunk(T::kKey));
  }
  /// The keys present, in ascending order.
  std::vector<DataCollMask> chunkKeys() const;

  /// Hands the waveform samples to the caller (empty when there are none or they were
  /// taken); the waveform chunk stays, without data.
  std::vector<uint8> takeWavData();
  /// Hands the spectrum data to the caller, as `takeWavData` does for samples.
  std::vector<uint8> takeSpecData();

 private:
  template <typename T>
  void readChunk(ByteStream* s);
  void readExtended(ByteStream* s);

  uint8 mask_;
  // Held mutable so that the response can hand its sample blocks on; callers only ever
  // see the chunks as constant.
  std::map<DataCollMask, std::shared_ptr<DataCollChunk>> chunks_;
};
