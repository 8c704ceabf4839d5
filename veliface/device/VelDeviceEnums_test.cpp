#include <veliface/device/VelDeviceEnums.h>
#include <veliface/device/VelDeviceType.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct TextCase {
  int value;
  const char* text;
};

// Each table is checked entry by entry against the devices' texts, plus the first value
// past its end, which must give the fallback.
template <typename E, typename F>
void expectTexts(F lookup, const std::vector<TextCase>& cases) {
  for (const auto& c : cases) {
    EXPECT_EQ(lookup(static_cast<E>(c.value)), c.text) << "value " << c.value;
  }
}

}  // namespace

TEST(VelDeviceTypeText, TableFallbackAndReverseLookup) {
  expectTexts<VelDeviceType>(VelUtil::deviceTypeStr,
                             {{-1, "Unsupported device"},
                              {0, "No device"},
                              {5, "Aurel HF"},
                              {16, "FCR"},
                              {0x11, "Unrecognized Device"},
                              {0x40, "Unrecognized Device"},
                              {0x41, "Aurel MF"},
                              {0x43, "FFT Txt File, "},
                              {0x44, "WAV Bin File, "},
                              {0x45, "Unrecognized Device"}});
  EXPECT_EQ(VelUtil::deviceType("Aurel HF"), DEV_AUREL_HF);
  EXPECT_EQ(VelUtil::deviceType("WAV Bin File, "), DEV_WAV_BIN_FILE);
  EXPECT_EQ(VelUtil::deviceType("No device"), DEV_NONE);
  // Exact match only: case, trailing blanks and unknown texts all give "Unsupported device".
  EXPECT_EQ(VelUtil::deviceType("aurel hf"), DEV_UNSUPPORTED);
  EXPECT_EQ(VelUtil::deviceType("WAV Bin File,"), DEV_UNSUPPORTED);
  EXPECT_EQ(VelUtil::deviceType("Hydrophone"), DEV_UNSUPPORTED);
  EXPECT_EQ(VelUtil::deviceType(""), DEV_UNSUPPORTED);
}

TEST(VelStatusText, EveryTableAndItsFallback) {
  expectTexts<VelDeviceStatus>(VelUtil::deviceStatusStr,
                               {{0, "Ready"},
                                {1, "Acq. Not Ready"},
                                {2, "Not Ready"},
                                {3, "Config Failed"},
                                {4, "Baud Rate Config"},
                                {5, "Filesystem Fault"},
                                {6, "Invalid Status"},
                                {255, "Invalid Status"}});
  expectTexts<VelSyncStatus>(VelUtil::syncStatusStr,
                             {{0, "Sync disabled"},
                              {1, "Sync Out"},
                              {2, "Sync Out/PPS Time"},
                              {3, "No PPS"},
                              {4, "Syncing to PPS"},
                              {5, "PPS Synchronized"},
                              {6, "No PPS (RE)"},
                              {7, "Syncing to PPS (RE)"},
                              {8, "PPS Synchronized (RE)"},
                              {9, "Invalid Status"}});
  expectTexts<ArrayStorageStat>(VelUtil::hddStatString, {{0, "Unknown"},
                                                         {1, "Drive not present"},
                                                         {2, "Drive present"},
                                                         {3, "Error"},
                                                         {4, "Invalid Status"}});
  expectTexts<VelBattStatus>(VelUtil::chargeBattStatusStr, {{0, "No Data"},
                                                            {1, "Charging"},
                                                            {2, "Discharging"},
                                                            {3, "Not Charging"},
                                                            {4, "Invalid Status"}});
  expectTexts<VelNetworkStatus>(VelUtil::networkStatusStr, {{0, "Reachable"},
                                                            {1, "Unreachable"},
                                                            {2, "NoIp"},
                                                            {3, "Pending"},
                                                            {4, "NotFound"},
                                                            {5, "Invalid Status"},
                                                            {-1, "Invalid Status"}});
  expectTexts<VelPortConnStatus>(VelUtil::portConnStatusStr, {{0, "Unknown"},
                                                              {1, "Unavailable"},
                                                              {2, "Available"},
                                                              {3, "Connected"},
                                                              {4, "ConnectionLost"},
                                                              {5, "Invalid Status"}});
  expectTexts<VelChannel>(VelUtil::chanTypeStr,
                          {{0, "Command"}, {1, "Epoch"}, {2, "Invalid Status"}});
}

TEST(VelTimeSourceText, PpsFlagWrapsTheSourceText) {
  expectTexts<VelTimeSource>(VelUtil::timeSrcString, {{0x00, "Not Set"},
                                                      {0x01, "Manual"},
                                                      {0x02, "RTC"},
                                                      {0x03, "Filesystem"},
                                                      {0x04, "NTP"},
                                                      {0x05, "GPS"},
                                                      {0x06, "PTP"},
                                                      {0x07, "Invalid Time Source"},
                                                      {0x80, "PPS (Not Set)"},
                                                      {0x85, "PPS (GPS)"},
                                                      {0x86, "PPS (PTP)"},
                                                      {0x87, "Invalid Time Source"},
                                                      {0xFF, "Invalid Time Source"}});
}

TEST(VelLinkTypeText, BothArgumentTypesShareOneTable) {
  const std::vector<TextCase> cases = {{0, "Link Type Unknown"}, {1, "Serial RS232"},
                                       {2, "USB"},               {3, "Ethernet"},
                                       {4, "Serial RS422"},      {5, "Serial RS485"},
                                       {6, "DSL"},               {7, "Bluetooth"},
                                       {8, "Serial Bt"},         {11, "Link Type Unknown"},
                                       {200, "Link Type Unknown"}};
  expectTexts<VelLinkType>([](VelLinkType v) { return VelUtil::linkTypeStr(v); }, cases);
  expectTexts<t_eLINKBOARD>([](t_eLINKBOARD v) { return VelUtil::linkTypeStr(v); }, cases);
  EXPECT_EQ(VelUtil::linkTypeStr(static_cast<t_eLINKBOARD>(100000)), "Link Type Unknown");
  EXPECT_EQ(VelUtil::linkTypeStr(static_cast<t_eLINKBOARD>(-1)), "Link Type Unknown");
}

TEST(VelLinkTypeText, ReservedSlotsThrowLogicError) {
  EXPECT_THROW(VelUtil::linkTypeStr(LINK_RESERVED_9), std::logic_error);
  EXPECT_THROW(VelUtil::linkTypeStr(LINK_RESERVED_10), std::logic_error);
  EXPECT_THROW(VelUtil::linkTypeStr(eLINKBOARD_RESERVED_9), std::logic_error);
  EXPECT_THROW(VelUtil::linkTypeStr(eLINKBOARD_RESERVED_10), std::logic_error);
}

TEST(VelLinkTypeText, ReverseLookupKeepsTheInvertedTest) {
  EXPECT_EQ(VelUtil::linkType("Link Type Unknown"), LINK_RS232);
  EXPECT_EQ(VelUtil::linkType("USB"), LINK_UNKNOWN);
  EXPECT_EQ(VelUtil::linkType("Serial RS232"), LINK_UNKNOWN);
  EXPECT_EQ(VelUtil::linkType("anything"), LINK_UNKNOWN);
}
