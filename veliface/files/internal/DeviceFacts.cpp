#include <veliface/files/internal/DeviceFacts.h>

#include <veliface/stream/VelStreamChunk.h>

#include <cstdint>

namespace veliface::files {

DeviceFacts deviceFacts(const std::shared_ptr<VelDevice>& device, const VelDeviceInfoChunk* info) {
  DeviceFacts facts;
  if (info != nullptr) {
    facts.serial = info->serialNo();
    // Tenths of a dB, signed, as the device reports its sensitivity everywhere else.
    facts.sensitivity = static_cast<float>(static_cast<std::int16_t>(info->sensitivity())) / 10.0f;
    const uint8* fw = info->fwVer();
    facts.firmware = std::to_string(fw[0]) + "." + std::to_string(fw[1]) + "." + std::to_string(fw[2]);
  }
  (void)device;
  return facts;
}

}  // namespace veliface::files
