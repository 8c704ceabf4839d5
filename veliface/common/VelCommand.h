#pragma once
/// \file Control frames: a command or response payload inside "*", code, length, CRC.

#include <veliface/common/ISerializable.h>
#include <veliface/common/VelCommandPayload.h>

#include <memory>

/// A framed control message.
class VelCommand : public ISerializable {};

/// A control frame around one payload; also the object the control processor delivers.
///
/// Frame: 0x2A, code, payload length (u16 LE), payload, CRC-16 over all of it (u16 LE).
class VelControlMessage : public VelCommand {
 public:
  /// Frames `payload` (shared, so that processor, host and device may all keep it).
  explicit VelControlMessage(std::shared_ptr<VelControlMsgPayload> payload)
      : payload_(std::move(payload)) {}

  /// Writes the whole frame at `buf`. A non-zero starting `*len` is added to and is also
  /// covered by the CRC, which spans the first `*len` bytes of `buf`.
  void serialize(uint64* len, uint8* buf) const override;

  /// The payload.
  const std::shared_ptr<VelControlMsgPayload>& payload() const { return payload_; }

 private:
  std::shared_ptr<VelControlMsgPayload> payload_;
};
