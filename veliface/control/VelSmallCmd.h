#pragma once
/// \file The small control commands: set time, array channel status and reset.

#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/VelCommandPayload.h>

#include <mavcommon/Endian.h>

#include <cstdint>

/// A control payload that carries one 32-bit signed value, little-endian. `Derived` is the
/// concrete command, `Code` its command code and `Unread` the value kept when the payload
/// is too short to hold it.
template <typename Derived, uint8 Code, std::int32_t Unread>
class VelInt32CmdPayload : public VelControlMsgPayload, public DeserializationFactory<Derived> {
 public:
  /// A command carrying `time`.
  explicit VelInt32CmdPayload(std::int32_t time = Unread) : time_(time) {}

  /// Writes the 4-byte value at `buf`; `*len` grows by 4.
  void serialize(uint64* len, uint8* buf) const override {
    mav::storeLE<std::int32_t>(buf, time_);
    *len += 4;
  }
  /// The command code of this command.
  uint8 commandCode() const override { return Code; }

  /// The carried 32-bit value.
  std::int32_t time() const { return time_; }
  /// Sets the carried value.
  void setTime(std::int32_t time) { time_ = time; }

  /// Reads 4 bytes into the value; a shorter payload leaves the constructor value.
  static Derived* deserialize(ByteStream* s) {
    auto* d = new Derived();
    std::int32_t v = Unread;
    s->readLE(v);
    d->setTime(v);
    return d;
  }

 private:
  std::int32_t time_;
};

/// Sets the device clock (code 0x41). The value's epoch and unit are the caller's; it is
/// passed through unchanged. A response without payload decodes as -1.
class VelSetTimeCmd : public VelInt32CmdPayload<VelSetTimeCmd, 0x41, -1> {
 public:
  using VelInt32CmdPayload::VelInt32CmdPayload;
};

/// Array channel-status command. Its command code is 0x00, deliberately: the frame goes out
/// with code 0, which cmdCodeStr calls "Unrecognized Command" and which the control
/// processor treats as unknown; this is the protocol as the devices define it.
class ArrChanStatCmd : public VelInt32CmdPayload<ArrChanStatCmd, 0x00, 0> {
 public:
  using VelInt32CmdPayload::VelInt32CmdPayload;
};

/// Resets the device (code 0x59); no payload either way.
class VelResetCmd : public VelControlMsgPayload, public DeserializationFactory<VelResetCmd> {
 public:
  /// Writes nothing.
  void serialize(uint64* /*len*/, uint8* /*buf*/) const override {}
  /// 0x59.
  uint8 commandCode() const override { return 0x59; }
  /// Reads nothing and returns a new reset payload.
  static VelResetCmd* deserialize(ByteStream* /*s*/) { return new VelResetCmd(); }
};
