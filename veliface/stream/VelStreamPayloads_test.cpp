#include <veliface/stream/VelStreamPayloads.h>

#include <gtest/gtest.h>

#include "LogCapture.h"

#include <vector>

namespace {

using Bytes = std::vector<uint8>;

Bytes cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

const Bytes kKeyV0 = {0x41, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x64,
                      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x07};  // time 100, seq 7
const Bytes kKeyV1 = {0x41, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x65, 0x00, 0x00,
                      0x00, 0x00, 0x00, 0x00, 0x00, 0x08, 0x02, 0x00, 0x00, 0x00};  // seq 8, ch 2
const Bytes kDevCh1 = {0x44, 0x01, 0x00, 0x00, 0x05, 0x01, 0x00, 0x00,
                       0x00, 0x65, 0x00, 0xB0, 0x01, 0x00, 0x00, 0x00};  // serial 101, ch 1
const Bytes kDevMaster = {0x44, 0x01, 0x00, 0x00, 0x08, 0x01, 0x00, 0x00,
                          0x03, 0xE7, 0x00, 0x00, 0xFF, 0x00, 0x00, 0x00};  // serial 999, ch 0xFF
const Bytes kDevV0 = {0x44, 0x00, 0x00, 0x00, 0x05, 0x01, 0x00, 0x00, 0x00, 0x66, 0x00, 0xB0};
const Bytes kStatus1 = {0x43, 0x00, 0x00, 0x00, 0x00, 0xC8, 0x01, 0x90, 80, 1, 0, 1,
                        0,    0,    0,    0,    0,    0,    0,    0,    0,  0, 0, 0};
const Bytes kStatus2 = {0x43, 0x00, 0x00, 0x00, 0x00, 0xC9, 0x01, 0x91, 81, 1, 0, 2,
                        0,    0,    0,    0,    0,    0,    0,    0,    0,  0, 0, 0};
const Bytes kWav = {0x45, 0x00, 0x00, 0x00, 0x00, 0x01, 0x77, 0x00, 0x00, 0x01, 0x03, 0x00};
const Bytes kAmpl = {0x47, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x03, 0x00, 0x7F, 0xFF, 0xFF,
                     0xFF, 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0xFF, 0xFF, 0xFF, 0xFF};
const Bytes kFftV1 = {0x46, 0x01, 0x00, 0x00, 0x00, 0x00, 0xFA, 0x00, 0x04, 0x00, 0x00, 0x00,
                      0x00, 0x01, 0x02, 0x00, 0x00, 0x04, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00};
const Bytes kData = {0x42, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x02, 0x82,
                     0x00, 0x02, 0xA1, 0xA2, 0xA3, 0xA4, 0xB1, 0xB2, 0xB3, 0xB4};  // 2 ch x 2 bytes x 2
const Bytes kTrig = {0x4C, 0x00, 0x00, 0x00, 0x02, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00};

// A copy of `b` with byte `at` replaced.
Bytes patched(Bytes b, std::size_t at, uint8 value) {
  if (at < b.size()) b[at] = value;
  return b;
}

template <typename P>
std::unique_ptr<P> read(const Bytes& b) {
  return std::unique_ptr<P>(P::create(b.data(), b.size()));
}

TEST(StreamPayloads, EventHeaderOfAnArray) {
  LogCapture log;
  const Bytes b = cat({kKeyV0, kDevCh1, kDevMaster, kDevV0, kStatus1, kStatus2, kWav, kAmpl});
  auto h = read<VelStreamEventHeaderPayload>(b);
  ASSERT_TRUE(h->eventKey());
  EXPECT_EQ(h->eventKey()->seqNum(), 7u);
  ASSERT_EQ(h->deviceInfoChunks().size(), 2u);
  EXPECT_EQ(h->deviceInfoChunks()[0]->serialNo(), 101);
  EXPECT_EQ(h->deviceInfoChunks()[1]->serialNo(), 102);
  EXPECT_EQ(h->deviceInfoChunks()[1]->channel(), 1);
  ASSERT_TRUE(h->arrayMasterInfo());
  EXPECT_EQ(h->arrayMasterInfo()->serialNo(), 999);
  EXPECT_TRUE(h->isArray());
  ASSERT_EQ(h->streamStatusChunks().size(), 2u);
  EXPECT_EQ(h->streamStatusChunks()[1]->channel(), 2);
  EXPECT_EQ(h->numChannels(), 2);
  ASSERT_TRUE(h->streamSetupChunk().wavSetup());
  EXPECT_EQ(h->streamSetupChunk().wavSetup()->sampleRate(), 96000u);
  EXPECT_FALSE(h->streamSetupChunk().fftSetup());
  ASSERT_EQ(h->amplScalingChunks().size(), 1u);
  EXPECT_EQ(h->amplScalingChunks()[0]->minAmplitude(), -1);
  EXPECT_TRUE(log.lines().empty());

  // Without a master record the same header is not an array; an FFT setup replaces the WAV.
  auto single = read<VelStreamEventHeaderPayload>(cat({kKeyV1, kDevCh1, kWav, kFftV1}));
  EXPECT_FALSE(single->isArray());
  EXPECT_FALSE(single->arrayMasterInfo());
  EXPECT_EQ(single->numChannels(), 0);
  EXPECT_EQ(single->eventKey()->channel(), 2);
  ASSERT_TRUE(single->streamSetupChunk().fftSetup());
  EXPECT_EQ(single->streamSetupChunk().fftSetup()->channel(), 1);
}

TEST(StreamPayloads, UnknownChunkLinesAndSkips) {
  struct Case {
    const char* name;
    Bytes bytes;
    int kind;  // 0 header, 1 data, 2 status
    const char* line;
  };
  const Bytes z = {0x5A, 0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
  const Case cases[] = {
      {"header", cat({kKeyV0, kStatus1, kWav, z, kAmpl}), 0,
       "Unknown chunk type in header.Z. Skipping 32bytes."},
      {"data", cat({kKeyV0, z, kData}), 1, "Unknown chunk type in dataZ. Skipping 28bytes."},
      {"status", cat({z, kTrig}), 2, "Unknown chunk type in dataZ. Skipping 20bytes."},
  };
  for (const Case& c : cases) {
    LogCapture log;
    if (c.kind == 0) {
      auto h = read<VelStreamEventHeaderPayload>(c.bytes);
      EXPECT_TRUE(h->eventKey());
      EXPECT_EQ(h->streamStatusChunks().size(), 1u);
      EXPECT_TRUE(h->streamSetupChunk().wavSetup());
      EXPECT_TRUE(h->amplScalingChunks().empty());  // after the unknown chunk: skipped
    } else if (c.kind == 1) {
      auto d = read<VelStreamDataPayload>(c.bytes);
      EXPECT_TRUE(d->eventKey());
      EXPECT_FALSE(d->data());
    } else {
      EXPECT_FALSE(read<VelStatusDataPayload>(c.bytes)->trigChunk());
    }
    EXPECT_EQ(log.lines(), std::vector<std::string>{c.line}) << c.name;
  }
}

TEST(StreamPayloads, DataPayload) {
  LogCapture log;
  auto d = read<VelStreamDataPayload>(cat({kKeyV0, kKeyV1, kData}));
  ASSERT_TRUE(d->eventKey());
  EXPECT_EQ(d->eventKey()->seqNum(), 8u);  // the later key replaces the earlier
  ASSERT_TRUE(d->data());
  EXPECT_EQ(d->numChannels(), 2);
  EXPECT_EQ(d->data()->sampleNum(), 256u);
  ASSERT_EQ(d->data()->dataSize(), 8u);
  EXPECT_EQ(d->data()->data()[7], 0xB4);
  EXPECT_TRUE(log.lines().empty());

  // Four bytes are too few for a chunk: nothing is read and nothing is logged.
  auto four = read<VelStreamDataPayload>({0x42, 0x00, 0x00, 0x00});
  EXPECT_FALSE(four->data());
  EXPECT_FALSE(four->eventKey());
  EXPECT_EQ(four->numChannels(), 0);
  EXPECT_TRUE(log.lines().empty());

  const Bytes v1 = patched(kData, 1, 0x01);
  auto unsupported = read<VelStreamDataPayload>(cat({kKeyV0, v1}));
  EXPECT_TRUE(unsupported->eventKey());
  EXPECT_FALSE(unsupported->data());
  EXPECT_EQ(log.lines(), std::vector<std::string>{"Unsupported data chunk version"});
}

TEST(StreamPayloads, StatusPayload) {
  LogCapture log;
  auto s = read<VelStatusDataPayload>(kTrig);
  ASSERT_TRUE(s->trigChunk());
  EXPECT_EQ(s->trigChunk()->numTrigs(), 2);
  EXPECT_EQ(s->numChannels(), 1);
  // 0x48 to 0x4B end the payload without a word.
  for (uint8 t = 0x48; t <= 0x4B; ++t) {
    auto q = read<VelStatusDataPayload>(cat({{t, 0, 0, 0, 0, 0}, kTrig}));
    EXPECT_FALSE(q->trigChunk()) << int(t);
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST(StreamPayloads, UnlistedVersionsAndCutChunksEndThePayload) {
  LogCapture log;
  const Bytes dev2 = patched(kDevCh1, 1, 0x02);
  auto h = read<VelStreamEventHeaderPayload>(cat({kKeyV0, kStatus1, dev2, kStatus2}));
  EXPECT_TRUE(h->eventKey());
  EXPECT_EQ(h->streamStatusChunks().size(), 1u);
  EXPECT_TRUE(h->deviceInfoChunks().empty());
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(log.lines()[0], "Unsupported version 2 of chunk type D in header. Skipping 40 bytes.");

  EXPECT_FALSE(read<VelStatusDataPayload>(patched(kTrig, 1, 0x01))->trigChunk());

  // A status chunk cut to 10 bytes is still a chunk, its unread record at the constructor's
  // zeros (type byte included), and nothing is logged; the key before it stays.
  log.clear();
  const Bytes cut(kStatus1.begin(), kStatus1.begin() + 10);
  auto c = read<VelStreamEventHeaderPayload>(cat({kKeyV0, cut}));
  EXPECT_TRUE(c->eventKey());
  ASSERT_EQ(c->streamStatusChunks().size(), 1u);
  EXPECT_EQ(c->streamStatusChunks()[0]->typecode(), 0);
  EXPECT_EQ(c->streamStatusChunks()[0]->temperature(), 0);
  EXPECT_EQ(c->numChannels(), 1);
  EXPECT_TRUE(log.lines().empty());

  // A data chunk with fewer sample bytes than it announces is delivered, without samples,
  // marked as corrupted; its head is read.
  const Bytes shortData = {0x42, 0x00, 0x00, 0x00, 0, 0, 0, 9, 0x01, 0x82, 0x00, 0x04, 1, 2, 3};
  auto d = read<VelStreamDataPayload>(cat({kKeyV0, shortData}));
  ASSERT_TRUE(d->data());
  EXPECT_TRUE(d->data()->isCorrupted());
  EXPECT_EQ(d->data()->sampleNum(), 9u);
  EXPECT_EQ(d->data()->numSamples(), 4);
  EXPECT_FALSE(d->data()->data());
}

}  // namespace
