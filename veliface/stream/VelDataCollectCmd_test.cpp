#include <veliface/stream/VelDataCollectCmd.h>

#include <mavcommon/CircularByteBuffer.h>
#include <veliface/common/VelCommand.h>
#include <veliface/common/VelMsgPayload.h>
#include <veliface/control/VelControlProcessor.h>

#include <gtest/gtest.h>

#include <LogCapture.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;

std::unique_ptr<VelDataCollectCmd> parse(const Bytes& b) {
  return std::unique_ptr<VelDataCollectCmd>(VelDataCollectCmd::create(b.data(), b.size()));
}

// Parses from a stream so that a test can see how much was consumed.
std::unique_ptr<VelDataCollectCmd> parse(ByteStream& s) {
  return std::unique_ptr<VelDataCollectCmd>(VelDataCollectCmd::deserialize(&s));
}

TEST(VelDataCollectCmd, MaskBitsSelectTheChunksInBitOrder) {
  {
    // 235 tenths of a percent, 300 tenths of a degree.
    const auto cmd = parse({0x06, 0xEB, 0x00, 0x2C, 0x01});
    EXPECT_EQ(cmd->mask(), 0x06);
    ASSERT_EQ(cmd->chunkKeys(), (std::vector<DataCollMask>{DC_HUMIDITY, DC_TEMPERATURE}));
    EXPECT_FLOAT_EQ(cmd->chunk<DataCollHumidityChunk>()->humidity(), 23.5f);
    EXPECT_FLOAT_EQ(cmd->chunk<DataCollTemperatureChunk>()->temperature(), 30.0f);
    EXPECT_EQ(cmd->getChunk(DC_WAV), nullptr);
  }
  {
    // Both raw values are signed: -2.5 degrees, -0.1 percent.
    const auto cmd = parse({0x06, 0xFF, 0xFF, 0xE7, 0xFF});
    EXPECT_FLOAT_EQ(cmd->chunk<DataCollHumidityChunk>()->humidity(), -0.1f);
    EXPECT_FLOAT_EQ(cmd->chunk<DataCollTemperatureChunk>()->temperature(), -2.5f);
  }
  {
    // Bit 0x01 skips exactly two bytes and makes no chunk.
    const Bytes b = {0x01, 0xAA, 0xBB, 0xCC};
    ByteStream s(b.data(), b.size());
    const auto cmd = parse(s);
    EXPECT_TRUE(cmd->chunkKeys().empty());
    EXPECT_EQ(s.bytesAvailable(), 1u);
  }
}

TEST(VelDataCollectCmd, WaveformChunkHandsItsSamplesOnOnce) {
  const Bytes b = {0x20,                    // mask
                   0x34, 0x12,              // seqNum
                   0x02,                    // dataFormat
                   0x04, 0x00,              // numBytes
                   0x07,                    // gain
                   0x00, 0xF4, 0x01, 0x00,  // sampleRate 128000
                   0xCE, 0xFF,              // sensitivity
                   0xC4, 0x09,              // fullScale_mV 2500
                   0x01, 0x02, 0x03, 0x04,  // samples
                   0x99};                   // not part of the chunk
  ByteStream s(b.data(), b.size());
  const auto cmd = parse(s);
  EXPECT_EQ(s.bytesAvailable(), 1u);
  const auto wav = cmd->chunk<DataCollWavChunk>();
  ASSERT_NE(wav, nullptr);
  EXPECT_EQ(wav->seqNum(), 0x1234);
  EXPECT_EQ(wav->dataFormat(), 2);
  EXPECT_EQ(wav->numBytes(), 4);
  EXPECT_EQ(wav->gain(), 7);
  EXPECT_EQ(wav->sampleRate(), 128000u);
  EXPECT_EQ(wav->sensitivity(), 0xFFCE);
  EXPECT_EQ(wav->fullScale_mV(), 2500);
  EXPECT_EQ(wav->wavData(), (Bytes{1, 2, 3, 4}));

  EXPECT_EQ(cmd->takeWavData(), (Bytes{1, 2, 3, 4}));
  EXPECT_TRUE(wav->wavData().empty());
  EXPECT_TRUE(cmd->takeWavData().empty());
  EXPECT_EQ(wav->numBytes(), 4);  // the head is kept
  EXPECT_TRUE(cmd->takeSpecData().empty());
}

