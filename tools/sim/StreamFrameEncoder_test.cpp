#include <sim/StreamFrameEncoder.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace velsim {
namespace {

struct ChunkCase {
  const char* name;
  Chunk chunk;
  Bytes expected;
};

TEST(StreamFrameEncoder, FixedChunksMatchTheirWireLayout) {
  const ChunkCase cases[] = {
      {"event key V1", EventKey{1, 0x5F5E1000, 0x0000000100000002ull, 3},
       {0x41, 0x01, 0x00, 0x14, 0x5F, 0x5E, 0x10, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00,
        0x02, 0x03, 0x00, 0x00, 0x00}},
      {"event key V0 (no channel)", EventKey{0, -2, 7, 9},
       {0x41, 0x00, 0x00, 0x10, 0xFF, 0xFF, 0xFF, 0xFE, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x07}},
      {"device info V0", DeviceInfo{0, 0x12, {1, 2, 3}, 0x1234, 0xABCD, 9},
       {0x44, 0x00, 0x00, 0x0C, 0x12, 0x01, 0x02, 0x03, 0x12, 0x34, 0xAB, 0xCD}},
      {"device info V1 array master", DeviceInfo{1, 0x12, {1, 2, 3}, 0x1234, 0xABCD, 0xFF},
       {0x44, 0x01, 0x00, 0x10, 0x12, 0x01, 0x02, 0x03, 0x12, 0x34, 0xAB, 0xCD, 0xFF, 0x00, 0x00,
        0x00}},
      {"stream status", StreamStatus{0x0102, 0x0304, 0x55, 2, 7, 1},
       {0x43, 0x00, 0x00, 0x18, 0x01, 0x02, 0x03, 0x04, 0x55, 0x02, 0x07, 0x01,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
      {"WAV setup", WavSetup{48000, 0x0102, 0x03, 1},
       {0x45, 0x00, 0x00, 0x0C, 0x00, 0x00, 0xBB, 0x80, 0x01, 0x02, 0x03, 0x01}},
      {"FFT setup V0", FftSetup{0, 96000, 1024, 100, 1, 512, 8, 3, 2},
       {0x46, 0x00, 0x00, 0x14, 0x00, 0x01, 0x77, 0x00, 0x04, 0x00, 0x00, 0x64, 0x00, 0x01,
        0x02, 0x00, 0x00, 0x08, 0x00, 0x03}},
      {"FFT setup V1", FftSetup{1, 96000, 1024, 100, 1, 512, 8, 3, 2},
       {0x46, 0x01, 0x00, 0x18, 0x00, 0x01, 0x77, 0x00, 0x04, 0x00, 0x00, 0x64, 0x00, 0x01,
        0x02, 0x00, 0x00, 0x08, 0x00, 0x03, 0x02, 0x00, 0x00, 0x00}},
      {"amplitude scaling", AmplScaling{1, 2, 3, 8388607, -8388608, 1000, -1000},
       {0x47, 0x00, 0x00, 0x18, 0x01, 0x02, 0x00, 0x03, 0x00, 0x7F, 0xFF, 0xFF,
        0xFF, 0x80, 0x00, 0x00, 0x00, 0x00, 0x03, 0xE8, 0xFF, 0xFF, 0xFC, 0x18}},
      {"trigger status", TriggerStatus{2, {1, 0, 1, 0, 0}, 0xBEEF},
       {0x4C, 0x00, 0x00, 0x0C, 0x02, 0x01, 0x00, 0x01, 0x00, 0x00, 0xBE, 0xEF}},
  };
  for (const ChunkCase& c : cases) {
    Bytes out{0xEE};  // appending keeps what is already there
    StreamFrameEncoder::appendChunk(out, c.chunk);
    Bytes expected{0xEE};
    expected.insert(expected.end(), c.expected.begin(), c.expected.end());
    EXPECT_EQ(out, expected) << c.name;
  }
}

TEST(StreamFrameEncoder, UnknownChunkVersionIsRefused) {
  Bytes out;
  EXPECT_THROW(StreamFrameEncoder::appendChunk(out, EventKey{2, 0, 0, 1}), std::invalid_argument);
  EXPECT_THROW(StreamFrameEncoder::appendChunk(out, FftSetup{3}), std::invalid_argument);
}

TEST(StreamFrameEncoder, StreamDataWritesSamplesAtWidthAndByteOrder) {
  // Two channels of big-endian 24-bit samples, two sample frames.
  const int32_t samples24[] = {1, -1, 0x123456, -8388608};
  Bytes out;
  ASSERT_TRUE(StreamFrameEncoder::appendStreamData(out, {0x01020304, 2, 0x03, 2}, samples24));
  const Bytes expected24 = {0x42, 0x00, 0x00, 0x18, 0x01, 0x02, 0x03, 0x04, 0x02, 0x03, 0x00,
                            0x02, 0x00, 0x00, 0x01, 0xFF, 0xFF, 0xFF, 0x12, 0x34, 0x56, 0x80,
                            0x00, 0x00};
  EXPECT_EQ(out, expected24);

  // Little-endian 16-bit (format 0x82), one channel.
  const int32_t samples16[] = {0x1234, -2};
  out.clear();
  ASSERT_TRUE(StreamFrameEncoder::appendStreamData(out, {7, 1, 0x82, 2}, samples16));
  const Bytes expected16 = {0x42, 0x00, 0x00, 0x10, 0x00, 0x00, 0x00, 0x07,
                            0x01, 0x82, 0x00, 0x02, 0x34, 0x12, 0xFE, 0xFF};
  EXPECT_EQ(out, expected16);
}

TEST(StreamFrameEncoder, StreamDataRefusesHeadsReceiversCannotRead) {
  const int32_t samples[300] = {};
  const StreamDataHead bad[] = {
      {0, 86, 0x03, 1},  // 258-byte sample frame: receivers count it in 8 bits
      {0, 1, 0x00, 1},   // no sample width
      {0, 1, 0x05, 1},   // wider than 32 bits
      {0, 0, 0x03, 1},   // no channel
  };
  for (const StreamDataHead& head : bad) {
    Bytes out{0x01};
    EXPECT_FALSE(StreamFrameEncoder::appendStreamData(out, head, samples));
    EXPECT_EQ(out, Bytes{0x01}) << "a refused chunk appends nothing";
    EXPECT_EQ(StreamFrameEncoder::sampleBytes(head), 0u);
  }
  // 85 channels of 3 bytes (255-byte frames) is the widest that still works.
  EXPECT_EQ(StreamFrameEncoder::sampleBytes({0, 85, 0x03, 2}), 510u);
}

TEST(StreamFrameEncoder, DataFrameIsEventKeyThenDataChunk) {
  const int32_t samples[] = {0x0102, 0x7FFF};
  Bytes out;
  ASSERT_TRUE(StreamFrameEncoder::appendDataFrame(out, EventKey{1, 1, 5, 1}, {5, 1, 0x02, 2},
                                                  samples));
  const Bytes expected = {
      0x31, 0x2A, 0x00, 0x24,                                      // frame: data, 36 bytes
      0x41, 0x01, 0x00, 0x14, 0x00, 0x00, 0x00, 0x01,              // event key V1, time 1
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05,              // sequence 5
      0x01, 0x00, 0x00, 0x00,                                      // channel 1
      0x42, 0x00, 0x00, 0x10, 0x00, 0x00, 0x00, 0x05,              // data chunk, sample 5
      0x01, 0x02, 0x00, 0x02, 0x01, 0x02, 0x7F, 0xFF};             // 1 ch, 16 bit, 2 samples
  EXPECT_EQ(out, expected);

  // A spectrum: one channel of one-byte levels given in wire form.
  const uint8 levels[] = {0, 200, 255};
  out.clear();
  ASSERT_TRUE(StreamFrameEncoder::appendDataFrame(out, EventKey{1, 1, 5, 1}, {5, 1, 0x01, 3},
                                                  levels));
  ASSERT_EQ(out.size(), 4u + 20u + 12u + 3u);
  EXPECT_EQ(out[3], 35);
  EXPECT_EQ(Bytes(out.end() - 7, out.end()), (Bytes{0x01, 0x01, 0x00, 0x03, 0, 200, 255}));
}

TEST(StreamFrameEncoder, OtherFramesAndLimits) {
  Bytes out;
  StreamFrameEncoder::appendNotifyFrame(out, NotifyCode::InvalidStart);
  EXPECT_EQ(out, (Bytes{0x30, 0x2A, 0x00, 0x04, 0x00, 0x00, 0x00, 0x04}));

  out.clear();
  StreamFrameEncoder::appendStatusFrame(out, TriggerStatus{1, {3, 0, 0, 0, 0}, 0});
  EXPECT_EQ(out, (Bytes{0x35, 0x2A, 0x00, 0x0C, 0x4C, 0x00, 0x00, 0x0C, 0x01, 0x03, 0x00, 0x00,
                        0x00, 0x00, 0x00, 0x00}));

  out.clear();
  ASSERT_TRUE(StreamFrameEncoder::appendEventHeaderFrame(
      out, {EventKey{1, 0, 0, 1}, WavSetup{8000, 0, 0x03, 1}}));
  ASSERT_EQ(out.size(), 4u + 20u + 12u);
  EXPECT_EQ(Bytes(out.begin(), out.begin() + 5), (Bytes{0x32, 0x2A, 0x00, 0x20, 0x41}));
  EXPECT_EQ(out[24], 0x45);

  EXPECT_EQ(Bytes(StreamFrameEncoder::startMessage().begin(),
                  StreamFrameEncoder::startMessage().end()),
            (Bytes{0x53, 0x2A, 0x00, 0x00}));

  // The length field holds at most 65535 payload bytes; a larger frame is not started.
  const Bytes big(65536, 0);
  out.assign({0x09});
  EXPECT_TRUE(StreamFrameEncoder::appendFrame(out, StreamCode::Data, big.data(), 65535));
  EXPECT_EQ(out.size(), 1u + 4u + 65535u);
  EXPECT_EQ(out[3], 0xFF);
  EXPECT_EQ(out[4], 0xFF);
  out.assign({0x09});
  EXPECT_FALSE(StreamFrameEncoder::appendFrame(out, StreamCode::Data, big.data(), 65536));
  // 21,843 three-byte samples + 32 bytes of chunk heads = 65,561 bytes: too long, rolled back.
  std::vector<int32_t> samples(21843, 0);
  EXPECT_FALSE(StreamFrameEncoder::appendDataFrame(out, EventKey{}, {0, 1, 0x03, 21843},
                                                   samples.data()));
  EXPECT_EQ(out, Bytes{0x09});
}

}  // namespace
}  // namespace velsim
