#include <veliface/control/VelControlProcessor.h>
#include <veliface/control/VelEnquireCmd.h>
#include <veliface/device/FcrDevice.h>
#include <veliface/device/RowanDevice.h>
#include <veliface/device/VelDevice.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;

// Enquire response frame of an Aurel HF (type 5), serial 1234, with a version-5 hydrophone
// record; `sensLow` is the low byte of the raw sensitivity 0xF9xx (0x8E: -1650, -165.0 dB).
// The CRC of an enquire response is not read, so any two bytes do.
Bytes enquireFrame(uint8 sensLow) {
  return Bytes{0x2A, 0x45, 0x3E, 0x00,                                    // "*", 'E', 62
               0xD2, 0x04,                                                // serial 1234
               '2', '.', '0', '.', '1', 0, 0, 0,                          // firmware
               'M', 'a', 'r', ' ', '1', '4', ' ', '2', '0', '2', '4', 0, 0, 0, 0, 0, 0, 0,
               0x05, 0x00, 0x00, 0x00,                                    // type, status, -
               0x05,                                                      // record version
               sensLow, 0xF9,                                             // sensitivity
               0xE1, 0x00, 0x2C, 0x01,                                    // 22.5 C, 30.0 %
               0x02, 0x4B, 0x03, 0x03,                                    // batt, 75 %, hw, link
               'R', '2', '.', '1', 0, 0, 0, 0, 0x05, 0x85,                // release, sync, time
               'A', 'u', 'r', 'e', 'l', ' ', 'H', 'F', 0,                 // model
               0x11, 0x22};                                               // CRC
}

std::shared_ptr<VelEnquireCmd> receive(VelControlProcessor& proc, CircularByteBuffer& ring,
                                       const Bytes& frame) {
  EXPECT_EQ(ring.write(frame.data(), frame.size()), frame.size());
  const auto msg = proc.pump(ring);
  return msg ? std::dynamic_pointer_cast<VelEnquireCmd>(msg->payload()) : nullptr;
}

// An enquire response of type `type` whose record is `record` (may be empty).
VelEnquireCmd response(VelDeviceType type, std::shared_ptr<VelEnqDeviceData> record) {
  VelEnquireCmd cmd;
  cmd.setSerial(77);
  cmd.setDevType(static_cast<uint8>(type));
  cmd.setFirmwareVer("1.0");
  cmd.setBuildDate("Jan 01 2024");
  cmd.setDeviceData(std::move(record));
  return cmd;
}

// An edit of the record (of class `Rec`) inside a response.
template <class Rec, class F>
std::function<void(VelEnquireCmd&)> onRecord(F f) {
  return [f](VelEnquireCmd& c) { f(static_cast<Rec&>(*c.deviceData())); };
}

}  // namespace

TEST(VelDevice, HostFlowFromEnquireFrameToDeviceState) {
  VelControlProcessor proc;
  CircularByteBuffer ring(1024);
  const auto enq = receive(proc, ring, enquireFrame(0x8E));
  ASSERT_NE(enq, nullptr);

  const std::pair<VelDeviceType, const std::type_info*> classes[] = {
      {DEV_AUREL_HF, &typeid(VelDevice)},      {DEV_AUREL_AF, &typeid(VelDevice)},
      {DEV_ARRAY_HUB, &typeid(HciDevice)},     {DEV_POWER_MODULE, &typeid(SmRecDevice)},
      {DEV_ROWAN, &typeid(RowanDevice)},       {DEV_FCR, &typeid(FcrDevice)},
      {DEV_VOCAN_HF, &typeid(VelDevice)}};
  for (const auto& [type, cls] : classes) {
    const auto made = MavDevice::createDevice(type);
    const MavDevice& ref = *made;
    EXPECT_EQ(typeid(ref), *cls) << int(type);
    EXPECT_EQ(ref.devType(), type);
  }

  const auto device = MavDevice::createDevice(static_cast<VelDeviceType>(enq->devType()));
  MavDevice& made = *device;
  ASSERT_EQ(typeid(made), typeid(VelDevice));
  auto& d = static_cast<VelDevice&>(made);
  EXPECT_TRUE(d.updateDeviceInfo(*enq));
  EXPECT_EQ(d.serial(), 1234);
  EXPECT_EQ(d.enqVersion(), 5);
  EXPECT_FLOAT_EQ(d.sensitivity(), -165.0f);
  EXPECT_FLOAT_EQ(d.temperature(), 22.5f);
  EXPECT_EQ(d.sysTimeStatus(), 0x85);
  EXPECT_EQ(d.modelString(), "Aurel HF");

  const auto again = receive(proc, ring, enquireFrame(0x8E));
  const auto changed = receive(proc, ring, enquireFrame(0x8F));  // one unit: 0.1 dB
  ASSERT_TRUE(again && changed);
  EXPECT_FALSE(d.updateDeviceInfo(*again));
  EXPECT_TRUE(d.updateDeviceInfo(*changed));
  EXPECT_NEAR(d.sensitivity(), -164.9, 1e-4);
}