TEST(VelDataCollectCmd, SpectrumHeadDependsOnProcessingType) {
  struct Case {
    uint16 procType;
    Bytes middle;  // bytes between procType and ptsBtwFft
    uint16 accums;
    uint16 weight;
  };
  const Case cases[] = {
      {3, {}, 0, 0},
      {4, {0x0A, 0x00, 0x03, 0x00}, 10, 3},
      {5, {0x0A, 0x00, 0x03, 0x00}, 10, 3},
      {6, {0x03, 0x00, 0x0A, 0x00}, 10, 3},  // weight first
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.procType);
    Bytes b = {0x10,                    // mask
               0x05, 0x00,              // seqNum
               0x03, 0x00,              // numBytes
               0x01,                    // gain
               0x80, 0xBB, 0x00, 0x00,  // sampleRate 48000
               0x10, 0x00,              // sensitivity
               static_cast<uint8>(c.procType), 0x00};
    b.insert(b.end(), c.middle.begin(), c.middle.end());
    const Bytes tail = {0x00, 0x01,        // ptsBtwFft 256
                        0x00, 0x04,        // ptsPerFft 1024
                        0xAA, 0xBB, 0xCC};  // data
    b.insert(b.end(), tail.begin(), tail.end());
    ByteStream s(b.data(), b.size());
    auto cmd = parse(s);
    EXPECT_EQ(s.bytesAvailable(), 0u);
    const auto sp = cmd->chunk<DataCollSpecChunk>();
    ASSERT_NE(sp, nullptr);
    EXPECT_EQ(sp->seqNum(), 5);
    EXPECT_EQ(sp->gain(), 1);
    EXPECT_EQ(sp->sampleRate(), 48000u);
    EXPECT_EQ(sp->sensitivity(), 16);
    EXPECT_EQ(sp->procType(), c.procType);
    EXPECT_EQ(sp->accumsPerRslt(), c.accums);
    EXPECT_EQ(sp->weight(), c.weight);
    EXPECT_EQ(sp->ptsBtwFft(), 256);
    EXPECT_EQ(sp->ptsPerFft(), 1024);
    EXPECT_EQ(cmd->takeSpecData(), (Bytes{0xAA, 0xBB, 0xCC}));
    EXPECT_TRUE(sp->specData().empty());
  }
}

TEST(VelDataCollectCmd, UnexpectedDataBitDropsTheRestOfTheMessage) {
  // What follows would be a valid heading chunk, but nothing after 0x40 is read.
  const Bytes b = {0x48, 0x01, 0x00, 0x0C, 0x00, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0};
  LogCapture log;
  ByteStream s(b.data(), b.size());
  const auto cmd = parse(s);
  EXPECT_TRUE(cmd->chunkKeys().empty());
  EXPECT_EQ(s.bytesAvailable(), 0u);
  EXPECT_EQ(log.lines(), (std::vector<std::string>{
                             "Got Unexpected Data in VelDataCollectCmd message. Skipping message."}));
}

TEST(VelDataCollectCmd, ExtendedChunksFollowTheMaskedOnes) {
  const Bytes b = {
      0x0A, 0xEB, 0x00,                                         // mask, humidity
      0x01, 0x00, 0x00, 0x00,                                   // heading, length not used
      0xFF, 0xFF, 0x02, 0x00, 0x03, 0x00, 0x04, 0x00, 0x05, 0x00, 0x00, 0x80,
      0x02, 0x00, 0x06, 0x00, 9, 9, 9, 9, 9, 9,                 // unknown type 2
      0x10, 0x00, 0x08, 0x00, 0x10, 0x27, 0x00, 0x00, 0x78, 0x56, 0x34, 0x12,  // spectrum time
      0x02, 0x01, 0x01, 0x00, 0x7F,                             // type 258: key 0x0200
      0x20, 0x01, 0x08, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00,  // wav time
  };
  LogCapture log;
  ByteStream s(b.data(), b.size());
  const auto cmd = parse(s);
  EXPECT_EQ(s.bytesAvailable(), 0u);
  EXPECT_EQ(cmd->chunkKeys(),
            (std::vector<DataCollMask>{DC_HUMIDITY, DC_HEADING, DC_SPEC_TIME, DC_WAV_TIME}));

  const auto heading = cmd->chunk<DataCollHeadingChunk>();
  ASSERT_NE(heading, nullptr);
  EXPECT_EQ(heading->accX(), -1);
  EXPECT_EQ(heading->accY(), 2);
  EXPECT_EQ(heading->accZ(), 3);
  EXPECT_EQ(heading->magX(), 4);
  EXPECT_EQ(heading->magY(), 5);
  EXPECT_EQ(heading->magZ(), -32768);

  const auto specTime = cmd->chunk<DataCollSpecTimeChunk>();
  ASSERT_NE(specTime, nullptr);
  EXPECT_EQ(specTime->sampsIntoSec(), 10000u);
  EXPECT_EQ(specTime->time(), 0x12345678u);

  // Type 0x0120 loses its high byte in the key and lands on the waveform time.
  const auto wavTime = cmd->chunk<DataCollWavTimeChunk>();
  ASSERT_NE(wavTime, nullptr);
  EXPECT_EQ(wavTime->sampsIntoSec(), 1u);
  EXPECT_EQ(wavTime->time(), 2u);

  EXPECT_EQ(log.lines(), (std::vector<std::string>{
                             "Got Unexpected Extended Data, Unexpected Mask: 2",
                             "Got Unexpected Extended Data, Unexpected Mask: 258"}));
}

