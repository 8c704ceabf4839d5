#pragma once
/// \file The few facts of a device object that recording files put into their headers, read
/// in one place so that WAV and spectrum files agree.

#include <veliface/vocabulary/VelDeviceType.h>

#include <mavcommon/MavTypes.h>

#include <memory>
#include <string>

class MavDevice;
class VelDeviceInfoChunk;

namespace veliface::files {

/// What a recording file says about the device that made it.
struct DeviceFacts {
  VelDeviceType type = DEV_NONE;  ///< device type
  uint16 serial = 0;              ///< serial number
  float sensitivity = -170.0f;    ///< dB, as a device without a reading reports it
  std::string firmware;           ///< firmware release text, control characters replaced
};

/// Facts of `device` (type, serial, firmware; sensitivity from a sensor device); what the
/// device does not know yet (serial 0, firmware "n/a", no device) comes from `info`.
DeviceFacts deviceFacts(const std::shared_ptr<MavDevice>& device, const VelDeviceInfoChunk* info);

}  // namespace veliface::files