// Every field of each record takes part in the comparison: changing any one of them alone is
// a change, and the same response again is not.
TEST(VelDevice, EveryRecordFieldCounts) {
  using Edit = std::function<void(VelEnquireCmd&)>;
  const auto hf = [](auto f) { return onRecord<VelEnqHFData>(f); };
  const auto rec = [](auto f) { return onRecord<VelEnqSmRecData>(f); };
  const auto hci = [](auto f) { return onRecord<VelEnqHCIData>(f); };
  struct Case {
    VelDeviceType type;
    std::function<std::shared_ptr<VelEnqDeviceData>()> record;
    std::vector<Edit> edits;
  };
  const Case cases[] = {
      {DEV_AUREL_HF, [] { return std::make_shared<VelEnqHFData>(); },
       {hf([](auto& r) { r.setSensitivity(0xF000); }), hf([](auto& r) { r.setTemperature(1); }),
        hf([](auto& r) { r.setHumidity(0xFFFF); }), hf([](auto& r) { r.setBattStat(1); }),
        hf([](auto& r) { r.setBattPercent(1); }), hf([](auto& r) { r.setHardwareRev(1); }),
        hf([](auto& r) { r.setLinkType(1); }), hf([](auto& r) { r.setFirmwareRel("x"); }),
        hf([](auto& r) { r.setSyncStatus(1); }), hf([](auto& r) { r.setTimeSrc(1); }),
        hf([](auto& r) { r.setModelString("x"); }), [](VelEnquireCmd& c) { c.setSerial(78); },
        [](VelEnquireCmd& c) { c.setFirmwareVer("1.1"); },
        [](VelEnquireCmd& c) { c.setBuildDate("x"); }, [](VelEnquireCmd& c) { c.setStatus(3); }}},
      {DEV_POWER_MODULE, [] { return std::make_shared<VelEnqSmRecData>(); },
       {rec([](auto& r) { r.setHardwareRev(1); }), rec([](auto& r) { r.setLinkType(1); }),
        rec([](auto& r) { r.setSyncStatus(1); }), rec([](auto& r) { r.setTimeSrc(1); }),
        rec([](auto& r) { r.setModelString("x"); }), rec([](auto& r) { r.setHddStat(1); }),
        rec([](auto& r) { r.setHddSpace(-1); }), rec([](auto& r) { r.setBattPercent(1); })}},
      {DEV_ARRAY_HUB, [] { return std::make_shared<VelEnqHCIData>(); },
       {hci([](auto& r) { r.setHardwareRev(1); }), hci([](auto& r) { r.setLinkType(1); }),
        hci([](auto& r) { r.setFirmwareRel("x"); })}},
  };
  for (const Case& c : cases) {
    for (std::size_t i = 0; i < c.edits.size(); ++i) {
      const auto d = MavDevice::createDevice(c.type);
      d->updateDeviceInfo(response(c.type, c.record()));
      VelEnquireCmd edited = response(c.type, c.record());
      c.edits[i](edited);
      EXPECT_TRUE(d->updateDeviceInfo(edited)) << int(c.type) << " edit " << i;
      EXPECT_FALSE(d->updateDeviceInfo(edited)) << int(c.type) << " edit " << i;
    }
  }
}

TEST(VelDevice, ReadingsCompareWithinTolerance) {
  VelDevice d(DEV_AUREL_HF);
  auto record = std::make_shared<VelEnqHFData>();
  record->setSensitivity(static_cast<uint16>(-1650));
  const VelEnquireCmd cmd = response(DEV_AUREL_HF, record);
  EXPECT_TRUE(d.updateDeviceInfo(cmd));
  d.setSensitivity(-165.0009f);
  EXPECT_FALSE(d.updateDeviceInfo(cmd));
  EXPECT_FLOAT_EQ(d.sensitivity(), -165.0009f);  // not copied
  d.setSensitivity(-165.002f);
  EXPECT_TRUE(d.updateDeviceInfo(cmd));
  EXPECT_FLOAT_EQ(d.sensitivity(), -165.0f);
}