TEST(VelDataCollectCmd, RequestFramesCarryTheExtendedKindByte) {
  struct Case {
    uint8 mask;
    Bytes frame;
  };
  const Case cases[] = {
      {0x08, {0x2A, 0x43, 0x02, 0x00, 0x08, 0x00, 0x71, 0x28}},
      {0x18, {0x2A, 0x43, 0x02, 0x00, 0x18, 0x10, 0x33, 0x39}},
      {0x28, {0x2A, 0x43, 0x02, 0x00, 0x28, 0x20, 0xF5, 0x0A}},
      {0x20, {0x2A, 0x43, 0x01, 0x00, 0x20, 0x08, 0xA8}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.mask));
    VelControlMessage msg(std::make_shared<VelDataCollectCmd>(c.mask));
    uint8 buf[16] = {};
    uint64 len = 0;
    msg.serialize(&len, buf);
    EXPECT_EQ(Bytes(buf, buf + len), c.frame);

    // The field-less request builder frames the same mask identically.
    VelMsgPayload request(0x43, c.mask);
    uint64 n = 0;
    const uint8* frame = request.getMessage(n);
    EXPECT_EQ(Bytes(frame, frame + n), c.frame);
  }
}

TEST(VelDataCollectCmd, ControlProcessorDeliversTheResponseWithoutItsCrc) {
  // The CRC bytes are deliberately wrong: this response's CRC is never read. Mask 0x06
  // has no bit 0x08, so the last five payload bytes are not looked at.
  const Bytes frame = {0x11, 0x2A, 0x43, 0x0A, 0x00,  // noise, header
                       0x06, 0xEB, 0x00, 0x2C, 0x01,  // mask, humidity, temperature
                       0x08, 0x02, 0x00, 0x01, 0x2A,  // trailing payload bytes
                       0xDE, 0xAD};                   // CRC, left unread
  CircularByteBuffer buffer(64);
  ASSERT_EQ(buffer.write(frame.data(), frame.size()), frame.size());
  LogCapture log;
  VelControlProcessor proc;
  const auto msg = proc.pump(buffer);
  ASSERT_NE(msg, nullptr);
  EXPECT_EQ(msg->payload()->commandCode(), 0x43);
  const auto cmd = std::dynamic_pointer_cast<VelDataCollectCmd>(msg->payload());
  ASSERT_NE(cmd, nullptr);
  EXPECT_FLOAT_EQ(cmd->chunk<DataCollHumidityChunk>()->humidity(), 23.5f);
  EXPECT_FLOAT_EQ(cmd->chunk<DataCollTemperatureChunk>()->temperature(), 30.0f);
  EXPECT_EQ(buffer.bytesAvailable(), 2u);
  EXPECT_TRUE(log.lines().empty());
}

// A response with every kind of chunk.
const Bytes kFull = {
    0x3F, 0x01, 0x02, 0xEB, 0x00, 0x2C, 0x01,  // mask, bit 0x01's bytes, humidity, temperature
    0x02, 0x00, 0x04, 0x00, 0x01, 0x80, 0xBB, 0x00, 0x00, 0x10, 0x00, 0x06, 0x00,  // spectrum
    0x03, 0x00, 0x0A, 0x00, 0x00, 0x01, 0x00, 0x04, 0xA1, 0xA2, 0xA3, 0xA4,
    0x07, 0x00, 0x02, 0x03, 0x00, 0x05, 0x00, 0xF4, 0x01, 0x00, 0xCE, 0xFF, 0xC4, 0x09,  // wav
    0xB1, 0xB2, 0xB3,
    0x01, 0x00, 0x0C, 0x00, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0,  // heading
    0x10, 0x00, 0x08, 0x00, 1, 0, 0, 0, 2, 0, 0, 0,              // spectrum time
    0x20, 0x00, 0x08, 0x00, 3, 0, 0, 0, 4, 0, 0, 0};             // waveform time

