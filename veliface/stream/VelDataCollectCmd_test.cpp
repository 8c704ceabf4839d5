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
  {
    // Bit 0x01's two bytes come before the humidity of bit 0x02.
    const auto cmd = parse({0x03, 0x11, 0x22, 0x64, 0x00});
    ASSERT_NE(cmd->chunk<DataCollHumidityChunk>(), nullptr);
    EXPECT_FLOAT_EQ(cmd->chunk<DataCollHumidityChunk>()->humidity(), 10.0f);
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
    const auto spec = cmd->chunk<DataCollSpecChunk>();
    ASSERT_NE(spec, nullptr);
    EXPECT_EQ(spec->seqNum(), 5);
    EXPECT_EQ(spec->gain(), 1);
    EXPECT_EQ(spec->sampleRate(), 48000u);
    EXPECT_EQ(spec->sensitivity(), 16);
    EXPECT_EQ(spec->procType(), c.procType);
    EXPECT_EQ(spec->accumsPerRslt(), c.accums);
    EXPECT_EQ(spec->weight(), c.weight);
    EXPECT_EQ(spec->ptsBtwFft(), 256);
    EXPECT_EQ(spec->ptsPerFft(), 1024);
    EXPECT_EQ(cmd->takeSpecData(), (Bytes{0xAA, 0xBB, 0xCC}));
    EXPECT_TRUE(spec->specData().empty());
  }
}

