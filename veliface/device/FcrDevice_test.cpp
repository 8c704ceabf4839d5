#include <veliface/device/FcrDevice.h>
#include <veliface/device/RowanDevice.h>

#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>
#include <vector>

using Ids = std::vector<VelDeviceId>;

TEST(FcrDevice, MemberListsCompareByIdentityInAnyOrder) {
  FcrDevice fcr(DEV_FCR);
  fcr.setDevList(Ids{{DEV_ROWAN, 2}, {DEV_AUREL_HF, 1}});
  const MavDevice& first = *fcr.devList().at(0);
  EXPECT_EQ(typeid(first), typeid(RowanDevice));
  EXPECT_EQ(first.serial(), 2);
  EXPECT_EQ(fcr.deviceId().cDevIdList(), (Ids{{DEV_ROWAN, 2}, {DEV_AUREL_HF, 1}}));

  EXPECT_TRUE(fcr.compareDevLists(Ids{{DEV_AUREL_HF, 1}, {DEV_ROWAN, 2}}));
  EXPECT_FALSE(fcr.compareDevLists(Ids{{DEV_AUREL_AF, 1}, {DEV_ROWAN, 2}}));
  EXPECT_FALSE(fcr.compareDevLists(Ids{{DEV_ROWAN, 2}, {DEV_ROWAN, 2}}));

  FcrDevice other(DEV_FCR);
  other.setDevList(FcrDevice::DeviceList{nullptr, fcr.devList()[0]});  // empty entry dropped
  EXPECT_EQ(other.devList().size(), 1u);
  EXPECT_FALSE(fcr.checkArray(other));
  other.setDevList(fcr.devList());
  EXPECT_TRUE(fcr.checkArray(other));
  VelDevice notAnFcr(DEV_FCR);
  EXPECT_FALSE(fcr.checkArray(notAnFcr));
}

TEST(RowanDevice, ChannelLinkAndArrayCheck) {
  auto fcr = std::make_shared<FcrDevice>(DEV_FCR);
  fcr->setDevList(Ids{{DEV_ROWAN, 12}});
  RowanDevice a(12, DEV_ROWAN, MavNetHostInfo(), {});
  a.setFCRDev(fcr);
  a.setFcrChanhel(3);
  EXPECT_EQ(a.FCR_MAV_Dev().get(), static_cast<MavDevice*>(fcr.get()));
  EXPECT_EQ(a.friendlyName(), "Rowan #12 (3)");

  RowanDevice b(99, DEV_ROWAN, MavNetHostInfo(), {});
  b.setFcrChanhel(3);
  EXPECT_FALSE(a.checkArray(b));  // b is on no FCR
  b.setFCRDev(std::make_shared<FcrDevice>(*fcr));
  EXPECT_TRUE(a.checkArray(b));
  b.setFcrChanhel(4);
  EXPECT_FALSE(a.checkArray(b));

  VelJobSettings rates;  // members of one array record at the same rates
  rates.setWavRate(SAMP_RATE_64000);
  b.setJobSettings(rates);
  EXPECT_FALSE(a.checkArrayRates(b));
}