TEST(VelDataCollectCmd, CutResponsesKeepOnlyWhatArrived) {
  {
    // numBytes 0xFFFF with three bytes left: nothing is allocated or kept for them.
    const auto cmd = parse({0x20, 0x01, 0x00, 0x00, 0xFF, 0xFF, 0x03, 0x40, 0x1F, 0x00, 0x00,
                            0x01, 0x00, 0x02, 0x00, 0xAA, 0xBB, 0xCC});
    const auto wav = cmd->chunk<DataCollWavChunk>();
    ASSERT_NE(wav, nullptr);
    EXPECT_EQ(wav->numBytes(), 0xFFFF);
    EXPECT_EQ(wav->sampleRate(), 8000u);
    EXPECT_TRUE(wav->wavData().empty());
  }
  const auto full = parse(kFull);
  ASSERT_EQ(full->chunkKeys().size(), 7u);
  EXPECT_EQ(full->chunk<DataCollWavTimeChunk>()->time(), 4u);
  const Bytes spectrum = {0xA1, 0xA2, 0xA3, 0xA4};
  const Bytes samples = {0xB1, 0xB2, 0xB3};
  // Every prefix: chunk count never drops, and a field is either right or at its default.
  std::size_t keysBefore = 0;
  for (std::size_t n = 0; n <= kFull.size(); ++n) {
    SCOPED_TRACE(n);
    LogCapture log;
    const auto cmd = parse(Bytes(kFull.begin(), kFull.begin() + static_cast<std::ptrdiff_t>(n)));
    EXPECT_GE(cmd->chunkKeys().size(), keysBefore);
    keysBefore = cmd->chunkKeys().size();
    EXPECT_TRUE(log.lines().empty());
    const auto sp = cmd->chunk<DataCollSpecChunk>();
    if (sp) {
      EXPECT_TRUE(sp->weight() == 3 || sp->weight() == 0);
      EXPECT_TRUE(sp->specData().empty() || sp->specData() == spectrum);
    }
    const auto wav = cmd->chunk<DataCollWavChunk>();
    if (wav) {
      EXPECT_TRUE(wav->fullScale_mV() == 2500 || wav->fullScale_mV() == 0);
      EXPECT_TRUE(wav->wavData().empty() || wav->wavData() == samples);
    }
  }
  EXPECT_EQ(keysBefore, 7u);
}

TEST(VelDataCollectCmd, RandomInputNeverReadsOutOfBounds) {
  std::mt19937 rng(20240611u);
  std::uniform_int_distribution<int> byte(0, 255);
  std::uniform_int_distribution<std::size_t> pos(0, kFull.size() - 1);
  LogCapture log;  // keeps the output quiet; the lines are not the point here
  int withSamples = 0;
  for (int i = 0; i < 6000; ++i) {
    // Half pure noise, half a valid response with bytes changed and a random end, so that
    // the deeper paths (extended chunks, data blocks) are reached too.
    Bytes input(pos(rng));
    for (uint8& b : input) b = static_cast<uint8>(byte(rng));
    if (i % 2) {
      input.assign(kFull.begin(), kFull.begin() + static_cast<std::ptrdiff_t>(pos(rng)) + 1);
      for (int k = 0; k < 3; ++k) input[pos(rng) % input.size()] = static_cast<uint8>(byte(rng));
    }
    // Each input lives in its own exact-size block so that an overrun is caught.
    const std::size_t n = input.size();
    std::unique_ptr<uint8[]> data(new uint8[n + (n == 0)]);
    std::copy(input.begin(), input.end(), data.get());
    ByteStream s(data.get(), n);
    const auto cmd = parse(s);
    ASSERT_LE(s.position(), n);
    for (DataCollMask key : cmd->chunkKeys()) {
      ASSERT_NE(cmd->getChunk(key), nullptr);
      ASSERT_TRUE(key == DC_HUMIDITY || key == DC_TEMPERATURE || key == DC_SPEC ||
                  key == DC_WAV || key == DC_HEADING || key == DC_SPEC_TIME ||
                  key == DC_WAV_TIME)
          << key;
    }
    if (const auto wav = cmd->chunk<DataCollWavChunk>()) {
      ASSERT_TRUE(wav->wavData().empty() || wav->wavData().size() == wav->numBytes());
      ASSERT_LE(wav->wavData().size(), n);
      withSamples += !wav->wavData().empty();
    }
    if (const auto sp = cmd->chunk<DataCollSpecChunk>()) {
      ASSERT_TRUE(sp->specData().empty() || sp->specData().size() == sp->numBytes());
      ASSERT_LE(sp->specData().size(), n);
    }
    log.clear();
  }
  EXPECT_GT(withSamples, 0);  // the mutated responses did reach the sample blocks
}

}  // namespace
