#pragma once
/// \file A decoded stream-channel message and the base of its payloads.

#include <veliface/common/VelMessage.h>
#include <veliface/stream/VelStreamType.h>

#include <memory>
#include <utility>

/// Base of the stream payloads; knows which stream (processor) it was decoded from.
class VelStreamMessagePayload : public VelMessagePayload {
 public:
  /// The stream type stamped by the processor that decoded the payload.
  virtual VelStreamType streamType() const { return streamType_; }
  /// Sets the stream type.
  virtual void setStreamType(VelStreamType type) { streamType_ = type; }

 private:
  VelStreamType streamType_ = VEL_STREAM_UNKNOWN;
};

/// One stream-channel frame as delivered by the stream processor.
class VelStreamMessage : public VelMessage {
 public:
  /// Wraps `payload`.
  explicit VelStreamMessage(std::shared_ptr<VelStreamMessagePayload> payload)
      : payload_(std::move(payload)) {}
  /// The payload.
  const std::shared_ptr<VelStreamMessagePayload>& payload() const { return payload_; }

 private:
  std::shared_ptr<VelStreamMessagePayload> payload_;
};
