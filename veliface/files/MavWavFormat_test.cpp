#include <veliface/files/MavWavFormat.h>
#include <veliface/files/MavWavHeader.h>
#include <veliface/files/MavWavInfoData.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

using namespace std::string_literals;

namespace {

std::string bodyOf(const MavWavInfoData& info, uint64 startLen = 0) {
  std::vector<uint8> buf(info.serializedSize() + 8, 0xEE);
  uint64 len = startLen;
  info.serialize(&len, buf.data());
  EXPECT_EQ(len - startLen, info.serializedSize());
  EXPECT_EQ(buf[len - startLen], 0xEE);  // nothing written past the body
  return std::string(reinterpret_cast<const char*>(buf.data()), len - startLen);
}

MavWavInfoDataHF sensorInfo() {
  MavWavInfoDataHF info;
  info.setDeviceType(DEV_AUREL_HF, 0);
  info.setSerialNo(7, 0);
  info.setHwVersion("V1");
  info.setHwRelease("R2");
  info.setCreator("velrec");
  info.setFilename("t");
  info.setSeqNum(12);
  return info;
}

TEST(WavFormat, PadStringPadsWithSpacesToAMultipleOfFour) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""}, {"a", "a   "}, {"abcd", "abcd"}, {"abcde", "abcde   "}};
  for (const auto& c : cases) {
    std::string s = c.first;
    padString(s);
    EXPECT_EQ(s, c.second);
  }
}

TEST(WavFormat, SizesOfBlocksAndFormat) {
  MavWavDataChunk block;
  block.setNumChannels(3);
  block.setBitDepth(24);
  block.setNumSamples(100);
  EXPECT_EQ(block.dataSize(), 900u);
  block.setNumChannels(1);
  block.setBitDepth(12);
  block.setNumSamples(3);
  EXPECT_EQ(block.dataSize(), 4u);  // 36 bits, divided after the product

  struct { uint8 bits; uint16 align; uint32 perSec; } cases[] = {{16, 2, 200000}, {24, 3, 300000}, {12, 1, 100000}};
  for (const auto& c : cases) {
    MavWavSetupData setup;
    setup.setSampleRate(100000);
    setup.setBitDepth(c.bits);
    MavWavFmtData fmt;
    fmt.setNumChannels(1);
    fmt.applySetup(setup);
    EXPECT_EQ(fmt.blockAlign(), c.align);
    EXPECT_EQ(fmt.bytesPerSec(), c.perSec);
    EXPECT_EQ(fmt.bitsPerSamp(), c.bits);
  }
}

TEST(WavFormat, FmtBodyIsReadInFieldOrderAndShortBodiesKeepDefaults) {
  const std::string body = "\x01\x00\x02\x00\x44\xAC\x00\x00\x10\xB1\x02\x00\x04\x00\x10\x00"s;
  std::unique_ptr<MavWavFmtData> f(MavWavFmtData::create(reinterpret_cast<const uint8*>(body.data()), body.size()));
  EXPECT_EQ(f->compCode(), 1);
  EXPECT_EQ(f->numChannels(), 2);
  EXPECT_EQ(f->sampleRate(), 44100u);
  EXPECT_EQ(f->bytesPerSec(), 176400u);
  EXPECT_EQ(f->blockAlign(), 4);
  EXPECT_EQ(f->bitsPerSamp(), 16);

  std::unique_ptr<MavWavFmtData> shortF(MavWavFmtData::create(reinterpret_cast<const uint8*>(body.data()), 3));
  EXPECT_EQ(shortF->numChannels(), 1);
  EXPECT_EQ(shortF->sampleRate(), 0u);
}

TEST(WavFormat, SensorInfoBodyIsByteExact) {
  const std::string expected =
      "INFO"
      "IART" "\x0c\0\0\0" "Aurel HF #7 "
      "IPRD" "\x06\0\0\0" "V1 R2 "
      "ICRD" "\x16\0\0\0" "1970-01-01T00:00:00+00"
      "ISFT" "\x08\0\0\0" "velrec  "
      "INAM" "\x02\0\0\0" "t "
      "ICMT" "\x5c\0\0\0"
      "3.000000 V pk, -176 dBV re 1uPa, 0.000000 % RH, 0.000000 deg C, 0 = Max Count, 12 = Seq #   "s;
  EXPECT_EQ(bodyOf(sensorInfo()), expected);
  EXPECT_EQ(bodyOf(sensorInfo(), 10).size(), 194u);  // *len grows from where it stood
}

TEST(WavFormat, ArrayInfoBodyIsByteExact) {
  MavWavInfoDataHCI info(2);
  const struct { VelDeviceType type; uint16 serial; short sens; unsigned short hum; short temp; } e[] = {
      {DEV_ARRAY_HUB, 1, 0, 0, 0}, {DEV_AUREL_HF, 10, -170, 455, 123}, {DEV_AUREL_AF, 11, -171, 0, -5}};
  for (unsigned char c = 0; c < 3; ++c) {
    info.setDeviceType(e[c].type, c);
    info.setSerialNo(e[c].serial, c);
    info.setSensitivity(e[c].sens, c);
    info.setHumidity(e[c].hum, c);
    info.setTemperature(e[c].temp, c);
  }
  info.setCreator("abc");
  info.setVoltsPk(3.7f);
  info.setSeqNum(7);
  // Before the channel count is set only the hub is listed.
  EXPECT_NE(bodyOf(info).find("IART\x08\0\0\0HCI #1  "s), std::string::npos);
  info.setNumChannels(2);
  const std::string expected =
      "INFO"
      "ISFT" "\x03\0\0\0" "abc"
      "ICRD" "\x18\0\0\0" "1970-01-01T00:00:00+00\0\0"
      "IART" "\x20\0\0\0" "HCI #1,Aurel HF #10,Aurel AF #11"
      "ICMT" "\x48\0\0\0" "Vpk=3.000000;V re 1uPa=-170,-171;%RH=45.5,0.0;deg C=12.3,-0.5;Seq # =7  "s;
  EXPECT_EQ(bodyOf(info), expected);

  EXPECT_EQ(info.deviceStr(1), "Aurel HF");
  info.setDeviceType(DEV_VOCAN, 1);
  EXPECT_EQ(info.deviceStr(1), "");
  // Channels beyond the array read as defaults and ignore writes.
  info.setSerialNo(99, 3);
  EXPECT_EQ(info.serialNo(3), 0);
  EXPECT_EQ(MavWavInfoDataHCI::deserialize(nullptr), nullptr);
}

