#include "Capture.h"

#include <mavcommon/Crc16.h>

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// A control frame: "*", code, length (LE), payload, CRC (LE); `badCrc` corrupts the CRC.
Bytes ctl(uint8_t code, const Bytes& payload, bool badCrc = false) {
  Bytes f{0x2A, code, static_cast<uint8_t>(payload.size()), static_cast<uint8_t>(payload.size() >> 8)};
  f = f + payload;
  uint16_t crc = calculateCrc(f.data(), f.size());
  if (badCrc) crc ^= 0x0101;
  return f + Bytes{static_cast<uint8_t>(crc), static_cast<uint8_t>(crc >> 8)};
}

std::vector<std::string> run(const Bytes& capture, veldump::Channel ch, bool json = false) {
  std::istringstream in(std::string(capture.begin(), capture.end()));
  std::ostringstream out;
  veldump::CaptureOptions opt;
  opt.channel = ch;
  opt.json = json;
  veldump::dumpCapture(in, opt, out);
  std::vector<std::string> lines;
  std::istringstream split(out.str());
  for (std::string l; std::getline(split, l);) lines.push_back(l);
  return lines;
}

// Identity block and an HF record of version 5: serial 1234, firmware "1.02", type 5.
const Bytes kEnquire = Bytes{0xD2, 0x04, '1', '.', '0', '2', 0, 0, 0, 0} +
                       Bytes{'2', '0', '2', '4', '-', '0', '1', '-', '0', '2', 0, 0, 0, 0, 0, 0, 0, 0} +
                       Bytes{5, 0, 0, 0} +                       // type, status, reserved
                       Bytes{5, 0xB0, 0x00} +                    // version 5, sensitivity 176
                       Bytes{0xD7, 0, 0xF4, 1, 1, 80, 3, 1} +     // temp, hum, batt, 80 %, hw, link
                       Bytes{'R', '7', 0, 0, 0, 0, 0, 0, 1, 2} +  // release, sync, source
                       Bytes{'K', 'T', 'x', '-', 'H', 'F', 0};

// Band-trigger body: number 0, enabled, duration 10, hold 5, 1000-2000 Hz, threshold 100.
const Bytes kBandBody = {0, 1, 10, 0, 5, 0, 0xE8, 0x03, 0, 0, 0xD0, 0x07, 0, 0,
                         0, 0, 100, 0, 32, 0, 0, 0};

