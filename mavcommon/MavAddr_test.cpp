#include <mavcommon/MavIpAddr.h>
#include <mavcommon/MavMacAddr.h>
#include <mavcommon/MavNetHostInfo.h>

#include <gtest/gtest.h>

TEST(MavIpAddr, TextAndInteger) {
  struct Case {
    const char* text;
    uint32 value;
    const char* back;
  };
  const Case cases[] = {
      {"192.168.1.20", 0xC0A80114u, "192.168.1.20"},
      {"0.0.0.0", 0u, "0.0.0.0"},
      {"255.255.255.255", 0xFFFFFFFFu, "255.255.255.255"},
      {"10.0.0.1", 0x0A000001u, "10.0.0.1"},
      {"256.1.1.1", 0u, "0.0.0.0"},  // malformed texts give 0.0.0.0
      {"1.2.3", 0u, "0.0.0.0"},
      {"1.2.3.4.5", 0u, "0.0.0.0"},
      {"a.b.c.d", 0u, "0.0.0.0"},
      {"", 0u, "0.0.0.0"},
  };
  for (const Case& c : cases) {
    const MavIpAddr a(c.text);
    EXPECT_EQ(a.toInt(), c.value) << c.text;
    EXPECT_EQ(a.toString(), c.back) << c.text;
    EXPECT_EQ(MavIpAddr::isValid(c.text), c.value != 0 || std::string(c.text) == "0.0.0.0");
  }
  EXPECT_EQ(MavIpAddr(0x7F000001u).toString(), "127.0.0.1");
}

TEST(MavMacAddr, UpperCaseHexPairs) {
  const uint8 bytes[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
  EXPECT_EQ(MavMacAddr(bytes).toString(), "00:11:22:33:44:55");
  const uint8 high[6] = {0xAB, 0xCD, 0xEF, 0x0A, 0xB0, 0xFF};
  EXPECT_EQ(MavMacAddr(high).toString(), "AB:CD:EF:0A:B0:FF");
  EXPECT_EQ(MavMacAddr().toString(), "00:00:00:00:00:00");

  MavMacAddr m;
  EXPECT_TRUE(m.fromString("ab-cd-ef-0a-b0-ff"));
  EXPECT_EQ(m, MavMacAddr(high));
  EXPECT_FALSE(m.fromString("ab:cd:ef:0a:b0"));
  EXPECT_FALSE(m.fromString("ab:cd:ef:0a:b0:fg"));
  EXPECT_EQ(m, MavMacAddr(high));  // unchanged by bad text
}
