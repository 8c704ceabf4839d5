#include <veliface/stream/VelScanStreamConv.h>

#include <gtest/gtest.h>

#include <LogCapture.h>

#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

// Brings a converter to expect `expected` next; whatever that logs is discarded.
void expectNext(VelScanStreamConv& conv, LogCapture& log, uint16 expected) {
  if (expected > 0) conv.checkSequence(static_cast<uint16>(expected - 1));
  ASSERT_EQ(conv.next(), expected);
  log.clear();
}

TEST(VelScanStreamConv, InOrderBlocksAndTheRolloverAreNoLoss) {
  LogCapture log;
  VelScanStreamConv conv;
  EXPECT_FALSE(conv.checkSequence(0));  // a new converter expects 0
  EXPECT_FALSE(conv.checkSequence(1));
  EXPECT_TRUE(log.lines().empty());

  expectNext(conv, log, 65534);
  EXPECT_FALSE(conv.checkSequence(65534));
  EXPECT_FALSE(conv.checkSequence(65535));
  EXPECT_EQ(conv.next(), 0x10000u);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(conv.checkSequence(0));
  EXPECT_EQ(log.lines(), (Lines{"single step rollover: total: 1 (cur: 0, next: 65536)"}));
  EXPECT_FALSE(conv.checkSequence(1));
  EXPECT_EQ(conv.next(), 2u);
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST(VelScanStreamConv, RolloversAccumulateUntilALoss) {
  LogCapture log;
  VelScanStreamConv conv;
  for (int lap = 1; lap <= 2; ++lap) {
    for (uint32 seq = (lap == 1 ? 0 : 1); seq <= 0xFFFF; ++seq) {
      ASSERT_FALSE(conv.checkSequence(static_cast<uint16>(seq)));
    }
    EXPECT_FALSE(conv.checkSequence(0));
  }
  EXPECT_EQ(log.lines(), (Lines{"single step rollover: total: 1 (cur: 0, next: 65536)",
                                "single step rollover: total: 2 (cur: 0, next: 65536)"}));
  EXPECT_EQ(conv.rollovers(), 2u);

  EXPECT_TRUE(conv.checkSequence(65535));  // a loss resets the count
  EXPECT_EQ(conv.rollovers(), 0u);
  log.clear();
  EXPECT_FALSE(conv.checkSequence(0));
  EXPECT_EQ(log.lines(), (Lines{"single step rollover: total: 1 (cur: 0, next: 65536)"}));
}

TEST(VelScanStreamConv, GapsAreReportedAsLosses) {
  struct Case {
    uint16 expected;
    uint16 cur;
    const char* line;
  };
  const Case cases[] = {
      {5, 10, "ordinary data loss (no roll): lost: 5 (cur: 10, next: 5)"},
      {65534, 3, "ordinary data loss (rolled): lost: 5 (cur: 3, next: 65534)"},
      {0, 7, "ordinary data loss (no roll): lost: 7 (cur: 7, next: 0)"},
      // A block from the past counts as nearly a whole lap lost.
      {5, 4, "ordinary data loss (rolled): lost: 65535 (cur: 4, next: 5)"},
      // Blocks 0xFFFF and 0 missing: lost across the roll.
      {0xFFFF, 1, "ordinary data loss (rolled): lost: 2 (cur: 1, next: 65535)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    LogCapture log;
    VelScanStreamConv conv;
    expectNext(conv, log, c.expected);
    EXPECT_TRUE(conv.checkSequence(c.cur));
    EXPECT_EQ(log.lines(), (Lines{c.line}));
    EXPECT_EQ(conv.next(), c.cur + 1u);
    EXPECT_FALSE(conv.checkSequence(static_cast<uint16>(c.cur + 1)));
  }

  // After 0xFFFF the converter expects 0x10000: block 1 is a loss across the roll.
  LogCapture log;
  VelScanStreamConv conv;
  expectNext(conv, log, 0xFFFF);
  EXPECT_FALSE(conv.checkSequence(0xFFFF));
  EXPECT_TRUE(conv.checkSequence(1));
  EXPECT_EQ(log.lines(), (Lines{"ordinary data loss (rolled): lost: 1 (cur: 1, next: 65536)"}));
}

}  // namespace
