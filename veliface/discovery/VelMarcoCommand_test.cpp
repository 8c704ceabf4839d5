#include <veliface/discovery/VelMarcoCommand.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;

MavMacAddr mac(uint8 a, uint8 b, uint8 c, uint8 d, uint8 e, uint8 f) {
  const uint8 bytes[6] = {a, b, c, d, e, f};
  return MavMacAddr(bytes);
}

Bytes frameOf(const std::shared_ptr<VelMarcoCommandPayload>& payload) {
  Bytes buf(256, 0xEE);
  uint64 len = 0;
  VelMarcoCommand(payload).serialize(&len, buf.data());
  buf.resize(len);
  return buf;
}

}  // namespace

TEST(VelMarcoRequest, NetworkEnquiryFrame) {
  MavNetHostInfo info;
  info.setMacAddr(mac(0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E));
  info.setIpAddr(MavIpAddr("1.2.3.4"));  // not part of the request
  auto cmd = std::make_shared<VelNetworkEnqireCmd>(DEV_AUREL_HF, 1234, info);
  cmd->setResponsePort(5000);
  const Bytes expected = {0x2A, 0x57, 0x0B, 0x00,                    // "*", 'W', length 11
                          0x05, 0xD2, 0x04,                          // type, serial 1234
                          0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E,        // MAC
                          0x88, 0x13,                                // port 5000
                          0x06, 0x70};                               // CRC
  EXPECT_EQ(frameOf(cmd), expected);
}

TEST(VelMarcoRequest, ChangeNetworkFrame) {
  const MavNetHostInfo info(MavIpAddr("10.0.0.50"), MavIpAddr("255.255.0.0"),
                            MavIpAddr("10.0.0.1"), MavIpAddr("10.0.0.2"),
                            mac(0x00, 0x11, 0x22, 0x33, 0x44, 0x55), 2);
  auto cmd = std::make_shared<VelChangeNetworkCmd>(DEV_ARRAY_HUB, 0x1234, info);
  cmd->setResponsePort(5000);
  const Bytes expected = {0x2A, 0x58, 0x1C, 0x00,                    // "*", 'X', length 28
                          0x08, 0x34, 0x12,                          // type, serial
                          0x00, 0x11, 0x22, 0x33, 0x44, 0x55,        // MAC
                          0x88, 0x13,                                // port 5000
                          0x02,                                      // address mode
                          0x32, 0x00, 0x00, 0x0A,                    // 10.0.0.50
                          0x00, 0x00, 0xFF, 0xFF,                    // 255.255.0.0
                          0x01, 0x00, 0x00, 0x0A,                    // 10.0.0.1
                          0x02, 0x00, 0x00, 0x0A,                    // 10.0.0.2
                          0xC1, 0x58};                               // CRC
  EXPECT_EQ(frameOf(cmd), expected);
}

TEST(VelMarcoRequest, ResetTextAndItsEcho) {
  LogCapture log;
  auto cmd = std::make_shared<VelResetDeviceCmd>(mac(0x00, 0x11, 0x22, 0x33, 0x44, 0x55));
  cmd->setResponsePort(5000);
  const std::string text = "MAC=00:11:22:33:44:55;PORT=5000";
  Bytes expected = {0x2A, 0x59, 0x1F, 0x00};
  expected.insert(expected.end(), text.begin(), text.end());  // no terminating zero
  expected.insert(expected.end(), {0x6D, 0xDD});              // CRC
  EXPECT_EQ(frameOf(cmd), expected);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"00:11:22:33:44:55;5000"});
}

TEST(VelMarcoResponse, ChangeNetworkFields) {
  const Bytes payload = {0xFF, 0x34, 0x12,                    // type 0xFF, serial
                         0x00, 0x11, 0x22, 0x33, 0x44, 0x55,  // MAC
                         0xFD, 0xFF,                          // error -3
                         0x02,                                // address mode
                         0x32, 0x00, 0x00, 0x0A, 0x00, 0x00, 0xFF, 0xFF,
                         0x01, 0x00, 0x00, 0x0A, 0x02, 0x00, 0x00, 0x0A};
  std::unique_ptr<VelChangeNetworkCmd> cmd(VelChangeNetworkCmd::create(payload.data(), payload.size()));
  EXPECT_EQ(cmd->deviceType(), DEV_UNSUPPORTED);
  EXPECT_EQ(cmd->serialNo(), 0x1234);
  EXPECT_EQ(cmd->error(), -3);
  EXPECT_EQ(cmd->netInfo(), MavNetHostInfo(MavIpAddr("10.0.0.50"), MavIpAddr("255.255.0.0"),
                                           MavIpAddr("10.0.0.1"), MavIpAddr("10.0.0.2"),
                                           mac(0x00, 0x11, 0x22, 0x33, 0x44, 0x55), 2));
  EXPECT_EQ(cmd->responsePort(), 0);
}

TEST(VelMarcoResponse, ResetMacText) {
  struct Case {
    std::string text;
    MavMacAddr mac;
  };
  const std::vector<Case> cases = {
      {"MAC=00:1A:2B:3C:4D:5E", mac(0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E)},
      {"MAC=0a:0b:0c:d0:e0:f0", mac(0x0A, 0x0B, 0x0C, 0xD0, 0xE0, 0xF0)},
      {"MAC=00:1A:2B:3C:4D:5", MavMacAddr()},   // 20 bytes: too short
      {"MAC=00:1A:2B:zz:4D:5E", MavMacAddr()},  // not all six parse
  };
  for (const auto& c : cases) {
    const auto* data = reinterpret_cast<const uint8*>(c.text.data());
    std::unique_ptr<VelResetDeviceCmd> cmd(VelResetDeviceCmd::create(data, c.text.size()));
    EXPECT_EQ(cmd->macAddress(), c.mac) << c.text;
  }
}