// Deliberate: recorder and hub report only changes of their own record, while a sensor
// device also reports identity changes.
TEST(VelDevice, RecorderAndHubReportOnlyTheirRecord) {
  for (const VelDeviceType type : {DEV_POWER_MODULE, DEV_ARRAY_HUB}) {
    const auto d = MavDevice::createDevice(type);
    for (const auto& record : std::vector<std::shared_ptr<VelEnqDeviceData>>{
             nullptr, std::make_shared<VelEnqHFData>()}) {
      VelEnquireCmd cmd = response(type, record);
      cmd.setSerial(static_cast<uint16>(d->serial() + 1));
      EXPECT_FALSE(d->updateDeviceInfo(cmd)) << int(type);
      EXPECT_EQ(d->serial(), cmd.serial());  // the identity step still ran
    }
    const auto own = type == DEV_ARRAY_HUB
                         ? std::shared_ptr<VelEnqDeviceData>(std::make_shared<VelEnqHCIData>())
                         : std::make_shared<VelEnqSmRecData>();
    own->setEnqVersion(1);
    EXPECT_TRUE(d->updateDeviceInfo(response(type, own))) << int(type);
    EXPECT_EQ(d->enqVersion(), 1);
  }
  VelDevice sensor(DEV_AUREL_HF);
  EXPECT_TRUE(sensor.updateDeviceInfo(response(DEV_AUREL_HF, nullptr)));
}

TEST(VelDevice, RecorderAndHubOverrideTheirRecordTexts) {
  // Overridden in the class itself, so the member pointers belong to it (an inherited one
  // would name VelDevice).
  static_assert(std::is_same_v<decltype(&SmRecDevice::modelString), std::string (SmRecDevice::*)() const>);
  static_assert(std::is_same_v<decltype(&SmRecDevice::setModelString), void (SmRecDevice::*)(const std::string&)>);
  static_assert(std::is_same_v<decltype(&HciDevice::firmwareRel), std::string (HciDevice::*)() const>);
  static_assert(std::is_same_v<decltype(&HciDevice::setFirmwareRel), void (HciDevice::*)(const std::string&)>);
  // And they keep the value, through the base too.
  SmRecDevice rec(DEV_POWER_MODULE);
  VelDevice& recBase = rec;
  recBase.setModelString("ST-600");
  EXPECT_EQ(rec.modelString(), "ST-600");
  HciDevice hub(DEV_ARRAY_HUB);
  VelDevice& hubBase = hub;
  hubBase.setFirmwareRel("4.1.7");
  EXPECT_EQ(hub.firmwareRel(), "4.1.7");
  EXPECT_EQ(hubBase.firmwareRel(), "4.1.7");
}

TEST(VelDevice, TextDumps) {
  const std::string common =
      "Serial: 65535\nFirmwareVer: n/a\nBuild Date: n/a\nDevice Type: -1\nStatus: 2\n"
      "Enq.Version: 0\n";
  const MavDevice mav(65535, DEV_UNSUPPORTED, {}, {});
  VelDevice vel(65535, DEV_UNSUPPORTED, {}, {});
  const SmRecDevice rec(65535, DEV_UNSUPPORTED, {}, {});
  const HciDevice hci(65535, DEV_UNSUPPORTED, {}, {});
  vel.setLinkType(LINK_USB);
  vel.setTemperature(-2.5f);
  vel.setBattPercent(99);
  EXPECT_EQ(mav.toString(), "----------- MavDevice ---------- \n" + common + "\n");
  EXPECT_EQ(vel.toString(), "----------- VelDevice ---------- \n" + common +
                                "Link type: 2\nSensitivity: -170.0\nFirmwareRel: n/a\n"
                                "Model: Unknown\nTemperature: -2.5\nBatt Stat: 0\nBatt %: 99\n\n");
  EXPECT_EQ(rec.toString(), "----------- SmRecDevice ---------- \n" + common +
                                "Link type: 0\nModel: Unknown\nBatt %: 0\n\n");
  EXPECT_EQ(hci.toString(),
            "----------- HciDevice ---------- \n" + common + "Link type: 0\nFirmwareRel: n/a\n\n");
}
