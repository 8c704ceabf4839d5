#include <veliface/trigger/VelTrigger.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

TEST(VelTriggerStatus, SetStatusAndSetInactive) {
  VelTrigger_5_6 t;
  EXPECT_FALSE(t.setStatus(7));  // 7 means inactive, which it already is
  EXPECT_TRUE(t.setStatus(2));
  EXPECT_EQ(t.trgRegime(), TRIG_CONFIRMED);
  EXPECT_FALSE(t.setStatus(2));
  EXPECT_TRUE(t.setStatus(0xFF));
  EXPECT_EQ(t.trgRegime(), TRIG_INACTIVE);

  auto& ev = t.eventTrg();
  const auto load = [&] {
    ev = VelTrigger_5_6::SEventTrigger();
    ev.regime = TRIG_HOLDING;
    ev.eventStart = 11;
    ev.intervalStart = 12;
    ev.eventEnd = 13;
    ev.hitCount = 14;
  };
  load();
  t.setInactive(1);
  EXPECT_EQ(ev.regime, TRIG_INACTIVE);
  EXPECT_EQ(ev.eventStart, 0);
  EXPECT_EQ(ev.eventEnd, 0);
  EXPECT_EQ(ev.intervalStart, 12);
  EXPECT_EQ(ev.hitCount, 14u);
  for (int n : {0, -3}) {
    load();
    t.setInactive(n);
    VelTrigger_5_6::SEventTrigger idle;
    EXPECT_TRUE(ev == idle) << n;
  }
}

TEST(VelTriggerErrorText, CodesClassesAndPrefixes) {
  VelTrigger_5_6 band(5);
  VelTrigger_0_1 plain(1);
  const VelTrigger& bandBase = band;
  struct Case {
    uint8 code;
    std::string text;
  };
  const Case kTexts[] = {
      {0, ""},
      {3, "Low Limit Out of Range, High Limit Out of Range"},
      {20, "Too Much Data to Log WAV files, Threshold Invalid"},
      {31,
       "Low Limit Out of Range, High Limit Out of Range, Too Much Data to Log WAV files, "
       "Too Much Data to Log FFT files, Threshold Invalid"},
      {32, ""},
      {244, ""},
      {245, "Trigger setup payload too small"},
      {247, ""},
      {249, "Min Frequency > Max Frequency"},
      {250, "Trigger Not Found"},
      {255, "Unit Not Ready"},
  };
  for (const Case& c : kTexts) {
    SCOPED_TRACE(static_cast<int>(c.code));
    plain.setErrorCode(c.code);
    band.setErrorCode(c.code);
    EXPECT_EQ(VelTrigger::errorText(c.code), c.text);
    EXPECT_EQ(plain.errorMes(false), c.text);
    EXPECT_EQ(plain.errorMes(true), c.text);  // only band triggers name themselves
    EXPECT_EQ(band.errorMes(true), c.text.empty() ? "" : "Trigger 1 error: " + c.text);
    EXPECT_EQ(bandBase.errorMes(false), c.text.empty() ? "" : "Trigger 0 " + c.text);
  }

  band.setErrorCode(250);
  band.setTrigNum(4);
  EXPECT_EQ(band.errorMes(true), "Trigger 5 error: Trigger Not Found");
  EXPECT_EQ(band.errorMes(false), "Trigger 4 Trigger Not Found");
  band.setErrorCode(3);
  band.setTrigNum(255);
  EXPECT_EQ(band.errorMes(true),
            "Trigger 256 error: Low Limit Out of Range, High Limit Out of Range");
}

// One spectrum of a few bins for the detector.
struct Spectrum {
  std::shared_ptr<double[]> freqs, levels;
  int n;
};

Spectrum spectrum(const std::vector<std::pair<double, double>>& bins) {
  const int n = static_cast<int>(bins.size());
  Spectrum s{std::shared_ptr<double[]>(new double[bins.size() + 1]),
             std::shared_ptr<double[]>(new double[bins.size() + 1]), n};
  for (int i = 0; i < n; ++i) {
    s.freqs[i] = bins[static_cast<std::size_t>(i)].first;
    s.levels[i] = bins[static_cast<std::size_t>(i)].second;
  }
  return s;
}

// True when one evaluation from idle starts an event.
bool hits(const VelTrigger_5_6& proto, const Spectrum& s, double floor) {
  VelTrigger_5_6 t(proto);
  t.calcTrigDataEx(10, s.freqs, s.levels, s.n, 0, floor);
  return t.trgRegime() == TRIG_BEGUN;
}

TEST(VelTriggerDetect, WhatCountsAsAHit) {
  VelTrigger_5_6 t5(5);
  t5.setThreshold(100);
  t5.setMinFreq(1000);
  t5.setMaxFreq(2000);
  VelTrigger_5_6 t6(t5);
  t6.setTestType(6);
  struct Case {
    const VelTrigger_5_6* trig;
    double freq, level, floor;
    bool hit;
  };
  const Case kCases[] = {
      {&t5, 1500, 100, 0, true},    {&t5, 999.5, 100, 0, false}, {&t5, 1000, 100, 0, true},
      {&t5, 2000, 150, 0, true},    {&t5, 2000.5, 150, 0, false}, {&t5, 1500, 99.9, 0, false},
      {&t5, 1500, 100, 100, false},  // at the floor never hits
      {&t6, 1500, 100, 0, true},    {&t6, 1500, 101, 0, false},  {&t6, 1500, 50, 0, true},
      {&t6, 1500, 50, 50, false},   {&t6, 2500, 50, 0, false},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(hits(*c.trig, spectrum({{c.freq, c.level}}), c.floor), c.hit)
        << "type " << c.trig->testType() << " f=" << c.freq << " l=" << c.level;
  }

  // Any bin may hit; no bins never do; other test types never do.
  const Spectrum two = spectrum({{500, 200}, {1500, 200}});
  EXPECT_TRUE(hits(t5, two, 0));
  EXPECT_FALSE(hits(t5, Spectrum{two.freqs, two.levels, 0}, 0));
  VelTrigger_5_6 t7(t5);
  t7.setTestType(7);
  EXPECT_FALSE(hits(t7, two, 0));

  // Band edges are held at single precision: 2^24 + 1 becomes 2^24.
  VelTrigger_5_6 wide(t5);
  wide.setMinFreq(16777217u);
  wide.setMaxFreq(16777300u);
  EXPECT_TRUE(hits(wide, spectrum({{16777216.0, 200}}), 0));
}

