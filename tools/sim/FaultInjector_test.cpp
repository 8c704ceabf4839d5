#include <sim/ControlFrameEncoder.h>
#include <sim/FaultInjector.h>
#include <sim/StreamFrameEncoder.h>

#include <mavcommon/Endian.h>

#include <gtest/gtest.h>

#include <vector>

namespace velsim {
namespace {

constexpr uint32 kSamplesPerFrame = 10;
constexpr std::size_t kFrames = 400;

struct Received {
  std::vector<uint32> sampleNums;  // of the data frames, in order
  std::size_t headers = 0;         // event header frames
};

// A deliberately simple receiver: the code is the byte before the first marker, the length
// says where the frame ends. Enough because injected garbage never holds the marker.
Received receive(const Bytes& wire) {
  Received r;
  std::size_t i = 1;
  while (i + 3 <= wire.size()) {
    if (wire[i] != 0x2A) {
      ++i;
      continue;
    }
    const uint8 code = wire[i - 1];
    const std::size_t length = mav::loadBE<uint16>(&wire[i + 1]);
    const std::size_t payload = i + 3;
    if (payload + length > wire.size()) break;
    if (code == 0x31) r.sampleNums.push_back(mav::loadBE<uint32>(&wire[payload + 20 + 4]));
    if (code == 0x32) ++r.headers;
    i = payload + length + 1;
  }
  return r;
}

// Sends kFrames data frames with an event header before every 100th, through `faults`,
// and returns what went on the wire after splitting and re-joining each write.
Bytes sendStream(FaultInjector& faults) {
  const std::vector<int32_t> samples(kSamplesPerFrame, 0x2A2A2A);  // markers inside payloads
  Bytes wire;
  for (std::size_t f = 0; f < kFrames; ++f) {
    const uint32 first = static_cast<uint32>(f * kSamplesPerFrame);
    Bytes frames;
    if (f % 100 == 0) {
      StreamFrameEncoder::appendEventHeaderFrame(frames, {EventKey{1, 0, first, 1}});
    }
    StreamFrameEncoder::appendDataFrame(frames, EventKey{1, 0, first, 1},
                                        {first, 1, 0x03, kSamplesPerFrame}, samples.data());
    Bytes out;
    std::size_t at = 0;
    while (at < frames.size()) {
      const std::size_t n = 4 + mav::loadBE<uint16>(&frames[at + 2]);
      faults.streamFrame(&frames[at], n, out);
      at += n;
    }
    for (const Bytes& piece : faults.split(out.data(), out.size())) {
      wire.insert(wire.end(), piece.begin(), piece.end());
    }
  }
  return wire;
}

TEST(FaultInjector, DropCountEqualsTheFramesMissingOnTheWire) {
  FaultConfig c;
  c.seed = 7;
  c.dataDropRate = 0.1;
  c.garbageRate = 0.3;
  c.maxPieces = 4;
  FaultInjector faults(c);
  const Bytes wire = sendStream(faults);
  const Received r = receive(wire);

  EXPECT_EQ(r.headers, kFrames / 100) << "only data frames are dropped";
  std::size_t missing = 0;
  uint32 expected = 0;
  for (uint32 sn : r.sampleNums) {
    ASSERT_EQ(sn % kSamplesPerFrame, 0u);
    ASSERT_GE(sn, expected);
    missing += (sn - expected) / kSamplesPerFrame;
    expected = sn + kSamplesPerFrame;
  }
  missing += (kFrames * kSamplesPerFrame - expected) / kSamplesPerFrame;
  EXPECT_GT(faults.droppedFrames(), 10u);
  EXPECT_EQ(missing, faults.droppedFrames());
  EXPECT_EQ(r.sampleNums.size() + faults.droppedFrames(), kFrames);
  EXPECT_GT(faults.garbageBytes(), 0u);

  // Same seed, same faults.
  FaultInjector again(c);
  EXPECT_EQ(sendStream(again), wire);
  EXPECT_EQ(again.droppedFrames(), faults.droppedFrames());
}

TEST(FaultInjector, CorruptedResponsesAreExactlyTheOnesFailingTheirCrc) {
  FaultConfig c;
  c.seed = 3;
  c.crcCorruptRate = 0.25;
  c.garbageRate = 0.5;
  FaultInjector faults(c);
  Bytes wire;
  std::size_t sentCorrupted = 0;
  for (uint8 i = 0; i < 200; ++i) {
    Bytes frame;
    const Bytes payload{i, static_cast<uint8>(i + 1)};
    ControlFrameEncoder::appendResponse(frame, static_cast<uint8>(0x41 + i % 26), payload);
    sentCorrupted += faults.controlResponse(frame.data(), frame.size(), wire);
  }
  EXPECT_EQ(sentCorrupted, faults.corruptedCrcs());
  EXPECT_GT(faults.corruptedCrcs(), 20u);

  RequestSplitter splitter(64);
  splitter.feed(wire.data(), wire.size());
  std::size_t good = 0;
  while (splitter.next()) ++good;
  EXPECT_EQ(splitter.badCrcCount(), faults.corruptedCrcs());
  EXPECT_EQ(good + faults.corruptedCrcs(), 200u);
}

TEST(FaultInjector, SplitCutsIntoOrderedNonEmptyPieces) {
  FaultConfig c;
  c.maxPieces = 5;
  FaultInjector faults(c);
  Bytes data(100);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8>(i);
  std::size_t splitOnce = 0;
  for (int round = 0; round < 50; ++round) {
    const std::vector<Bytes> pieces = faults.split(data.data(), data.size());
    ASSERT_GE(pieces.size(), 1u);
    ASSERT_LE(pieces.size(), 5u);
    splitOnce += pieces.size() > 1;
    Bytes joined;
    for (const Bytes& p : pieces) {
      EXPECT_FALSE(p.empty());
      joined.insert(joined.end(), p.begin(), p.end());
    }
    EXPECT_EQ(joined, data);
  }
  EXPECT_GT(splitOnce, 25u);
  EXPECT_EQ(faults.split(data.data(), 1).size(), 1u);
  EXPECT_TRUE(faults.split(data.data(), 0).empty());

  FaultInjector never(FaultConfig{});  // everything off
  Bytes out;
  const Bytes frame{0x31, 0x2A, 0x00, 0x00};
  EXPECT_TRUE(never.streamFrame(frame.data(), frame.size(), out));
  EXPECT_EQ(out, frame);
  EXPECT_EQ(never.split(data.data(), data.size()).size(), 1u);
}

}  // namespace
}  // namespace velsim
