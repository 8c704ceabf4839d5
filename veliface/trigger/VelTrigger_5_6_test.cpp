#include <veliface/trigger/VelTrigger.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

// A one-bin spectrum.
struct Bin {
  std::shared_ptr<double[]> freq{new double[1]}, level{new double[1]};
  Bin(double f, double l) { freq[0] = f, level[0] = l; }
};

VelTrigger_5_6 bandTrigger(TEST_TYPE type) {
  VelTrigger_5_6 t(type);
  t.setThreshold(100);
  t.setMinFreq(1000);
  t.setMaxFreq(2000);
  return t;
}

// True when one evaluation from idle begins an event.
bool hits(VelTrigger_5_6 t, const Bin& b, double floor, int n = 1) {
  t.calcTrigDataEx(10, b.freq, b.level, n, 0, floor);
  return t.trgRegime() == TRIG_BEGUN;
}

TEST(VelTriggerDetect, HitsByTestType) {
  const VelTrigger_5_6 t5 = bandTrigger(5), t6 = bandTrigger(6);
  EXPECT_TRUE(hits(t5, {1500, 100}, 0));
  EXPECT_FALSE(hits(t5, {1500, 99}, 0));
  EXPECT_FALSE(hits(t5, {999.5, 100}, 0));
  EXPECT_TRUE(hits(t5, {2000, 100}, 0));
  EXPECT_FALSE(hits(t5, {1500, 100}, 100));  // at the floor never hits
  EXPECT_FALSE(hits(t5, {1500, 100}, 0, 0));
  EXPECT_TRUE(hits(t6, {1500, 100}, 0));     // type 6: threshold >= level
  EXPECT_FALSE(hits(t6, {1500, 101}, 0));
  EXPECT_TRUE(hits(t6, {1500, 20}, 0));
  VelTrigger_5_6 t7 = t5;
  t7.setTestType(7);
  EXPECT_FALSE(hits(t7, {1500, 100}, 0));
  // Band edges are held at single precision: 2^24 + 1 becomes 2^24.
  VelTrigger_5_6 wide = t5;
  wide.setMinFreq(16777217u);
  wide.setMaxFreq(16777300u);
  EXPECT_TRUE(hits(wide, {16777216.0, 200}, 0));
}

TEST(VelTriggerDetect, RegimeWalk) {
  VelTrigger_5_6 t = bandTrigger(5);
  t.setDuration(5);
  t.setPreTrigger(2);
  t.setEventHold(3);
  t.eventTrg().hitCount = 9;
  t.eventTrg().intervalStart = 4;
  const Bin hit(1500, 120), miss(1500, 10);
  struct Step {
    long long t;
    bool hit;
    TrigRegime regime;
    int64 eventStart, eventEnd;
  };
  const Step kWalk[] = {
      {10, true, TRIG_BEGUN, 10, 0},
      {17, true, TRIG_BEGUN, 10, 0},       // 17 - 10 = 7 is not more than 5 + 2
      {18, true, TRIG_CONFIRMED, 10, 18},
      {20, false, TRIG_HOLDING, 18, 18},   // within hold; start moves to 20 - 2
      {22, false, TRIG_INACTIVE, 0, 0},    // 22 - 18 = 4 > 3: idle again
      {23, true, TRIG_BEGUN, 23, 0},
      {31, true, TRIG_CONFIRMED, 23, 31},
      {33, false, TRIG_HOLDING, 31, 31},
      {34, false, TRIG_HOLDING, 31, 31},   // already holding: nothing moves
      {35, true, TRIG_HOLDING, 31, 31},    // a hit in hold confirms only more than 7...
      {39, true, TRIG_CONFIRMED, 31, 39},  // ...after the moved start
  };
  for (const Step& s : kWalk) {
    const Bin& b = s.hit ? hit : miss;
    t.calcTrigDataEx(s.t, b.freq, b.level, 1, 0, 0);
    const auto& ev = t.eventTrg();
    EXPECT_EQ(ev.regime, s.regime) << "t=" << s.t;
    EXPECT_EQ(ev.eventStart, s.eventStart) << "t=" << s.t;
    EXPECT_EQ(ev.eventEnd, s.eventEnd) << "t=" << s.t;
    if (s.t == 22) {  // without an interval, going idle also clears the counting
      EXPECT_EQ(ev.hitCount, 0u);
      EXPECT_EQ(ev.intervalStart, 0);
    }
  }
}

TEST(VelTriggerDetect, HitsCountedPerInterval) {
  VelTrigger_5_6 t = bandTrigger(5);
  const Bin hit(1500, 120), miss(1500, 10);
  const auto& ev = t.eventTrg();
  t.calcTrigDataEx(3, hit.freq, hit.level, 1, 10, 0);  // 3 - 0 < 10: same interval
  EXPECT_EQ(ev.hitCount, 1u);
  t.calcTrigDataEx(10, hit.freq, hit.level, 1, 10, 0);  // 10 - 0 >= 10: a new one
  EXPECT_EQ(ev.intervalStart, 10);
  EXPECT_EQ(ev.hitCount, 1u);
  t.calcTrigDataEx(15, hit.freq, hit.level, 1, 10, 0);
  t.calcTrigDataEx(16, miss.freq, miss.level, 1, 10, 0);  // idle, count kept
  EXPECT_EQ(ev.regime, TRIG_INACTIVE);
  EXPECT_EQ(ev.hitCount, 2u);
  EXPECT_EQ(ev.intervalStart, 10);
}

}  // namespace
