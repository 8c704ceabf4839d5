#pragma once
/// \file The stream notification: a single error code sent by a device on its stream port.

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavTypes.h>
#include <veliface/common/DeserializationFactory.h>
#include <veliface/stream/VelStreamMessage.h>

#include <string>

/// Texts of the stream notification codes 0 to 5 (the first text is for "no error").
extern const std::string notifyStrings[6];

/// Notification payload: one error code (u32, big-endian).
class VelStreamNotifyPayload : public VelStreamMessagePayload,
                               public DeserializationFactory<VelStreamNotifyPayload> {
 public:
  /// A notification of `code`.
  explicit VelStreamNotifyPayload(uint32 code = 0) : errorCode_(code) {}
  /// The error code.
  virtual uint32 errorCode() const { return errorCode_; }
  /// Sets the error code.
  virtual void setErrorCode(uint32 code) { errorCode_ = code; }
  /// The code's text, or "Unknown Stream Error." for codes without one.
  virtual std::string errorStr() const;
  /// Reads the 4-byte code; a short stream leaves it 0.
  static VelStreamNotifyPayload* deserialize(ByteStream* s);

 private:
  uint32 errorCode_;
};
