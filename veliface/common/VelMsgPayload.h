#pragma once
/// \file Payload of commands without fields of their own (and the collect-data request).

#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/VelCommandPayload.h>

/// A field-less command that frames itself. For code 0x43 ("CollectData") it carries a
/// mask in `flags`: one payload byte, or two when bit 0x08 asks for extended data.
class VelMsgPayload : public VelControlMsgPayload, public DeserializationFactory<VelMsgPayload> {
 public:
  /// A command of `code`; `flags` is used only for code 0x43.
  explicit VelMsgPayload(uint8 code = 0, uint8 flags = 0) : code_(code), flags_(flags) {}

  /// Writes the whole frame (header, 0-2 payload bytes, CRC) at `buf`.
  void serialize(uint64* len, uint8* buf) const override;
  /// The command code.
  uint8 commandCode() const override { return code_; }
  /// Builds the frame in the object's own 32-byte buffer (through the virtual `serialize`)
  /// and returns it; `len` grows by the frame size. Valid until the next call.
  const uint8* getMessage(uint64& len);

  /// The collect-data mask.
  uint8 flags() const { return flags_; }
  /// Sets the collect-data mask.
  void setFlags(uint8 flags) { flags_ = flags; }
  /// Sets the command code.
  void setCode(uint8 code) { code_ = code; }

  /// Reads nothing: a field-less response carries no payload worth keeping.
  static VelMsgPayload* deserialize(ByteStream* s);

 private:
  uint8 code_;
  uint8 frame_[32] = {};
  uint8 flags_;
};
