#include <veliface/settings/ArrayJobSettings.h>

#include <gtest/gtest.h>

namespace {

TEST(ArrayJobSettings, FreshObjectHoldsEmptyListsAndDefaults) {
  const ArrayJobSettings a;
  EXPECT_EQ(a.toString(), "$ARRAY_SERIALS=\n$ARRAY_IP_ADDR=0.0.0.0\n");
  EXPECT_EQ(a.arrDevType(), DEV_AUREL_HF);
  EXPECT_EQ(a.arrCtrlMode(), 0u);
  EXPECT_EQ(a.arrWavLogLen(), 1u);
  EXPECT_EQ(a.arrFftLogLen(), 1u);
  EXPECT_EQ(a.consvBatt(), 1u);
  EXPECT_EQ(a.hciLogStartTime(), -1);
  EXPECT_EQ(a.hciSubnet(), 0u);
  EXPECT_TRUE(a.deviceList().empty());
  EXPECT_EQ(a.hciAddress(), 0u);
  // Per-device getters are inherited with their defaults.
  EXPECT_EQ(a.fftPoints(), 1024u);
}

TEST(ArrayJobSettings, SettersAndGettersOfTheArrayKeys) {
  ArrayJobSettings a;
  a.setArrDevType(DEV_UNSUPPORTED);
  a.setArrEpochLogMode(4);
  a.setArrWavLogLen(60);
  a.setHciSubnet(0xFFFF0000u);
  a.setHciGateway(0x0A000001u);
  a.setHciDns(0x08080808u);
  a.setConsvBatt(0);
  a.setHciLogStartTime(-30);
  a.setHciDutyCyclePeriod(100);
  a.setHciDutyCycleActive(10);
  a.setHciDutyCycleDataType(2);
  a.setArrFftLogMode(LOG_MODE_TRIGGERED);
  EXPECT_EQ(a.arrDevType(), DEV_UNSUPPORTED);
  EXPECT_EQ(a.arrEpochLogMode(), 4u);
  EXPECT_EQ(a.arrWavLogLen(), 60u);
  EXPECT_EQ(a.hciSubnet(), 0xFFFF0000u);
  EXPECT_EQ(a.hciGateway(), 0x0A000001u);
  EXPECT_EQ(a.hciDns(), 0x08080808u);
  EXPECT_EQ(a.consvBatt(), 0u);
  EXPECT_EQ(a.hciLogStartTime(), -30);
  EXPECT_EQ(a.hciDutyCyclePeriod(), 100u);
  EXPECT_EQ(a.hciDutyCycleActive(), 10u);
  EXPECT_EQ(a.hciDutyCycleDataType(), 2u);
  EXPECT_EQ(a.arrFftLogMode(), LOG_MODE_TRIGGERED);
  EXPECT_EQ(a.toString(),
            "$ARRAY_DEV_TYPE=-1\n$ARRAY_FFT_LOG_MODE=3\n$ARRAY_EPOCH_LOG_MODE=4\n"
            "$ARRAY_WAVE_LOG_LENGTH=60\n$ARRAY_NETMASK=255.255.0.0\n$ARRAY_GATEWAY=10.0.0.1\n"
            "$ARRAY_DNS=8.8.8.8\n$CONSERVE_BATT=0\n$ARRAY_LOG_START_TIME=-30\n"
            "$ARRAY_DUTY_CYCLE_TIME=100\n$ARRAY_DUTY_RUN_TIME=10\n$ARRAY_DUTY_DATA_TYPE=2\n"
            "$ARRAY_SERIALS=\n$ARRAY_IP_ADDR=0.0.0.0\n");
}

TEST(ArrayJobSettings, WaveLogModeGetterReadsTheControlMode) {
  ArrayJobSettings a;
  a.setArrCtrlMode(static_cast<HciControlMode>(2));
  EXPECT_EQ(a.arrCtrlMode(), 2u);
  EXPECT_EQ(a.arrWavLogMode(), 2);
  a.setArrWavLogMode(static_cast<VelLogMode>(3));
  EXPECT_EQ(a.arrCtrlMode(), 2u);
  EXPECT_EQ(a.arrWavLogMode(), 2);
  EXPECT_TRUE(a.map().count(ARRAY_WAVE_LOG_MODE));
}

TEST(ArrayJobSettings, FftLogLenGetterAcceptsOnlyTheWaveLengthClass) {
  ArrayJobSettings a;
  a.setArrFftLogLen(7);
  EXPECT_EQ(a.map().at(ARRAY_FFT_LOG_LENGTH)->toString(), "$ARRAY_FFT_LOG_LENGTH=7");
  EXPECT_EQ(a.arrFftLogLen(), 1u);
  // Only a wave-length tag under the spectrum-length key is read.
  JobTagMap m;
  m[ARRAY_FFT_LOG_LENGTH] = std::make_shared<HciWavLogLenTag>(9u);
  a.setMap(m);
  EXPECT_EQ(a.arrFftLogLen(), 9u);
  EXPECT_EQ(a.arrWavLogLen(), 1u);
}

TEST(ArrayJobSettings, SetMapKeepsOrAddsTheLists) {
  ArrayJobSettings a;
  JobTagMap bare;
  bare[FFT_ACCUM] = std::make_shared<VelFftAccumTag>(3u);
  a.setMap(bare);
  EXPECT_EQ(a.map().size(), 3u);
  EXPECT_NE(dynamic_cast<const HciDeviceListTag*>(a.map().at(ARRAY_SERIALS).get()), nullptr);
  EXPECT_NE(dynamic_cast<const HciDeviceIpListTag*>(a.map().at(ARRAY_IP_ADDR).get()), nullptr);

  JobTagMap withLists;
  withLists[ARRAY_SERIALS] = std::make_shared<HciDeviceListTag>(std::vector<uint16>{4});
  withLists[ARRAY_IP_ADDR] = std::make_shared<HciDeviceIpListTag>();
  a.setMap(withLists);
  EXPECT_EQ(a.map().at(ARRAY_SERIALS), withLists.at(ARRAY_SERIALS));
  EXPECT_EQ(a.map().at(ARRAY_IP_ADDR), withLists.at(ARRAY_IP_ADDR));
  EXPECT_EQ(a.map().size(), 2u);

  const ArrayJobSettings fromMap(bare);
  EXPECT_EQ(fromMap.map().size(), 3u);
}

TEST(ArrayJobSettings, ListMutatorsChangeTheSharedTagInPlace) {
  ArrayJobSettings a;
  const ArrayJobSettings sharer(a);  // holds the same list tags
  a.setDeviceList({10, 20});
  a.addDevice(10);
  a.removeDevice(10);
  EXPECT_EQ(sharer.deviceList(), (std::vector<uint16>{20, 10}));
  EXPECT_TRUE(sharer.containsDevice(20));
  EXPECT_FALSE(sharer.containsDevice(30));

  a.setAddrList({0x0A000002u});
  a.setHciAddress(0x0A000001u);
  EXPECT_EQ(sharer.addrList(), (std::vector<uint32>{0x0A000002u}));
  EXPECT_EQ(sharer.hciAddress(), 0x0A000001u);
}

TEST(ArrayJobSettings, NetworkTagsAreIndependentCopies) {
  ArrayJobSettings a;
  EXPECT_EQ(a.networkTags().size(), 1u);  // only the address list is present

  a.setHciSubnet(0xFFFFFF00u);
  a.setHciDns(0x01010101u);
  a.setAddrList({0xC0A80015u, 0xC0A80016u});
  a.setHciAddress(0xC0A8000Au);
  a.setArrCtrlMode(HCI_CTRL_HUB);
  const JobTagMap net = a.networkTags();
  ASSERT_EQ(net.size(), 3u);
  EXPECT_FALSE(net.count(ARRAY_GATEWAY));
  EXPECT_EQ(net.at(ARRAY_NETMASK)->toString(), "$ARRAY_NETMASK=255.255.255.0");
  EXPECT_EQ(net.at(ARRAY_DNS)->toString(), "$ARRAY_DNS=1.1.1.1");
  auto ips = std::dynamic_pointer_cast<HciDeviceIpListTag>(net.at(ARRAY_IP_ADDR));
  ASSERT_NE(ips, nullptr);
  EXPECT_EQ(ips->toString(), "$ARRAY_IP_ADDR=192.168.0.10,192.168.0.21,192.168.0.22");
  EXPECT_NE(ips, a.map().at(ARRAY_IP_ADDR));
  ips->addAddr(0xC0A80017u);
  EXPECT_EQ(a.addrList().size(), 2u);

  // Taking them over shares the given tags and ignores other keys.
  ArrayJobSettings b;
  JobTagMap given = net;
  given[FFT_ACCUM] = std::make_shared<VelFftAccumTag>(5u);
  b.setNetworkTags(given);
  EXPECT_EQ(b.map().at(ARRAY_IP_ADDR), ips);
  EXPECT_EQ(b.addrList().size(), 3u);
  EXPECT_EQ(b.hciSubnet(), 0xFFFFFF00u);
  EXPECT_FALSE(b.map().count(FFT_ACCUM));
  EXPECT_FALSE(b.map().count(ARRAY_GATEWAY));
}

}  // namespace