TEST(WavFormat, PeakVoltsDropTheFraction) {
  MavWavInfoDataHF hf;
  MavWavInfoDataHCI hci(1);
  for (MavWavInfoData* info : {static_cast<MavWavInfoData*>(&hf), static_cast<MavWavInfoData*>(&hci)}) {
    info->setVoltsPk(2.9f);
    EXPECT_EQ(info->voltsPk(), 2.0f);
    info->setVoltsPk(-2.9f);
    EXPECT_EQ(info->voltsPk(), -2.0f);
  }
}

TEST(WavFormat, SensorInfoReadsBackWhatItWrites) {
  const char* oldTz = std::getenv("TZ");
  const std::string savedTz = oldTz ? oldTz : "";
  setenv("TZ", "UTC", 1);  // the date is read back as local time
  tzset();

  MavWavInfoDataHF in = sensorInfo();
  in.setHwRelease("");  // "V1 " padded to "V1  "
  in.setTime(1700000000);
  in.setFilename("rec20231114_221320");
  in.setVoltsPk(5);
  in.setSensitivity(-165, 0);
  in.setHumidity(455, 0);
  in.setTemperature(-35, 0);
  in.setMaxCount(8388607);
  in.setSeqNum(18446744073709551615ULL);
  const std::string body = bodyOf(in);
  std::unique_ptr<MavWavInfoDataHF> out(
      MavWavInfoDataHF::create(reinterpret_cast<const uint8*>(body.data()), body.size()));
  EXPECT_EQ(out->deviceType(0), DEV_AUREL_HF);
  EXPECT_EQ(out->serialNo(0), 7);
  EXPECT_EQ(out->hwVersion(), "V1");
  EXPECT_EQ(out->hwRelease(), "");
  EXPECT_EQ(out->timestamp(), 1700000000);
  EXPECT_EQ(out->creatorStr(), "velrec");
  EXPECT_EQ(out->filename(), "rec20231114_221320");
  EXPECT_EQ(out->voltsPk(), 5.0f);
  EXPECT_EQ(out->sensitivity(0), -165);
  EXPECT_EQ(out->humidity(0), 455);
  EXPECT_EQ(out->temperature(0), -35);
  EXPECT_EQ(out->maxCount(), 8388607);
  EXPECT_EQ(out->seqNum(), 18446744073709551615ULL);

  if (oldTz) setenv("TZ", savedTz.c_str(), 1); else unsetenv("TZ");
  tzset();
}

TEST(WavFormat, SensorInfoReaderSkipsUnknownTagsAndStopsAtTruncation) {
  LogCapture log;
  const std::string body = "INFO" "ABCD" "\x02\0\0\0" "xx" "IART" "\x0c\0\0\0" "Aurel AF #42"
                           "ICMT" "\xff\0\0\0" "9.0 V pk"s;
  std::unique_ptr<MavWavInfoDataHF> out(
      MavWavInfoDataHF::create(reinterpret_cast<const uint8*>(body.data()), body.size()));
  EXPECT_EQ(log.lines(), std::vector<std::string>{"Ignoring tag"});
  EXPECT_EQ(out->deviceType(0), DEV_AUREL_AF);
  EXPECT_EQ(out->serialNo(0), 42);
  EXPECT_EQ(out->voltsPk(), 3.0f);  // the comment's length runs past the end: left unread
  EXPECT_EQ(out->sensitivity(0), -176);
}

}  // namespace

namespace {

// Arbitrary bytes, and arbitrary bytes behind valid identifiers, never crash the readers.
TEST(WavFormat, ReadersSurviveArbitraryBytes) {
  LogCapture quiet;
  uint32 seed = 12345;
  auto next = [&seed] { return static_cast<uint8>((seed = seed * 1103515245u + 12345u) >> 16); };
  const char* prefixes[] = {"", "INFO", "INFOIART", "INFOICRD", "INFOICMT", "RIFF\x10\0\0\0WAVELIST"};
  for (int round = 0; round < 600; ++round) {
    std::string bytes = prefixes[round % 6];
    const int n = next() % 64;
    for (int i = 0; i < n; ++i) bytes += static_cast<char>(next() % 4 == 0 ? next() % 8 : next());
    std::unique_ptr<MavWavInfoDataHF> info(
        MavWavInfoDataHF::create(reinterpret_cast<const uint8*>(bytes.data()), bytes.size()));
    ASSERT_NE(info, nullptr);
    MavWavHeaderProcessor reader;
    CircularByteBuffer ring(128);
    ring.write(reinterpret_cast<const uint8*>(bytes.data()), bytes.size());
    reader.pump(ring);
    EXPECT_LE(reader.headerSize(), bytes.size());
  }
}

}  // namespace
