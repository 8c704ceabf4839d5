#include <veliface/host/ResponseFramer.h>

#include <ControlFrames.h>
#include <SplitFeed.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;
using veliface::host::ResponseFramer;
using veliface::test::cat;
using veliface::test::responseFrame;

const Bytes kReset = {0x2A, 0x59, 0x00, 0x00, 0xBA, 0x9F};
const Bytes kSetTime1000 = {0x2A, 0x41, 0x04, 0x00, 0xE8, 0x03, 0x00, 0x00, 0x41, 0xD1};

// "g" for a good frame and "b" for a bad one, with its size.
std::vector<std::string> drain(ResponseFramer& f) {
  std::vector<std::string> out;
  while (auto fr = f.next()) out.push_back((fr->crcGood ? "g" : "b") + std::to_string(fr->bytes.size()));
  return out;
}

}  // namespace

TEST(ResponseFramer, GivesTheSameWholeFramesWhereverTheBytesAreCut) {
  const Bytes enquire = responseFrame(0x45, veliface::test::enquirePayload());
  const Bytes stream = cat({{0x00, 0x13, 0x2A}, enquire, {'n', 'o', 'i', 's', 'e'}, kReset, kSetTime1000});
  const std::vector<std::string> want = {"g65", "g6", "g10"};
  for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
    for (std::size_t cut2 = cut; cut2 <= stream.size(); cut2 += 7) {
      ResponseFramer f;
      std::vector<std::string> got;
      const std::size_t cuts[] = {0, cut, cut2, stream.size()};
      for (int i = 0; i < 3; ++i) {
        f.feed(stream.data() + cuts[i], cuts[i + 1] - cuts[i]);
        for (auto& s : drain(f)) got.push_back(s);
      }
      ASSERT_EQ(got, want) << "cut at " << cut << " and " << cut2;
      EXPECT_EQ(f.buffered(), 0u);
    }
  }
}

TEST(ResponseFramer, DamagedFramesAreReportedAndDoNotHideGoodOnes) {
  // A damaged frame is given out as bad; the frame behind it still decodes.
  Bytes damaged = kSetTime1000;
  damaged[5] ^= 0x40;
  ResponseFramer f;
  const Bytes bytes = cat({damaged, kReset});
  f.feed(bytes.data(), bytes.size());
  EXPECT_EQ(drain(f), (std::vector<std::string>{"b10", "g6"}));

  // A damaged length that claims more than ever comes: the good frame right behind it wins
  // over the start that still waits, and the waiting start is dropped as noise.
  ResponseFramer g;
  const Bytes stray = {0x2A, 0x45, 0xFF, 0x7F, 0x01};
  const Bytes withStray = cat({stray, kReset});
  g.feed(withStray.data(), withStray.size());
  EXPECT_EQ(drain(g), (std::vector<std::string>{"g6"}));
  EXPECT_EQ(g.noiseBytes(), stray.size());

  // '*' followed by something that is no command letter is no start at all.
  ResponseFramer h;
  const Bytes notStart = cat({{0x2A, 0x20, 0x2A, 0x7F}, kReset});
  h.feed(notStart.data(), notStart.size());
  EXPECT_EQ(drain(h), (std::vector<std::string>{"g6"}));
}

TEST(ResponseFramer, AStartAtTheVeryEndWaitsForItsCode) {
  ResponseFramer f;
  f.feed(kReset.data(), 1);
  EXPECT_TRUE(drain(f).empty());
  EXPECT_EQ(f.buffered(), 1u);
  f.feed(kReset.data() + 1, kReset.size() - 1);
  EXPECT_EQ(drain(f), (std::vector<std::string>{"g6"}));
}
