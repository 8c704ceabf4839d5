#pragma once
/// \file Bases of the payloads carried in control frames.

#include <veliface/common/ISerializable.h>

/// A payload that can be written into a command.
class VelCommandPayload : public ISerializable {};

/// A control-channel payload: it knows the command code of the frame that carries it.
class VelControlMsgPayload : public VelCommandPayload {
 public:
  /// The one-byte command code (a `VelCommandCode` value) of this payload's frame.
  virtual uint8 commandCode() const = 0;
};
