#include <veliface/trigger/VelTrigger.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<uint8>;

// Band body: trigNum 7, enabled 1, duration 0x0102, eventHold 0x0304, band 1000-2000 Hz,
// threshType 0x0506, threshold -2, effect 0x0708, preTrigger 0x090A.
const Bytes kBandBody = {0x07, 0x01, 0x02, 0x01, 0x04, 0x03, 0xE8, 0x03, 0x00, 0x00, 0xD0,
                         0x07, 0x00, 0x00, 0x06, 0x05, 0xFE, 0xFF, 0x08, 0x07, 0x0A, 0x09};

Bytes cat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes written(const VelTrigger& t) {
  Bytes buf(32, 0xEE);
  uint64 len = 10;  // a running total is added to; the record still starts at buf
  t.serialize(&len, buf.data());
  buf.resize(static_cast<std::size_t>(len - 10));
  return buf;
}

TEST(VelTrigger, OutgoingLayouts) {
  VelTrigger_5_6 band(5);
  EXPECT_EQ(written(band), (Bytes{0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                                  0x00, 0x00, 0x00, 0x00, 0x20, 0x00, 0x00, 0x00}));
  band.setTrigNum(7);
  band.setCommandCode(0x54);
  EXPECT_EQ(written(band), (Bytes{0x05, 0x00, 0x07, 0x07}));

  const Bytes in = cat({0x00, 0x06, 0x00}, kBandBody);
  std::unique_ptr<VelTrigger> decoded(VelTrigger::create(in.data(), in.size()));
  EXPECT_EQ(written(*decoded), cat({0x06, 0x00}, kBandBody));  // every field in place
  EXPECT_EQ(written(VelTrigger_0_1(1)), (Bytes{0x01, 0x00}));
  EXPECT_EQ(written(VelTrigger_4()), Bytes{});  // type 4 adds nothing to a command
}

TEST(VelTrigger, BothIncomingFormsAndEveryClass) {
  const Bytes e = cat({0x02, 0x05, 0x00}, kBandBody);
  ByteStream se(e.data(), e.size());
  std::unique_ptr<VelTrigger> rec(VelTrigger::deserialize(&se));
  auto* band = dynamic_cast<VelTrigger_5_6*>(rec.get());
  ASSERT_NE(band, nullptr);
  EXPECT_EQ(band->errorCode(), 2);
  EXPECT_EQ(band->testType(), 5);
  EXPECT_EQ(band->commandCode(), 0x53);
  EXPECT_EQ(band->trigNum(), 7);
  EXPECT_EQ(band->minFreq(), 1000u);
  EXPECT_EQ(band->threshold(), -2);
  EXPECT_EQ(band->preTrigger(), 0x090A);
  EXPECT_EQ(se.bytesAvailable(), 0u);

  const Bytes p = {0x0E, 0x00, 0x01, 0x00, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 0, 1, 0x99};
  ByteStream sp(p.data(), p.size());
  std::shared_ptr<VelTrigger_0_1> t01 = VelTrigger_0_1::deserializeP(&sp);
  ASSERT_TRUE(t01);
  EXPECT_EQ(t01->payloadLen(), 14);
  EXPECT_EQ(t01->testType(), 1);
  EXPECT_EQ(t01->param4(), 5);
  EXPECT_EQ(t01->param5(), 0x01000006u);
  EXPECT_EQ(sp.bytesAvailable(), 1u);

  const Bytes four = {0x00, 0x04, 0x00, 0xAB, 0xCD};
  ByteStream s4(four.data(), four.size());
  EXPECT_EQ(VelTrigger_5_6::deserialize(&s4), nullptr);  // a class reads only its own types

  // Undecodable types (and a short header) consume only the header.
  for (uint8 type : {2, 3, 7, 0xFF}) {
    const Bytes ue = cat({0x01, type, 0x00}, kBandBody);
    ByteStream sue(ue.data(), ue.size());
    EXPECT_EQ(VelTrigger::deserialize(&sue), nullptr);
    EXPECT_EQ(sue.bytesAvailable(), 22u);
    const Bytes up = cat({0x16, 0x00, type, 0x00}, kBandBody);
    ByteStream sup(up.data(), up.size());
    EXPECT_FALSE(VelTrigger::deserializeP(&sup));
    EXPECT_EQ(sup.bytesAvailable(), 22u);
  }
  EXPECT_EQ(VelTrigger::create(e.data(), 2), nullptr);
}

