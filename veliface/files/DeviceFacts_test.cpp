#include <veliface/files/DeviceFacts.h>

#include <veliface/control/VelEnquireCmd.h>
#include <veliface/device/MavDevice.h>

#include <gtest/gtest.h>

namespace veliface::files {
namespace {

TEST(DeviceFacts, TheDevicesTextGoesIntoFilesOnOneLine) {
  auto device = MavDevice::createDevice(DEV_AUREL_HF);
  ASSERT_TRUE(device);
  VelEnquireCmd enq;
  enq.setDevType(DEV_AUREL_HF);
  enq.setSerial(4321);
  enq.setFirmwareVer("2.1\nModel\tX\x1b[2J");
  device->updateDeviceInfo(enq);
  const DeviceFacts facts = deviceFacts(device, nullptr);
  EXPECT_EQ(facts.serial, 4321);
  EXPECT_EQ(facts.firmware, "2.1?Model?X?[2J");
}

}  // namespace
}  // namespace veliface::files
