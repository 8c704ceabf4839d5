#include <veliface/vocabulary/VelDeviceEnums.h>
#include <veliface/vocabulary/VelDeviceType.h>

#include <gtest/gtest.h>

#include <stdexcept>

TEST(VelDeviceTypeText, SignedKeysFallbackAndExactReverseLookup) {
  EXPECT_EQ(VelUtil::deviceTypeStr(static_cast<VelDeviceType>(-1)), "Unsupported device");
  EXPECT_EQ(VelUtil::deviceTypeStr(static_cast<VelDeviceType>(0x11)), "Unrecognized Device");
  EXPECT_EQ(VelUtil::deviceTypeStr(static_cast<VelDeviceType>(0x43)), "FFT Txt File, ");
  EXPECT_EQ(VelUtil::deviceType("Aurel HF"), DEV_AUREL_HF);
  EXPECT_EQ(VelUtil::deviceType("WAV Bin File, "), DEV_WAV_BIN_FILE);
  for (const char* unknown : {"aurel hf", "WAV Bin File,", "Hydrophone", ""}) {
    EXPECT_EQ(VelUtil::deviceType(unknown), DEV_UNSUPPORTED) << unknown;
  }
}

// One text and the first value without one, per table: a slip between tables or a wrong
// fallback shows here.
TEST(VelStatusText, TextsAndFallbacks) {
  EXPECT_EQ(VelUtil::deviceStatusStr(DEVSTAT_FILESYSTEM_FAULT), "Filesystem Fault");
  EXPECT_EQ(VelUtil::deviceStatusStr(static_cast<VelDeviceStatus>(6)), "Invalid Status");
  EXPECT_EQ(VelUtil::syncStatusStr(SYNC_SYNCHRONIZED_RE), "PPS Synchronized (RE)");
  EXPECT_EQ(VelUtil::syncStatusStr(static_cast<VelSyncStatus>(9)), "Invalid Status");
  EXPECT_EQ(VelUtil::hddStatString(STORAGE_NOT_PRESENT), "Drive not present");
  EXPECT_EQ(VelUtil::hddStatString(static_cast<ArrayStorageStat>(4)), "Invalid Status");
  EXPECT_EQ(VelUtil::chargeBattStatusStr(BATT_NOT_CHARGING), "Not Charging");
  EXPECT_EQ(VelUtil::chargeBattStatusStr(static_cast<VelBattStatus>(4)), "Invalid Status");
  EXPECT_EQ(VelUtil::networkStatusStr(NETSTAT_NO_IP), "NoIp");
  EXPECT_EQ(VelUtil::networkStatusStr(static_cast<VelNetworkStatus>(-1)), "Invalid Status");
  EXPECT_EQ(VelUtil::portConnStatusStr(PORTCONN_CONNECTION_LOST), "ConnectionLost");
  EXPECT_EQ(VelUtil::portConnStatusStr(static_cast<VelPortConnStatus>(5)), "Invalid Status");
  EXPECT_EQ(VelUtil::chanTypeStr(CHAN_EPOCH), "Epoch");
  EXPECT_EQ(VelUtil::chanTypeStr(static_cast<VelChannel>(2)), "Invalid Status");
}

TEST(VelTimeSourceText, PpsFlagWrapsTheSourceText) {
  const std::pair<int, const char*> cases[] = {
      {0x05, "GPS"},           {0x06, "PTP"},           {0x07, "Invalid Time Source"},
      {0x80, "PPS (Not Set)"}, {0x85, "PPS (GPS)"},     {0x87, "Invalid Time Source"},
      {0xFF, "Invalid Time Source"}};
  for (const auto& c : cases) {
    EXPECT_EQ(VelUtil::timeSrcString(static_cast<VelTimeSource>(c.first)), c.second) << c.first;
  }
}

TEST(VelLinkTypeText, OneTableForBothArgumentTypes) {
  EXPECT_EQ(VelUtil::linkTypeStr(LINK_SERIAL_BT), "Serial Bt");
  EXPECT_EQ(VelUtil::linkTypeStr(eLINKBOARD_ETHERNET), "Ethernet");
  EXPECT_EQ(VelUtil::linkTypeStr(static_cast<VelLinkType>(11)), "Link Type Unknown");
  EXPECT_EQ(VelUtil::linkTypeStr(static_cast<VelLinkType>(200)), "Link Type Unknown");
  EXPECT_EQ(VelUtil::linkTypeStr(static_cast<t_eLINKBOARD>(100000)), "Link Type Unknown");
  EXPECT_EQ(VelUtil::linkTypeStr(static_cast<t_eLINKBOARD>(-1)), "Link Type Unknown");
  // The two reserved slots have no text.
  EXPECT_THROW(VelUtil::linkTypeStr(LINK_RESERVED_9), std::logic_error);
  EXPECT_THROW(VelUtil::linkTypeStr(LINK_RESERVED_10), std::logic_error);
  EXPECT_THROW(VelUtil::linkTypeStr(eLINKBOARD_RESERVED_9), std::logic_error);
  EXPECT_THROW(VelUtil::linkTypeStr(eLINKBOARD_RESERVED_10), std::logic_error);
  // The reverse look-up keeps the inverted test.
  EXPECT_EQ(VelUtil::linkType("Link Type Unknown"), LINK_RS232);
  EXPECT_EQ(VelUtil::linkType("USB"), LINK_UNKNOWN);
  EXPECT_EQ(VelUtil::linkType("anything"), LINK_UNKNOWN);
}
