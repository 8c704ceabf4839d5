#include <sim/ControlFrameEncoder.h>

#include <gtest/gtest.h>

namespace velsim {
namespace {

// Frames with their CRC (XMODEM) worked out by hand, low byte first.
const Bytes kReset = {0x2A, 0x59, 0x00, 0x00, 0xBA, 0x9F};
const Bytes kEnquire = {0x2A, 0x45, 0x03, 0x00, 0x01, 0x02, 0x03, 0x4A, 0x3B};
const Bytes kSetTime = {0x2A, 0x41, 0x04, 0x00, 0x10, 0x20, 0x30, 0x40, 0x08, 0x59};

Bytes cat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& p : parts) all.insert(all.end(), p.begin(), p.end());
  return all;
}

std::vector<Request> drain(RequestSplitter& s) {
  std::vector<Request> out;
  while (auto r = s.next()) out.push_back(*r);
  return out;
}

TEST(ControlFrameEncoder, ResponseFrameCarriesLittleEndianLengthAndCrc) {
  Bytes out;
  ASSERT_TRUE(ControlFrameEncoder::appendResponse(out, 0x59, nullptr, 0));
  ASSERT_TRUE(ControlFrameEncoder::appendResponse(out, 0x45, Bytes{1, 2, 3}));
  EXPECT_EQ(out, cat({kReset, kEnquire}));

  const Bytes big(65536, 0);
  out.clear();
  EXPECT_TRUE(ControlFrameEncoder::appendResponse(out, 0x44, big.data(), 65535));
  EXPECT_EQ(out.size(), 65535u + 6u);
  EXPECT_EQ(out[2], 0xFF);
  EXPECT_EQ(out[3], 0xFF);
  out.clear();
  EXPECT_FALSE(ControlFrameEncoder::appendResponse(out, 0x44, big.data(), 65536));
  EXPECT_TRUE(out.empty());
}

TEST(RequestSplitter, SkipsGarbageAndWaitsForWholeFrames) {
  const Bytes stream = cat({{0x00, 0x13, 0x37}, kSetTime, {0xFF, 0x2A, 0x2A, 0x01}, kEnquire,
                            kReset});
  // Whole, then byte by byte and in odd pieces: the same requests come out.
  for (std::size_t piece : {stream.size(), std::size_t{1}, std::size_t{2}, std::size_t{5}}) {
    RequestSplitter s;
    std::vector<Request> got;
    for (std::size_t i = 0; i < stream.size(); i += piece) {
      s.feed(stream.data() + i, std::min(piece, stream.size() - i));
      for (Request& r : drain(s)) got.push_back(r);
    }
    ASSERT_EQ(got.size(), 3u) << "piece " << piece;
    EXPECT_EQ(got[0].code, 0x41);
    EXPECT_EQ(got[0].payload, (Bytes{0x10, 0x20, 0x30, 0x40}));
    EXPECT_EQ(got[1].code, 0x45);
    EXPECT_EQ(got[1].payload, (Bytes{1, 2, 3}));
    EXPECT_EQ(got[2].code, 0x59);
    EXPECT_TRUE(got[2].payload.empty());
    EXPECT_EQ(s.badCrcCount(), 0u);
    // 3 leading bytes, 0xFF, two '*' not followed by a command letter, 0x01.
    EXPECT_EQ(s.skippedBytes(), 7u);
    EXPECT_EQ(s.buffered(), 0u);
  }

  RequestSplitter s;
  s.feed(kEnquire.data(), kEnquire.size() - 1);
  EXPECT_FALSE(s.next());
  EXPECT_EQ(s.buffered(), kEnquire.size() - 1) << "a partial frame is kept, not skipped";
  s.feed(&kEnquire.back(), 1);
  EXPECT_TRUE(s.next());
}

TEST(RequestSplitter, CountsBadCrcAndFindsTheNextGoodFrame) {
  Bytes badCrc = kEnquire;
  badCrc.back() ^= 0x01;
  Bytes badLength = kSetTime;  // claims 0x0104 bytes, swallowing what follows
  badLength[3] = 0x01;

  RequestSplitter s(0x200);
  const Bytes stream = cat({badCrc, kReset, badLength, kEnquire, Bytes(0x104, 0x00), kReset});
  s.feed(stream.data(), stream.size());
  const std::vector<Request> got = drain(s);
  ASSERT_EQ(got.size(), 3u);
  EXPECT_EQ(got[0].code, 0x59);
  EXPECT_EQ(got[1].code, 0x45) << "the frame behind a corrupted length is recovered";
  EXPECT_EQ(got[2].code, 0x59);
  EXPECT_EQ(s.badCrcCount(), 2u);

  // A claimed length beyond the limit is garbage at once, without waiting for the bytes.
  RequestSplitter small(16);
  const Bytes stream2 = cat({{0x2A, 0x44, 0x00, 0x10}, kReset});
  small.feed(stream2.data(), stream2.size());
  const auto r = small.next();
  ASSERT_TRUE(r);
  EXPECT_EQ(r->code, 0x59);
  EXPECT_EQ(small.badCrcCount(), 0u);
}

}  // namespace
}  // namespace velsim
