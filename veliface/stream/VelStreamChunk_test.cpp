#include <veliface/stream/VelStreamChunk.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;

template <typename Chunk>
std::unique_ptr<Chunk> read(const Bytes& b) {
  return std::unique_ptr<Chunk>(Chunk::create(b.data(), b.size()));
}

bool rawBytesAre(const void* field, std::initializer_list<uint8> expected) {
  return std::memcmp(field, Bytes(expected).data(), expected.size()) == 0;
}

TEST(StreamChunk, EventKeyVersionsAndSeqNum) {
  const Bytes v0 = {0x41, 0x00, 0x12, 0x34, 0xFF, 0xFF, 0xFF, 0xFE,
                    0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02};
  auto k0 = read<VelEventKeyChunkV0>(v0);
  EXPECT_EQ(k0->typecode(), 0x41);
  EXPECT_EQ(k0->version(), 0);
  EXPECT_EQ(k0->raw().header, 0x1234);  // the one chunk whose header field is converted
  EXPECT_EQ(k0->timeStamp(), -2);
  EXPECT_EQ(k0->seqNum(), 4294967298ULL);
  EXPECT_EQ(k0->channel(), 1);  // version 0 has no channel
  EXPECT_EQ(k0->reserved(), nullptr);

  const Bytes v1 = {0x41, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05, 0x01, 0x02,
                    0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x03, 0xAA, 0xBB, 0xCC};
  auto k1 = read<VelEventKeyChunkV1>(v1);
  EXPECT_EQ(k1->version(), 1);
  EXPECT_EQ(k1->timeStamp(), 5);
  EXPECT_EQ(k1->seqNum(), 0x0102030405060708ULL);
  EXPECT_EQ(k1->channel(), 3);
  ASSERT_NE(k1->reserved(), nullptr);
  EXPECT_TRUE(rawBytesAre(k1->reserved(), {0, 0, 0}));  // skipped, not kept

  // Through the family base, both versions answer the same questions.
  const VelEventKeyChunk& base = *k1;
  EXPECT_EQ(base.channel(), 3);
}

TEST(StreamChunk, DeviceInfoVersions) {
  const Bytes v0 = {0x44, 0x00, 0xAB, 0xCD, 0x07, 0x01, 0x02, 0x03, 0x30, 0x39, 0xFF, 0x4C};
  auto d0 = read<VelDeviceInfoChunkV0>(v0);
  EXPECT_EQ(d0->model(), 7);
  EXPECT_TRUE(rawBytesAre(d0->fwVer(), {1, 2, 3}));
  EXPECT_EQ(d0->serialNo(), 12345);
  EXPECT_EQ(d0->sensitivity(), 0xFF4C);
  EXPECT_EQ(d0->channel(), 1);
  EXPECT_TRUE(rawBytesAre(&d0->raw().header, {0xAB, 0xCD}));  // not converted

  const Bytes v1 = {0x44, 0x01, 0x00, 0x00, 0x09, 0x04, 0x05, 0x06,
                    0x00, 0x02, 0x01, 0x00, 0xFF, 0x11, 0x22, 0x33};
  auto d1 = read<VelDeviceInfoChunkV1>(v1);
  EXPECT_EQ(d1->serialNo(), 2);
  EXPECT_EQ(d1->sensitivity(), 256);
  EXPECT_EQ(d1->channel(), 0xFF);
  EXPECT_TRUE(rawBytesAre(d1->raw().rest, {0x11, 0x22, 0x33}));
}

TEST(StreamChunk, ChannelZeroMeansChannelOne) {
  Bytes status = {0x43, 0x00, 0x00, 0x00, 0x01, 0x2C, 0x02, 0x58, 0x55, 0x02, 0x07, 0x00,
                  1,    2,    3,    4,    5,    6,    7,    8,    9,    10,   11,   12};
  auto s = read<VelStreamStatusChunkV0>(status);
  EXPECT_EQ(s->temperature(), 300);
  EXPECT_EQ(s->humidity(), 600);
  EXPECT_EQ(s->batteryPercent(), 0x55);
  EXPECT_EQ(s->batteryStat(), 2);
  EXPECT_EQ(s->dataEpoch(), 7);
  EXPECT_EQ(s->channel(), 1);
  EXPECT_EQ(s->raw().rest[11], 12);
  status[11] = 4;
  EXPECT_EQ(read<VelStreamStatusChunkV0>(status)->channel(), 4);

  Bytes ampl = {0x47, 0x00, 0x00, 0x00, 0x00, 0x01, 0x99, 0x03, 0x00, 0x7F, 0xFF, 0xFF,
                0xFF, 0x80, 0x00, 0x00, 0x00, 0x00, 0x0B, 0xB8, 0xFF, 0xFF, 0xF4, 0x48};
  auto a = read<VelAmplScalingChunkV0>(ampl);
  EXPECT_EQ(a->channel(), 1);
  EXPECT_EQ(a->units(), 1);
  EXPECT_EQ(a->bytesPerSamp(), 3);
  EXPECT_EQ(a->maxCount(), 8388607);
  EXPECT_EQ(a->minCount(), -8388608);
  EXPECT_EQ(a->maxAmplitude(), 3000);
  EXPECT_EQ(a->minAmplitude(), -3000);
  ampl[4] = 2;
  EXPECT_EQ(read<VelAmplScalingChunkV0>(ampl)->channel(), 2);
}