TEST(Capture, ControlFramesOfEveryKindDecodeToOneLineEachBetweenGarbageAndFaults) {
  const Bytes capture =
      Bytes{0x01, 0x02, 'x', 'y'} + ctl(0x45, kEnquire) +
      ctl(0x44, {0x14, 0, 2, 0, 14, 0, 4, 0, 0x00, 0x7D, 0, 0, 15, 0, 4, 0, 24, 0, 0, 0}) +
      ctl(0x44, {0xFF, 0xFF, 0xF3, 0xFF, 0x14, 0, 0x0F, 0}) +
      ctl(0x46, {1, 0x14, 0, 1, 0, 16, 0, 4, 0, 2, 0, 0, 0}) +
      ctl(0x52, Bytes{1, 22, 0, 5, 0} + kBandBody) +
      ctl(0x53, Bytes{250, 5, 0} + kBandBody) +
      ctl(0x53, Bytes{0, 5, 0} + kBandBody, /*badCrc=*/true) +
      ctl(0x43, {0x06, 0xEB, 0x00, 0x2C, 0x01}) +
      ctl(0x41, {0x00, 0xF1, 0x53, 0x65}) + ctl(0x59, {}) + ctl(0x47, {9});
  const auto lines = run(capture, veldump::Channel::Control);
  const std::vector<std::string> expected = {
      "code=0x45 name=Enquire class=VelEnquireCmd serial=1234 type=\"Aurel HF\" typeCode=5 "
      "firmware=1.02 buildDate=2024-01-02 status=Ready recordVersion=5 model=KTx-HF "
      "firmwareRel=R7 battery=80",
      "code=0x44 name=JobSetup class=VelJobSetupCmd setupType=20 "
      "tags=[\"$WAVE_SAMPLE_RATE=32000\" \"$WAVE_BIT_DEPTH=24\"]",
      "# log: VelJobSetupCmd::deserialize: JobSetup Error Returned!",
      "code=0x44 name=JobSetup class=VelJobSetupCmd setupType=65535 "
      "error=\"Job Setup Error: Unrecognized Tag: WAVE_BIT_DEPTH\"",
      "code=0x46 name=EnquireSetup class=VelJobSetupEnq status=1 setupType=20 "
      "tags=[\"$WAVE_GAIN=2\"]",
      "code=0x52 name=EnquireTriggers class=VelEnquireTrigger count=1 triggers=[\"type=5 num=0 "
      "enabled=1 band=1000-2000Hz threshType=0 threshold=100 duration=10 hold=5 effect=32 "
      "preTrigger=0\"]",
      "code=0x53 name=SetupTrigger class=VelTrigger testType=5 errorCode=250 "
      "error=\"Trigger 1 error: Trigger Not Found\" trigger=\"type=5 num=0 enabled=1 "
      "band=1000-2000Hz threshType=0 threshold=100 duration=10 hold=5 effect=32 preTrigger=0\"",
  };
  ASSERT_GE(lines.size(), expected.size() + 6);
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(lines[i], expected[i]) << i;
  // The frame with the corrupt CRC is reported by the library and yields no message.
  EXPECT_EQ(lines[7].rfind("# log: VelControlProcessor: warning bad CRC in message, typeCode: 0x53", 0), 0u)
      << lines[7];
  EXPECT_EQ(lines[8],
            "code=0x43 name=CollectData class=VelDataCollectCmd mask=0x06 "
            "chunks=[humidity(0x0002) temperature(0x0004)] humidity=23.5 temperature=30");
  EXPECT_EQ(lines[9], "code=0x41 name=SetTime class=VelSetTimeCmd time=1700000000 utc=2023-11-14T22:13:20Z");
  EXPECT_EQ(lines[10], "code=0x59 name=ResetDevice class=VelResetCmd");
  EXPECT_EQ(lines[11], "# log: Unknown Command response received! Code = 0x47");
  ASSERT_EQ(lines.size(), 13u);
  // The 0x47 frame's CRC is left over: too short to be searched for another frame.
  EXPECT_EQ(lines[12], "# summary: messages=9 VelDataCollectCmd=1 VelEnquireCmd=1 VelEnquireTrigger=1 "
                       "VelJobSetupCmd=2 VelJobSetupEnq=1 VelResetCmd=1 VelSetTimeCmd=1 VelTrigger=1 "
                       "logLines=3 bytes=" + std::to_string(capture.size()) + " undecoded=2");
}

// Stream chunks, big-endian: event key V1 (1700000000, sequence 32000, channel 1), device
// info V1, stream status V0, WAV setup (32 kHz, 3 bytes) and amplitude scaling V0.
const Bytes kKey = {0x41, 1, 0, 20, 0x65, 0x53, 0xF1, 0x00, 0, 0, 0, 0, 0, 0, 0x7D, 0x00, 1, 0, 0, 0};
const Bytes kHeaderChunks =
    kKey + Bytes{0x44, 1, 0, 16, 2, 1, 2, 3, 0x04, 0xD2, 0x00, 0xB0, 1, 0, 0, 0} +
    Bytes{0x43, 0, 0, 24, 0x00, 0xD7, 0x01, 0xF4, 80, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0} +
    Bytes{0x45, 0, 0, 12, 0, 0, 0x7D, 0, 0, 0, 3, 1} +
    Bytes{0x47, 0, 0, 24, 1, 0, 0, 3, 0, 0x7F, 0xFF, 0xFF, 0xFF, 0x80, 0, 0, 0, 0, 0, 3, 0xFF, 0xFF, 0xFF, 0xFD};

Bytes streamFrame(uint8_t code, const Bytes& payload) {
  return Bytes{code, 0x2A, static_cast<uint8_t>(payload.size() >> 8), static_cast<uint8_t>(payload.size())} + payload;
}

