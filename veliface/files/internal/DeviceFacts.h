#pragma once
// The few facts of a device object that recording files put into their headers, read in one
// place so that WAV and spectrum files agree.

#include <veliface/device/VelDeviceType.h>

#include <mavcommon/MavTypes.h>

#include <memory>
#include <string>

class VelDevice;
class VelDeviceInfoChunk;

namespace veliface::files {

struct DeviceFacts {
  VelDeviceType type = DEV_NONE;
  uint16 serial = 0;
  float sensitivity = -170.0f;  // dB, as a device without a reading reports it
  std::string firmware;
};

// Facts of `device`; without a device (or with serial 0) the event header's device info
// supplies the serial.
DeviceFacts deviceFacts(const std::shared_ptr<VelDevice>& device, const VelDeviceInfoChunk* info);

}  // namespace veliface::files