TEST(VelTrigger, EqualityIgnoresDetectorStateButNotFlag) {
  VelTrigger_5_6 a(5), b(5);
  b.eventTrg().regime = TRIG_CONFIRMED;
  b.eventTrg().eventStart = 99;
  b.setErrorCode(4);
  EXPECT_TRUE(a == b);
  b.eventTrg().flag = 0;
  EXPECT_FALSE(a == b);
  EXPECT_FALSE(static_cast<const VelTrigger&>(a) == static_cast<const VelTrigger&>(b));
  b.eventTrg().flag = 1;
  b.setPreTrigger(1);
  EXPECT_FALSE(a == b);

  VelTrigger_0_1 c(1), d(1);
  d.setParam5(1);
  EXPECT_TRUE(c != d);
  EXPECT_FALSE(VelTrigger(5) == a);  // another class, same test type
  EXPECT_FALSE(VelTrigger_5_6(6) == a);
}

TEST(VelTrigger, SetStatusAndSetInactive) {
  VelTrigger_5_6 t;
  EXPECT_FALSE(t.setStatus(7));  // 7 means inactive, which it already is
  EXPECT_TRUE(t.setStatus(2));
  EXPECT_EQ(t.trgRegime(), TRIG_CONFIRMED);
  EXPECT_FALSE(t.setStatus(2));

  auto& ev = t.eventTrg();
  ev.eventStart = 11;
  ev.intervalStart = 12;
  ev.eventEnd = 13;
  ev.hitCount = 14;
  t.setInactive(1);
  EXPECT_EQ(ev.regime, TRIG_INACTIVE);
  EXPECT_EQ(ev.eventStart + ev.eventEnd, 0);
  EXPECT_EQ(ev.intervalStart, 12);
  EXPECT_EQ(ev.hitCount, 14u);
  t.setInactive(0);
  EXPECT_TRUE(ev == VelTrigger_5_6::SEventTrigger());
}

TEST(VelTrigger, TheBodyReaderIsThatOfTheClassItIsCalledOn) {
  const std::vector<uint8> body(22, 0x07);
  VelTrigger_5_6 band(5);
  VelTrigger& asBase = band;
  ByteStream viaBase(body.data(), body.size());
  asBase.readData(&viaBase);  // the base record has no body: nothing is read
  EXPECT_EQ(viaBase.bytesAvailable(), body.size());
  EXPECT_EQ(band, VelTrigger_5_6(5));
  ByteStream direct(body.data(), body.size());
  band.readData(&direct);
  EXPECT_EQ(direct.bytesAvailable(), 0u);
  EXPECT_NE(band, VelTrigger_5_6(5));
}

TEST(VelTrigger, ErrorTexts) {
  VelTrigger_5_6 band(5);
  VelTrigger_0_1 plain(1);
  const VelTrigger& asBase = band;
  const std::pair<uint8, std::string> kTexts[] = {
      {0, ""}, {3, "Low Limit Out of Range, High Limit Out of Range"},
      {20, "Too Much Data to Log WAV files, Threshold Invalid"}, {32, ""}, {244, ""},
      {245, "Trigger setup payload too small"}, {247, ""}, {250, "Trigger Not Found"},
      {255, "Unit Not Ready"}};
  for (const auto& [code, text] : kTexts) {
    plain.setErrorCode(code);
    band.setErrorCode(code);
    EXPECT_EQ(plain.errorMes(true), text);  // only band triggers name themselves
    EXPECT_EQ(band.errorMes(true), text.empty() ? "" : "Trigger 1 error: " + text);
    // The band trigger's own form (zero-based number, no "error:") ...
    EXPECT_EQ(band.errorMes(false), text.empty() ? "" : "Trigger 0 " + text);
    // ... hides the base one without overriding it: through the base, as in the list of an
    // enquiry response, the base form is what comes out.
    EXPECT_EQ(asBase.errorMes(false), text);
    EXPECT_EQ(asBase.errorMes(true), text.empty() ? "" : "Trigger 1 error: " + text);
  }
}

}  // namespace
