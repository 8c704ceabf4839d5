#include <veliface/stream/VelStreamNotifyPayload.h>

// "availaible" is the devices' own spelling; hosts match on these texts.
const std::string notifyStrings[6] = {
    "No error.",
    "No streaming connection availaible on this port.",
    "Stream timeout.",
    "Stream is stopped.",
    "Invalid start message.",
    "Device is logging, could not start stream.",
};

std::string VelStreamNotifyPayload::errorStr() const {
  if (errorCode_ < 6) return notifyStrings[errorCode_];
  return "Unknown Stream Error.";
}

VelStreamNotifyPayload* VelStreamNotifyPayload::deserialize(ByteStream* s) {
  auto* p = new VelStreamNotifyPayload();
  s->readBE(p->errorCode_);
  return p;
}