TEST(VelDataCollectCmd, UnexpectedDataBitDropsTheRestOfTheMessage) {
  {
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
  {
    // Chunks of the lower bits are read before the skip.
    LogCapture log;
    const auto cmd = parse({0x42, 0x64, 0x00, 0x64, 0x00});
    EXPECT_EQ(cmd->chunkKeys(), (std::vector<DataCollMask>{DC_HUMIDITY}));
    EXPECT_EQ(log.lines().size(), 1u);
  }
}

TEST(VelDataCollectCmd, ExtendedChunksFollowTheMaskedOnes) {
  const Bytes b = {
      0x0A, 0xEB, 0x00,                                         // mask, humidity
      0x01, 0x00, 0x00, 0x00,                                   // heading, length not used
      0xFF, 0xFF, 0x02, 0x00, 0x03, 0x00, 0x04, 0x00, 0x05, 0x00, 0x00, 0x80,
      0x02, 0x00, 0x06, 0x00, 9, 9, 9, 9, 9, 9,                 // unknown type 2
      0x10, 0x00, 0x08, 0x00, 0x10, 0x27, 0x00, 0x00, 0x78, 0x56, 0x34, 0x12,  // spec time
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

TEST(VelDataCollectCmd, BlockLongerThanTheMessageIsNotKept) {
  {
    const auto cmd = parse({0x20, 0x01, 0x00, 0x00, 0xFF, 0xFF, 0x03, 0x40, 0x1F, 0x00, 0x00,
                            0x01, 0x00, 0x02, 0x00, 0xAA, 0xBB, 0xCC});
    const auto wav = cmd->chunk<DataCollWavChunk>();
    ASSERT_NE(wav, nullptr);
    EXPECT_EQ(wav->numBytes(), 0xFFFF);
    EXPECT_EQ(wav->sampleRate(), 8000u);
    EXPECT_TRUE(wav->wavData().empty());
  }
  {
    // A spectrum that promises too much: the waveform behind it is not read at all.
    const auto cmd = parse({0x30,                    // mask
                            0x01, 0x00, 0x00, 0x10,  // seqNum, numBytes 0x1000
                            0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // gain .. sensitivity
                            0x03, 0x00, 0x00, 0x01, 0x00, 0x02,  // procType 3, points
                            0x07, 0x00, 0x00, 0x01, 0x00});      // waveform head, cut
    ASSERT_NE(cmd->chunk<DataCollSpecChunk>(), nullptr);
    EXPECT_EQ(cmd->chunk<DataCollSpecChunk>()->numBytes(), 0x1000);
    EXPECT_TRUE(cmd->chunk<DataCollSpecChunk>()->specData().empty());
    const auto wav = cmd->chunk<DataCollWavChunk>();
    ASSERT_NE(wav, nullptr);
    EXPECT_EQ(wav->seqNum(), 0);
    EXPECT_EQ(wav->numBytes(), 0);
  }
}

// A response with every kind of chunk, and its parse in full.
Bytes fullResponse() {
  return {0x3F, 0x01, 0x02,                                     // mask, bit 0x01's bytes
          0xEB, 0x00, 0x2C, 0x01,                               // humidity, temperature
          0x02, 0x00, 0x04, 0x00, 0x01, 0x80, 0xBB, 0x00, 0x00, 0x10, 0x00, 0x06, 0x00,
          0x03, 0x00, 0x0A, 0x00, 0x00, 0x01, 0x00, 0x04, 0xA1, 0xA2, 0xA3, 0xA4,  // spectrum
          0x07, 0x00, 0x02, 0x03, 0x00, 0x05, 0x00, 0xF4, 0x01, 0x00, 0xCE, 0xFF, 0xC4, 0x09,
          0xB1, 0xB2, 0xB3,                                     // waveform
          0x01, 0x00, 0x0C, 0x00, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0,  // heading
          0x10, 0x00, 0x08, 0x00, 1, 0, 0, 0, 2, 0, 0, 0,       // spectrum time
          0x20, 0x00, 0x08, 0x00, 3, 0, 0, 0, 4, 0, 0, 0};      // waveform time
}

// True when `part` equals `full` or is the default that an unread field keeps.
template <typename T>
bool fullOrUnset(T part, T full) {
  return part == full || part == T{};
}

TEST(VelDataCollectCmd, CutResponsesKeepOnlyWhatArrived) {
  const Bytes all = fullResponse();
  const auto full = parse(all);
  ASSERT_EQ(full->chunkKeys().size(), 7u);
  const auto fullSpec = full->chunk<DataCollSpecChunk>();
  const auto fullWav = full->chunk<DataCollWavChunk>();
  ASSERT_EQ(fullSpec->specData().size(), 4u);
  ASSERT_EQ(fullWav->wavData().size(), 3u);
  EXPECT_EQ(full->chunk<DataCollWavTimeChunk>()->time(), 4u);

  std::size_t keysBefore = 0;
  for (std::size_t n = 0; n <= all.size(); ++n) {
    SCOPED_TRACE(n);
    const Bytes cut(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(n));
    LogCapture log;
    const auto cmd = parse(cut);
    const std::size_t keys = cmd->chunkKeys().size();
    EXPECT_GE(keys, keysBefore);
    keysBefore = keys;
    EXPECT_TRUE(log.lines().empty());
    if (const auto spec = cmd->chunk<DataCollSpecChunk>()) {
      EXPECT_TRUE(fullOrUnset(spec->procType(), fullSpec->procType()));
      EXPECT_TRUE(fullOrUnset(spec->weight(), fullSpec->weight()));
      EXPECT_TRUE(fullOrUnset(spec->ptsPerFft(), fullSpec->ptsPerFft()));
      EXPECT_TRUE(spec->specData().empty() || spec->specData() == fullSpec->specData());
    }
    if (const auto wav = cmd->chunk<DataCollWavChunk>()) {
      EXPECT_TRUE(fullOrUnset(wav->sampleRate(), fullWav->sampleRate()));
      EXPECT_TRUE(fullOrUnset(wav->fullScale_mV(), fullWav->fullScale_mV()));
      EXPECT_TRUE(wav->wavData().empty() || wav->wavData() == fullWav->wavData());
    }
    if (const auto head = cmd->chunk<DataCollHeadingChunk>()) {
      EXPECT_TRUE(fullOrUnset(head->magZ(), std::int16_t{6}));
    }
  }
  EXPECT_EQ(keysBefore, 7u);
}

TEST(VelDataCollectCmd, RandomInputNeverReadsOutOfBounds) {
  const Bytes valid = fullResponse();
  std::mt19937 rng(20240611u);
  std::uniform_int_distribution<int> byte(0, 255);
  std::uniform_int_distribution<std::size_t> size(0, 96);
  std::uniform_int_distribution<std::size_t> pos(0, valid.size() - 1);
  LogCapture log;  // keeps the output quiet; the lines are not the point here
  int withSamples = 0;
  for (int i = 0; i < 6000; ++i) {
    // Half pure noise, half a valid response with a few bytes changed and a random end,
    // so that the deeper paths (extended chunks, data blocks) are reached too.
    Bytes input;
    if (i % 2 == 0) {
      input.resize(size(rng));
      for (uint8& b : input) b = static_cast<uint8>(byte(rng));
    } else {
      input = valid;
      for (int k = 0; k < 3; ++k) input[pos(rng)] = static_cast<uint8>(byte(rng));
      input.resize(pos(rng) + 1);
    }
    // Each input lives in its own exact-size block so that an overrun is caught.
    const std::size_t n = input.size();
    std::unique_ptr<uint8[]> data(new uint8[n == 0 ? 1 : n]);
    std::copy(input.begin(), input.end(), data.get());
    ByteStream s(data.get(), n);
    const auto cmd = parse(s);
    ASSERT_NE(cmd, nullptr);
    ASSERT_LE(s.position(), n);
    for (DataCollMask key : cmd->chunkKeys()) {
      const bool known = key == DC_HUMIDITY || key == DC_TEMPERATURE || key == DC_SPEC ||
                         key == DC_WAV || key == DC_HEADING || key == DC_SPEC_TIME ||
                         key == DC_WAV_TIME;
      ASSERT_TRUE(known) << key;
    }
    if (const auto wav = cmd->chunk<DataCollWavChunk>()) {
      ASSERT_TRUE(wav->wavData().empty() || wav->wavData().size() == wav->numBytes());
      ASSERT_LE(wav->wavData().size(), n);
      if (!wav->wavData().empty()) ++withSamples;
    }
    if (const auto spec = cmd->chunk<DataCollSpecChunk>()) {
      ASSERT_TRUE(spec->specData().empty() || spec->specData().size() == spec->numBytes());
      ASSERT_LE(spec->specData().size(), n);
    }
    log.clear();
  }
  EXPECT_GT(withSamples, 0);  // the mutated responses did reach the sample blocks
}

}  // namespace
