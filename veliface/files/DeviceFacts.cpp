#include <veliface/files/DeviceFacts.h>

#include <veliface/device/VelDevice.h>
#include <veliface/stream/VelStreamChunk.h>
#include <veliface/vocabulary/DeviceText.h>

#include <cstdint>

namespace veliface::files {

DeviceFacts deviceFacts(const std::shared_ptr<MavDevice>& device, const VelDeviceInfoChunk* info) {
  DeviceFacts facts;
  if (info != nullptr) {
    facts.serial = info->serialNo();
    // Tenths of a dB, signed, as the device reports its sensitivity everywhere else.
    facts.sensitivity = static_cast<float>(static_cast<std::int16_t>(info->sensitivity())) / 10.0f;
    const uint8* fw = info->fwVer();
    facts.firmware = std::to_string(fw[0]) + "." + std::to_string(fw[1]) + "." + std::to_string(fw[2]);
  }
  if (!device) return facts;
  facts.type = device->devType();
  // A device object that has not been enquired yet knows less than the stream tells.
  if (device->serial() != 0) facts.serial = device->serial();
  // The device's own text: a line break in it would break the spectrum file for every reader.
  if (device->firmwareVer() != "n/a") facts.firmware = cleanDeviceText(device->firmwareVer());
  if (const auto* sensor = dynamic_cast<const VelDevice*>(device.get())) facts.sensitivity = sensor->sensitivity();
  return facts;
}

}  // namespace veliface::files