TEST(Capture, StreamCaptureShowsNotifyHeaderDataAndTheUnknownCode) {
  const Bytes data = kKey + Bytes{0x42, 0, 0, 24, 0, 0, 0x7D, 0, 1, 3, 0, 4} + Bytes(12, 0x11);
  const Bytes capture = Bytes{'n', 'o', 'i', 's', 'e'} + streamFrame(0x30, {0, 0, 0, 0}) +
                        streamFrame(0x32, kHeaderChunks) + streamFrame(0x31, data) +
                        streamFrame(0x33, {1, 2}) + streamFrame(0x30, {0, 0, 0, 2});
  const auto lines = run(capture, veldump::Channel::Stream);
  const std::vector<std::string> expected = {
      "code=0x30 name=notify class=VelStreamNotifyPayload errorCode=0 errorStr=\"No error.\"",
      "code=0x32 name=\"event header\" class=VelStreamEventHeaderPayload time=1700000000 "
      "utc=2023-11-14T22:13:20Z seq=32000 channels=1 setup=\"wav rate=32000 bytesPerSample=3 "
      "gain=0 big-endian\" devices=[sn1234/model2/ch1] array=no",
      "code=0x31 name=data class=VelStreamDataPayload time=1700000000 utc=2023-11-14T22:13:20Z "
      "seq=32000 sampleNum=32000 numSamples=4 channels=1 bytesPerSample=3 bytes=12",
      "# log: Unknown message on stream. Code=3",
      "code=0x30 name=notify class=VelStreamNotifyPayload errorCode=2 errorStr=\"Stream timeout.\"",
      "# summary: messages=4 VelStreamDataPayload=1 VelStreamEventHeaderPayload=1 "
      "VelStreamNotifyPayload=2 logLines=1 bytes=" + std::to_string(capture.size()) + " undecoded=0",
  };
  EXPECT_EQ(lines, expected);
}

TEST(Capture, DiscoveryAndJsonLinesCarryTheSameFields) {
  // Network enquiry answer: type 5, serial 1234, MAC, mode 1, 192.168.1.10/24, gateway
  // 192.168.1.1, DNS 8.8.8.8 (addresses as little-endian integers); CRC not checked.
  const Bytes payload = {5, 0xD2, 0x04, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 1, 0x0A, 0x01, 0xA8,
                         0xC0, 0x00, 0xFF, 0xFF, 0xFF, 0x01, 0x01, 0xA8, 0xC0, 8, 8, 8, 8};
  const Bytes capture = Bytes{0x2A, 0x57, 26, 0} + payload + Bytes{0xAB, 0xCD};
  const auto text = run(capture, veldump::Channel::Discovery);
  ASSERT_EQ(text.size(), 2u);
  EXPECT_EQ(text[0], "code=0x57 name=NetworkEnquire class=VelNetworkEnqireCmd type=\"Aurel HF\" "
                     "typeCode=5 serial=1234 mac=00:11:22:33:44:55 ip=192.168.1.10 "
                     "mask=255.255.255.0 gateway=192.168.1.1 dns=8.8.8.8 addrMode=1");
  const auto json = run(capture, veldump::Channel::Discovery, true);
  ASSERT_EQ(json.size(), 2u);
  EXPECT_EQ(json[0], "{\"code\":\"0x57\",\"name\":\"NetworkEnquire\",\"class\":\"VelNetworkEnqireCmd\","
                     "\"type\":\"Aurel HF\",\"typeCode\":5,\"serial\":1234,\"mac\":\"00:11:22:33:44:55\","
                     "\"ip\":\"192.168.1.10\",\"mask\":\"255.255.255.0\",\"gateway\":\"192.168.1.1\","
                     "\"dns\":\"8.8.8.8\",\"addrMode\":1}");
  EXPECT_EQ(json[1], "{\"summary\":{\"messages\":1,\"kinds\":{\"VelNetworkEnqireCmd\":1},"
                     "\"logLines\":0,\"bytes\":32,\"undecoded\":0}}");
}

TEST(Capture, EmptyAndCutCapturesEndWithASummary) {
  EXPECT_EQ(run({}, veldump::Channel::Control),
            std::vector<std::string>{"# summary: messages=0 logLines=0 bytes=0 undecoded=0"});
  // A stream frame whose payload never arrived is counted as undecoded, not guessed at.
  const Bytes cut = streamFrame(0x32, kHeaderChunks);
  const auto lines = run(Bytes(cut.begin(), cut.end() - 10), veldump::Channel::Stream);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "# summary: messages=0 logLines=0 bytes=90 undecoded=86");
}

TEST(Capture, ArbitraryBytesOnEveryChannelEndInASummaryThatCountsThem) {
  std::mt19937 rng(7);
  for (auto ch : {veldump::Channel::Control, veldump::Channel::Stream, veldump::Channel::Discovery}) {
    for (int round = 0; round < 20; ++round) {
      Bytes noise(static_cast<std::size_t>(rng() % 3000));
      for (auto& b : noise) b = static_cast<uint8_t>(rng() % 4 == 0 ? 0x2A : rng());
      const auto lines = run(noise, ch);
      ASSERT_FALSE(lines.empty());
      EXPECT_EQ(lines.back().rfind("# summary: ", 0), 0u);
      EXPECT_NE(lines.back().find(" bytes=" + std::to_string(noise.size()) + " "), std::string::npos)
          << lines.back();
    }
  }
}

}  // namespace
