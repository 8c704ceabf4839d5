#pragma once
/// \file The chunk payloads of the stream channel: event header, sample data and status.
///
/// Each payload is a sequence of chunks read while at least five bytes are left; an unknown
/// chunk type ends the payload with a logged line and the chunks read so far are kept.

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavTypes.h>
#include <veliface/common/DeserializationFactory.h>
#include <veliface/stream/VelStreamChunk.h>
#include <veliface/stream/VelStreamMessage.h>

#include <memory>
#include <vector>

/// Event header: sent when a recording event starts; describes devices, channels and setup.
class VelStreamEventHeaderPayload : public VelStreamMessagePayload,
                                    public DeserializationFactory<VelStreamEventHeaderPayload> {
 public:
  /// An empty header.
  VelStreamEventHeaderPayload() = default;
  /// A header built from its parts; it is an array header when `arrayMaster` is set.
  VelStreamEventHeaderPayload(std::shared_ptr<const VelEventKeyChunk> eventKey,
                              std::vector<std::shared_ptr<const VelDeviceInfoChunk>> deviceInfos,
                              std::vector<std::shared_ptr<const VelStreamStatusChunk>> statuses,
                              VelStreamSetupContainer setup,
                              std::vector<std::shared_ptr<const VelAmplScalingChunk>> scalings,
                              uint8 numChannels,
                              std::shared_ptr<const VelDeviceInfoChunk> arrayMaster);

  /// The event key (empty when none was sent).
  virtual std::shared_ptr<const VelEventKeyChunk> eventKey() const { return eventKey_; }
  /// Device infos of the recording units (the array master's own record excluded).
  virtual const std::vector<std::shared_ptr<const VelDeviceInfoChunk>>& deviceInfoChunks() const {
    return deviceInfos_;
  }
  /// Stream status of each channel.
  virtual const std::vector<std::shared_ptr<const VelStreamStatusChunk>>& streamStatusChunks() const {
    return statuses_;
  }
  /// The WAV or FFT setup.
  virtual const VelStreamSetupContainer& streamSetupChunk() const { return setup_; }
  /// Amplitude scaling of each channel.
  virtual const std::vector<std::shared_ptr<const VelAmplScalingChunk>>& amplScalingChunks() const {
    return scalings_;
  }
  /// Number of channels: the count of stream status chunks, truncated to 8 bits.
  virtual uint8 numChannels() const { return numChannels_; }
  /// The array master's device info (device info on channel 0xFF), or empty.
  virtual std::shared_ptr<const VelDeviceInfoChunk> arrayMasterInfo() const { return arrayMaster_; }
  /// True when the header came from an array (it carried an array-master record).
  virtual bool isArray() const { return isArray_; }

  /// Reads the header's chunks; the caller owns the result.
  static VelStreamEventHeaderPayload* deserialize(ByteStream* s);

 private:
  std::shared_ptr<const VelEventKeyChunk> eventKey_;
  std::vector<std::shared_ptr<const VelDeviceInfoChunk>> deviceInfos_;
  std::vector<std::shared_ptr<const VelStreamStatusChunk>> statuses_;
  VelStreamSetupContainer setup_;
  std::vector<std::shared_ptr<const VelAmplScalingChunk>> scalings_;
  uint8 numChannels_ = 0;
  std::shared_ptr<const VelDeviceInfoChunk> arrayMaster_;
  bool isArray_ = false;
};

/// Data payload: one block of samples with the key of its event.
class VelStreamDataPayload : public VelStreamMessagePayload,
                             public DeserializationFactory<VelStreamDataPayload> {
 public:
  /// A payload of `eventKey` and `data` (either may be empty).
  explicit VelStreamDataPayload(std::shared_ptr<const VelEventKeyChunk> eventKey = nullptr,
                                std::shared_ptr<const VelStreamDataChunk> data = nullptr)
      : eventKey_(std::move(eventKey)), data_(std::move(data)) {}

  /// The event key (the last one in the payload), or empty.
  virtual std::shared_ptr<const VelEventKeyChunk> eventKey() const { return eventKey_; }
  /// The sample block, or empty.
  virtual std::shared_ptr<const VelStreamDataChunk> data() const { return data_; }
  /// Channels of the sample block (0 without one).
  virtual uint8 numChannels() const { return data_ ? data_->numChannels() : 0; }

  /// Reads the payload's chunks, copying the samples; the caller owns the result.
  static VelStreamDataPayload* deserialize(ByteStream* s);
  /// Reads the payload's chunks from a stream over `block` (from its first byte) without
  /// copying the samples: the data chunk shares `block`.
  static std::shared_ptr<VelStreamDataPayload> deserializeShared(
      ByteStream* s, const std::shared_ptr<uint8[]>& block);

 private:
  void readChunks(ByteStream* s, const std::shared_ptr<uint8[]>* block);

  std::shared_ptr<const VelEventKeyChunk> eventKey_;
  std::shared_ptr<const VelStreamDataChunk> data_;
};

/// Status payload: the trigger status of a device.
class VelStatusDataPayload : public VelStreamMessagePayload,
                             public DeserializationFactory<VelStatusDataPayload> {
 public:
  /// A payload of `trig` (may be empty).
  explicit VelStatusDataPayload(std::shared_ptr<const VelStreamTrigStatusChunk> trig = nullptr)
      : trig_(std::move(trig)) {}

  /// The trigger status, or empty.
  virtual std::shared_ptr<const VelStreamTrigStatusChunk> trigChunk() const { return trig_; }
  /// Channels described: 1 with a trigger status (it reports on the sending unit), else 0.
  virtual uint8 numChannels() const { return trig_ ? 1 : 0; }

  /// Reads the payload's chunks; the caller owns the result.
  static VelStatusDataPayload* deserialize(ByteStream* s);

 private:
  std::shared_ptr<const VelStreamTrigStatusChunk> trig_;
};
