#include <veliface/host/Discovery.h>

#include <ControlFrames.h>
#include <gtest/gtest.h>

namespace veliface::host {
namespace {

using veliface::test::responseFrame;

// A network-enquiry answer: type, serial, MAC, address mode, address, mask, gateway, DNS.
std::vector<uint8> answer(uint8 type, uint16 serial, uint8 lastIpByte) {
  return responseFrame('W', {type, static_cast<uint8>(serial & 0xFF), static_cast<uint8>(serial >> 8),  //
                             0x00, 0x11, 0x22, 0x33, 0x44, lastIpByte,                                //
                             0x01,                                                                    //
                             lastIpByte, 1, 168, 192, 0, 255, 255, 255, 1, 1, 168, 192, 1, 1, 168, 192});
}

TEST(Discovery, TheEnquiryAsksForAnswersOnTheGivenPort) {
  const auto req = Discovery::enquiry(30304);
  ASSERT_EQ(req.size(), 4u + 11u + 2u);
  EXPECT_EQ(req[0], 0x2A);
  EXPECT_EQ(req[1], 'W');
  EXPECT_EQ(req[2], 11);
  EXPECT_EQ(req[13] | req[14] << 8, 30304);  // response port at the end of the payload
  // Its CRC is the control channel's.
  const uint16 crc = calculateCrc(req.data(), req.size() - 2);
  EXPECT_EQ(req[15] | req[16] << 8, crc);
}

TEST(Discovery, ListsEachDeviceOnceAndTakesOnlyWholeGoodAnswers) {
  Discovery d;
  const auto a = answer(5, 1201, 20), b = answer(13, 77, 21);
  EXPECT_TRUE(d.receive(a.data(), a.size(), "192.168.1.20:30303"));
  EXPECT_TRUE(d.receive(b.data(), b.size(), "192.168.1.21:30303"));
  EXPECT_TRUE(d.receive(a.data(), a.size(), "192.168.1.20:30303"));  // asked twice, listed once
  ASSERT_EQ(d.devices().size(), 2u);
  EXPECT_EQ(d.devices()[0].serial, 1201);
  EXPECT_EQ(d.devices()[0].type, DEV_AUREL_HF);
  EXPECT_EQ(d.devices()[1].serial, 77);
  const std::string line = describe(d.devices()[0]);
  EXPECT_NE(line.find("serial 1201"), std::string::npos) << line;
  EXPECT_NE(line.find("192.168.1.20:30303"), std::string::npos) << line;

  // Damaged, cut short, preceded by junk, or not an enquiry answer: none is a device.
  auto damaged = answer(5, 1300, 30);
  damaged[10] ^= 0x01;
  auto cut = answer(5, 1301, 31);
  cut.pop_back();
  auto junk = answer(5, 1302, 32);
  junk.insert(junk.begin(), 0x00);
  auto reset = responseFrame('Y', std::vector<uint8>(21, 'A'));
  for (const auto* bad : {&damaged, &cut, &junk, &reset}) EXPECT_FALSE(d.receive(bad->data(), bad->size(), "x"));
  EXPECT_EQ(d.rejected(), 4u);
  EXPECT_EQ(d.devices().size(), 2u);
}

}  // namespace
}  // namespace veliface::host