TEST(StreamChunk, WavSetupBitDepthIsUnmasked) {
  struct Case {
    uint8 format;
    uint8 bytesPerSamp;
    bool bigEndian;
    uint16 bitDepth;
  };
  const Case cases[] = {{0x82, 2, false, 1040}, {0x03, 3, true, 24}, {0x02, 2, true, 16}};
  for (const Case& c : cases) {
    const Bytes b = {0x45, 0x00, 0x00, 0x00, 0x00, 0x00, 0xBB, 0x80, 0x00, 0x0A, c.format, 0x02};
    auto w = read<VelWavSetupChunk>(b);
    EXPECT_EQ(w->sampleRate(), 48000u);
    EXPECT_EQ(w->gain(), 10);
    EXPECT_EQ(w->channel(), 2);
    EXPECT_EQ(w->bytesPerSamp(), c.bytesPerSamp) << int(c.format);
    EXPECT_EQ(w->isBigEndian(), c.bigEndian) << int(c.format);
    EXPECT_EQ(w->bitDepth(), c.bitDepth) << int(c.format);
  }
}

TEST(StreamChunk, FftSetupVersions) {
  Bytes v0 = {0x46, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x04, 0x00,
              0x00, 0x64, 0x00, 0x05, 0x02, 0x00, 0x00, 0x08, 0x00, 0x01};
  auto f0 = read<VelFftSetupChunkV0>(v0);
  EXPECT_EQ(f0->sampleRate(), 65536u);
  EXPECT_EQ(f0->numPoints(), 1024);
  EXPECT_EQ(f0->refLevel(), 100);
  EXPECT_EQ(f0->procType(), 5);
  EXPECT_EQ(f0->samplesBtwFfts(), 512);
  EXPECT_EQ(f0->accumCount(), 8);
  EXPECT_EQ(f0->weighting(), 1);
  EXPECT_EQ(f0->channel(), 0);  // version 0 has no channel

  Bytes v1 = v0;
  v1[1] = 0x01;
  v1.insert(v1.end(), {0x02, 0x00, 0x00, 0x00});
  auto f1 = read<VelFftSetupChunkV1>(v1);
  EXPECT_EQ(f1->numPoints(), 1024);
  EXPECT_EQ(f1->channel(), 2);
}

TEST(StreamChunk, TrigStatusIsKeptAsReceived) {
  const Bytes b = {0x4C, 0x00, 0x12, 0x34, 0x03, 0x01, 0x00, 0x01, 0x00, 0x00, 0xAB, 0xCD};
  auto t = read<VelStreamTrigStatusChunkV0>(b);
  EXPECT_EQ(t->numTrigs(), 3);
  EXPECT_TRUE(rawBytesAre(t->state(), {1, 0, 1, 0, 0}));
  EXPECT_TRUE(rawBytesAre(t->reserved(), {0xAB, 0xCD}));
  EXPECT_TRUE(rawBytesAre(&t->raw().header, {0x12, 0x34}));
}

TEST(StreamChunk, ShortRecordKeepsDefaultsAndReadsExactSize) {
  const Bytes shortKey = {0x41, 0x00, 0x00, 0x00, 0x00};
  auto k = read<VelEventKeyChunkV0>(shortKey);
  EXPECT_EQ(k->typecode(), 0);
  EXPECT_EQ(k->seqNum(), 0u);

  // A reader consumes exactly its record, leaving the next chunk in place.
  Bytes two = {0x4C, 0x00, 0x00, 0x00, 0x01, 0, 0, 0, 0, 0, 0, 0, 0x47, 0x00};
  ByteStream s(two.data(), two.size());
  std::unique_ptr<VelStreamTrigStatusChunkV0> t(VelStreamTrigStatusChunkV0::deserialize(&s));
  EXPECT_EQ(s.position(), 12u);
  EXPECT_EQ(s.peek(), 0x47);
}

Bytes dataChunk100x3x10() {
  // sampleNum 10, 100 channels, 3 bytes per sample, 10 samples.
  Bytes b = {0x42, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0A, 0x64, 0x03, 0x00, 0x0A};
  for (int i = 0; i < 450; ++i) b.push_back(static_cast<uint8>(i));
  return b;
}