TEST(VelTriggerDetect, RegimeWalkThroughAnEvent) {
  VelTrigger_5_6 t(5);
  t.setThreshold(100);
  t.setMinFreq(1000);
  t.setMaxFreq(2000);
  t.setDuration(5);
  t.setPreTrigger(2);
  t.setEventHold(3);
  const Spectrum hit = spectrum({{1500, 120}});
  const Spectrum miss = spectrum({{1500, 10}});
  struct Step {
    long long t;
    bool hit;
    TrigRegime regime;
    int64 eventStart, eventEnd;
  };
  const Step kWalk[] = {
      {10, true, TRIG_BEGUN, 10, 0},       // first hit begins the event
      {17, true, TRIG_BEGUN, 10, 0},       // 17 - 10 = 7 is not more than 5 + 2
      {18, true, TRIG_CONFIRMED, 10, 18},  // 8 > 7 confirms
      {20, false, TRIG_HOLDING, 18, 18},   // within hold of 18; start moves to 20 - 2
      {21, true, TRIG_HOLDING, 18, 18},    // a hit in hold does not confirm by itself...
      {26, true, TRIG_CONFIRMED, 18, 26},  // ...unless 26 - 18 = 8 > 7
      {28, false, TRIG_HOLDING, 26, 26},
      {29, false, TRIG_HOLDING, 26, 26},   // already holding: nothing moves
      {30, false, TRIG_INACTIVE, 0, 0},    // 30 - 26 = 4 > 3: back to idle
      {31, false, TRIG_INACTIVE, 0, 0},
  };
  for (const Step& s : kWalk) {
    t.calcTrigDataEx(s.t, (s.hit ? hit : miss).freqs, (s.hit ? hit : miss).levels, 1, 0, 0);
    const auto& ev = t.eventTrg();
    EXPECT_EQ(ev.regime, s.regime) << "t=" << s.t;
    EXPECT_EQ(ev.eventStart, s.eventStart) << "t=" << s.t;
    EXPECT_EQ(ev.eventEnd, s.eventEnd) << "t=" << s.t;
    EXPECT_EQ(ev.hitCount, 0u) << "t=" << s.t;  // no interval: hits are not counted
  }

  // The shorter walk of the protocol's example ends idle at t = 22 with every time cleared.
  VelTrigger_5_6 u(t);
  u.setInactive(0);
  for (long long when : {10, 17, 18}) u.calcTrigDataEx(when, hit.freqs, hit.levels, 1, 0, 0);
  u.calcTrigDataEx(20, miss.freqs, miss.levels, 1, 0, 0);
  EXPECT_EQ(u.trgRegime(), TRIG_HOLDING);
  EXPECT_EQ(u.eventTrg().eventStart, 18);
  u.eventTrg().hitCount = 5;
  u.eventTrg().intervalStart = 4;
  u.calcTrigDataEx(22, miss.freqs, miss.levels, 1, 0, 0);
  VelTrigger_5_6::SEventTrigger idle;
  EXPECT_TRUE(u.eventTrg() == idle);
}

TEST(VelTriggerDetect, HitsAreCountedPerInterval) {
  VelTrigger_5_6 t(5);
  t.setThreshold(100);
  t.setMinFreq(1000);
  t.setMaxFreq(2000);
  const Spectrum hit = spectrum({{1500, 120}});
  const Spectrum miss = spectrum({{1500, 10}});
  const auto& ev = t.eventTrg();

  t.calcTrigDataEx(3, hit.freqs, hit.levels, 1, 10, 0);  // 3 - 0 < 10: same interval
  EXPECT_EQ(ev.intervalStart, 0);
  EXPECT_EQ(ev.hitCount, 1u);
  t.calcTrigDataEx(10, hit.freqs, hit.levels, 1, 10, 0);  // 10 - 0 >= 10: new interval
  EXPECT_EQ(ev.intervalStart, 10);
  EXPECT_EQ(ev.hitCount, 1u);
  t.calcTrigDataEx(15, hit.freqs, hit.levels, 1, 10, 0);
  EXPECT_EQ(ev.hitCount, 2u);
  // Going idle with an interval keeps the count and the interval.
  t.calcTrigDataEx(16, miss.freqs, miss.levels, 1, 10, 0);
  EXPECT_EQ(ev.regime, TRIG_INACTIVE);
  EXPECT_EQ(ev.hitCount, 2u);
  EXPECT_EQ(ev.intervalStart, 10);
  t.calcTrigDataEx(20, miss.freqs, miss.levels, 1, 10, 0);
  EXPECT_EQ(ev.intervalStart, 20);
  EXPECT_EQ(ev.hitCount, 0u);
}

}  // namespace
