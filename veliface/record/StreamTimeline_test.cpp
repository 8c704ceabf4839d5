#include <veliface/record/StreamTimeline.h>

#include <gtest/gtest.h>

using veliface::record::StreamTimeline;
using Step = StreamTimeline::Step;

TEST(StreamTimeline, HeadersOneSecondApartContinueAnythingElseStartsOver) {
  StreamTimeline t;
  EXPECT_EQ(t.header(100, 0, 8000), Step::Start);
  EXPECT_EQ(t.header(101, 2000, 8000), Step::Continue);  // the short first interval
  EXPECT_EQ(t.header(102, 10000, 8000), Step::Continue);
  EXPECT_EQ(t.header(103, 18003, 8000), Step::Continue);  // a clock a few samples fast
  // A second skipped (a duty cycle's pause, or a header that never came).
  EXPECT_EQ(t.header(105, 34003, 8000), Step::Restart);
  EXPECT_NE(t.restartReason().find("from second 103 to 105"), std::string::npos) << t.restartReason();
  // The count going back (a device reset), or far too far in one second.
  EXPECT_EQ(t.header(106, 5, 8000), Step::Restart);
  EXPECT_EQ(t.header(107, 30000, 8000), Step::Restart);
  // The rate changing, and the clock repeating a second.
  EXPECT_EQ(t.header(108, 38000, 16000), Step::Restart);
  EXPECT_EQ(t.header(108, 54000, 16000), Step::Restart);
  EXPECT_NE(t.restartReason().find("repeated second 108"), std::string::npos) << t.restartReason();
}

TEST(StreamTimeline, BlocksArePlacedByTheirDistanceFromTheNextExpectedSample) {
  StreamTimeline t;
  t.header(100, 0, 8000);
  EXPECT_EQ(t.place(1000).gap, 1000);  // the stream's first block came late
  t.advance(2000);                     // the gap filled, the block written
  EXPECT_EQ(t.place(2000).gap, 0);
  t.advance(1000);
  const auto repeated = t.place(2500);
  EXPECT_EQ(repeated.gap, -500);
  EXPECT_EQ(repeated.position, 2500u);
  t.header(101, 8000, 8000);
  EXPECT_EQ(t.gapBeforeHeader(), 5000u);  // samples 3000..7999 never came
}

TEST(StreamTimeline, ThirtyTwoBitSampleNumbersAreFollowedAcrossTheirWrap) {
  StreamTimeline t;
  const uint64 nearWrap = 0xFFFFF000ull;
  t.header(100, nearWrap, 512000);
  EXPECT_EQ(t.place(static_cast<uint32>(nearWrap)).gap, 0);
  t.advance(0x1000);
  // Past 2^32 the block's number starts again from 0; the stream position goes on.
  const auto next = t.place(0);
  EXPECT_EQ(next.gap, 0);
  EXPECT_EQ(next.position, 0x100000000ull);
  t.advance(100);
  EXPECT_EQ(t.place(200).position, 0x100000000ull + 200);
  EXPECT_EQ(t.place(200).gap, 100);
}

TEST(StreamTimeline, BlocksCountedApartFromTheHeadersAreTakenFromTheHeader) {
  StreamTimeline t;
  t.header(100, 123456789, 8000);
  // A device that counts its blocks from 0 while its headers count since power-on.
  EXPECT_EQ(t.place(0).gap, 0);
  EXPECT_EQ(t.place(0).position, 123456789u);
  t.advance(1000);
  EXPECT_EQ(t.place(1000).gap, 0);
  EXPECT_EQ(t.place(1500).gap, 500);
}
