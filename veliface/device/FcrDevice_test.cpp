#include <veliface/device/FcrDevice.h>
#include <veliface/device/RowanDevice.h>

#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>
#include <vector>

TEST(FcrDevice, MemberListsCompareByIdentityInAnyOrder) {
  FcrDevice fcr(DEV_FCR);
  fcr.setDevList(std::vector<VelDeviceId>{{DEV_ROWAN, 2}, {DEV_AUREL_HF, 1}});
  ASSERT_EQ(fcr.devList().size(), 2u);
  const MavDevice& first = *fcr.devList()[0];
  EXPECT_EQ(typeid(first), typeid(RowanDevice));
  EXPECT_EQ(fcr.devList()[0]->serial(), 2);

  using Ids = std::vector<VelDeviceId>;
  EXPECT_TRUE(fcr.compareDevLists(Ids{{DEV_AUREL_HF, 1}, {DEV_ROWAN, 2}}));
  EXPECT_FALSE(fcr.compareDevLists(Ids{{DEV_AUREL_HF, 1}, {DEV_ROWAN, 3}}));
  EXPECT_FALSE(fcr.compareDevLists(Ids{{DEV_AUREL_AF, 1}, {DEV_ROWAN, 2}}));
  EXPECT_FALSE(fcr.compareDevLists(Ids{{DEV_ROWAN, 2}}));
  EXPECT_FALSE(fcr.compareDevLists(Ids{{DEV_ROWAN, 2}, {DEV_ROWAN, 2}, {DEV_AUREL_HF, 1}}));

  // Empty entries are not members.
  FcrDevice other(DEV_FCR);
  other.setDevList(FcrDevice::DeviceList{nullptr, std::make_shared<RowanDevice>(DEV_ROWAN),
                                         nullptr});
  other.devList()[0]->setSerial(2);
  EXPECT_EQ(other.devList().size(), 1u);
  EXPECT_FALSE(fcr.compareDevLists(other.devList()));
  EXPECT_FALSE(fcr.checkArray(other));
  other.setDevList(fcr.devList());
  EXPECT_TRUE(fcr.checkArray(other));

  const VelDeviceId id = fcr.deviceId();
  EXPECT_EQ(id.devType(), DEV_FCR);
  EXPECT_EQ(id.cDevIdList(), (Ids{{DEV_ROWAN, 2}, {DEV_AUREL_HF, 1}}));

  // Only an FCR of the same type describes the same array.
  VelDevice sameType(DEV_FCR);
  EXPECT_FALSE(fcr.checkArray(sameType));
  other.setDevType(DEV_ROWAN);
  EXPECT_FALSE(fcr.checkArray(other));
}

TEST(RowanDevice, ChannelLinkAndArrayCheck) {
  auto fcr = std::make_shared<FcrDevice>(DEV_FCR);
  fcr->setDevList(std::vector<VelDeviceId>{{DEV_ROWAN, 12}});
  RowanDevice a(12, DEV_ROWAN, MavNetHostInfo(), {});
  a.setFCRDev(fcr);
  a.setFcrChanhel(3);
  a.setBandWidth(20000);
  a.setSpectrumVRef(2.5f);
  EXPECT_EQ(a.FCRDev(), fcr);
  EXPECT_EQ(a.FCR_MAV_Dev().get(), static_cast<MavDevice*>(fcr.get()));
  EXPECT_EQ(a.bandWidth(), 20000u);
  EXPECT_EQ(a.spectrumVRef(), 2.5f);
  EXPECT_EQ(a.deviceId().hostDevNo(), 3);
  EXPECT_EQ(a.friendlyName(), "Rowan #12 (3)");

  RowanDevice b(99, DEV_ROWAN, MavNetHostInfo(), {});
  b.setFcrChanhel(3);
  EXPECT_FALSE(a.checkArray(b));  // b is on no FCR
  b.setFCRDev(std::make_shared<FcrDevice>(*fcr));
  EXPECT_TRUE(a.checkArray(b));
  b.setFcrChanhel(4);
  EXPECT_FALSE(a.checkArray(b));
  b.setFcrChanhel(3);
  b.FCRDev()->setDevList(std::vector<VelDeviceId>{{DEV_ROWAN, 13}});
  EXPECT_FALSE(a.checkArray(b));

  // Members of one array record at the same rates.
  VelJobSettings rates;
  rates.setWavRate(SAMP_RATE_64000);
  b.setJobSettings(rates);
  EXPECT_FALSE(a.checkArrayRates(b));
  a.setJobSettings(rates);
  EXPECT_TRUE(a.checkArrayRates(b));
}