TEST(StreamChunk, DataChunkFrameSizeIsTruncatedTo8Bits) {
  const Bytes b = dataChunk100x3x10();
  ByteStream s(b.data(), b.size());
  std::unique_ptr<VelStreamDataChunkV0> d(VelStreamDataChunkV0::deserialize(&s));
  EXPECT_EQ(d->typecode(), 0x42);
  EXPECT_EQ(d->sampleNum(), 10u);
  EXPECT_EQ(d->numChannels(), 100);
  EXPECT_EQ(d->bytesPerSamp(), 3);
  EXPECT_EQ(d->numSamples(), 10);
  EXPECT_FALSE(d->isCorrupted());
  EXPECT_EQ(d->dataSize(), 440u);  // (300 mod 256) x 10
  EXPECT_EQ(s.position(), 452u);
  ASSERT_TRUE(d->data());
  EXPECT_EQ(d->data()[0], 0);
  EXPECT_EQ(d->data()[439], static_cast<uint8>(439));
  EXPECT_FALSE(d->dData());
  EXPECT_EQ(d->numDSamps(), 0u);
}

TEST(StreamChunk, DataChunkSharedReadAliasesTheBlock) {
  const Bytes b = dataChunk100x3x10();
  std::shared_ptr<uint8[]> block(new uint8[b.size()]);
  std::memcpy(block.get(), b.data(), b.size());
  ByteStream s(block.get(), b.size());
  auto d = VelStreamDataChunkV0::deserializeShared(&s, block);
  ASSERT_TRUE(d);
  EXPECT_EQ(d->data().get(), block.get() + 12);
  EXPECT_EQ(d->dataSize(), 440u);
  EXPECT_EQ(block.use_count(), 2);
}

TEST(StreamChunk, DataChunkCutShortAllocatesNothing) {
  // 127 bytes x 2 channels truncates to 254 per frame, x 65535 frames: far beyond the
  // 20 bytes present.
  const Bytes b = {0x42, 0x00, 0x00, 0x00, 0, 0, 0, 0, 0x02, 0x7F, 0xFF, 0xFF, 1, 2, 3, 4, 5};
  ByteStream s(b.data(), b.size());
  std::unique_ptr<VelStreamDataChunkV0> d(VelStreamDataChunkV0::deserialize(&s));
  EXPECT_TRUE(d->isCorrupted());
  EXPECT_FALSE(d->data());
  EXPECT_EQ(s.bytesAvailable(), 0u);

  // Sharing the frame's block, the same: a chunk marked corrupted, without samples.
  ByteStream s2(b.data(), b.size());
  std::shared_ptr<uint8[]> block(new uint8[b.size()]);
  const auto shared = VelStreamDataChunkV0::deserializeShared(&s2, block);
  ASSERT_TRUE(shared);
  EXPECT_TRUE(shared->isCorrupted());
  EXPECT_FALSE(shared->data());
  EXPECT_EQ(shared->numChannels(), 2);
}

TEST(StreamChunk, AFixedChunkAdoptsTheRecordItIsGiven) {
  auto raw = std::make_unique<stKEY_CHUNK_V1>();
  raw->type = 0x41;
  raw->version = 1;
  raw->timeStamp = 1700000000;
  raw->channel = 3;
  const stKEY_CHUNK_V1* given = raw.get();
  VelEventKeyChunkV1 adopted(std::move(raw));
  EXPECT_EQ(&adopted.raw(), given);  // the very record, not a copy
  EXPECT_EQ(adopted.timeStamp(), 1700000000);
  EXPECT_EQ(adopted.channel(), 3);
  // The copying form keeps its own.
  stKEY_CHUNK_V1 local{};
  local.timeStamp = 5;
  VelEventKeyChunkV1 copied(local);
  EXPECT_NE(&copied.raw(), &local);
  EXPECT_EQ(copied.timeStamp(), 5);
  // Every fixed chunk class has the adopting form.
  VelWavSetupChunk wav(std::make_unique<stWAVE_SETUP_CHUNK_V0>());
  VelFftSetupChunkV1 fft(std::make_unique<stFFT_SETUP_CHUNK_V1>());
  VelStreamTrigStatusChunkV0 trig(std::unique_ptr<stTRIG_CHUNK_V0>{});
  EXPECT_EQ(wav.sampleRate(), 0u);
  EXPECT_EQ(fft.numPoints(), 0u);
  EXPECT_EQ(trig.typecode(), 0);
}

TEST(StreamChunk, PeekChunkLeavesTheStreamInPlace) {
  const Bytes b = {0x44, 0x01, 0x00};
  ByteStream s(b.data(), b.size());
  uint8 version = 0xEE;
  uint8 type = 0xEE;
  VelUtil::peekChunk(&s, &version, &type);
  EXPECT_EQ(type, 0x44);
  EXPECT_EQ(version, 0x01);
  EXPECT_EQ(s.position(), 0u);
  EXPECT_TRUE(s.good());
}

}  // namespace
