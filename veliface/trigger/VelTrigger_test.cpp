#include <veliface/trigger/VelTrigger.h>

#include <gtest/gtest.h>

#include <random>
#include <typeinfo>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;

// A band-trigger body with a distinct value in every field: trigNum 7, enabled 1,
// duration 0x0102, eventHold 0x0304, band 1000-2000 Hz, threshType 0x0506, threshold -2,
// effect 0x0708, preTrigger 0x090A.
const Bytes kBandBody = {0x07, 0x01, 0x02, 0x01, 0x04, 0x03, 0xE8, 0x03, 0x00, 0x00, 0xD0,
                         0x07, 0x00, 0x00, 0x06, 0x05, 0xFE, 0xFF, 0x08, 0x07, 0x0A, 0x09};

Bytes cat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes written(const VelTrigger& t, uint64 startLen = 0) {
  Bytes buf(64, 0xEE);
  uint64 len = startLen;
  t.serialize(&len, buf.data());
  EXPECT_GE(len, startLen);
  buf.resize(static_cast<std::size_t>(len - startLen));
  return buf;
}

void expectBandBody(const VelTrigger_5_6& t) {
  EXPECT_EQ(t.trigNum(), 7);
  EXPECT_EQ(t.enabled(), 1);
  EXPECT_EQ(t.duration(), 0x0102);
  EXPECT_EQ(t.eventHold(), 0x0304);
  EXPECT_EQ(t.minFreq(), 1000u);
  EXPECT_EQ(t.maxFreq(), 2000u);
  EXPECT_EQ(t.threshType(), 0x0506);
  EXPECT_EQ(t.threshold(), -2);
  EXPECT_EQ(t.effect(), 0x0708);
  EXPECT_EQ(t.preTrigger(), 0x090A);
}

TEST(VelTriggerLayout, OutgoingRecordsOfEveryClass) {
  VelTrigger_5_6 band(5);
  const Bytes defaultSetup = {0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                              0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                              0x00, 0x00, 0x00, 0x00, 0x20, 0x00, 0x00, 0x00};
  EXPECT_EQ(written(band), defaultSetup);

  band.setTrigNum(7);
  band.setCommandCode(0x54);
  EXPECT_EQ(band.commandCode(), 0x54);
  EXPECT_EQ(written(band), (Bytes{0x05, 0x00, 0x07, 0x07}));

  // Every field in its place and byte order.
  VelTrigger_5_6 full(6);
  full.setTrigNum(7);
  full.setEnabled(1);
  full.setDuration(0x0102);
  full.setEventHold(0x0304);
  full.setMinFreq(1000);
  full.setMaxFreq(2000);
  full.setThreshType(0x0506);
  full.setThreshold(-2);
  full.setEffect(0x0708);
  full.setPreTrigger(0x090A);
  EXPECT_EQ(written(full), cat({0x06, 0x00}, kBandBody));

  VelTrigger_0_1 t01(1);
  t01.setParam5(0xDEADBEEF);
  EXPECT_EQ(written(t01), (Bytes{0x01, 0x00}));
  EXPECT_EQ(written(VelTrigger(3)), (Bytes{0x03, 0x00}));

  // Type 4 adds nothing at all, whatever it holds.
  VelTrigger_4 t4;
  t4.setParam0(9);
  Bytes buf(4, 0xEE);
  uint64 len = 5;
  t4.serialize(&len, buf.data());
  EXPECT_EQ(len, 5u);
  EXPECT_EQ(buf, Bytes(4, 0xEE));

  // A running length is added to, and the record starts at buf, not buf + *len.
  EXPECT_EQ(written(full, 10), cat({0x06, 0x00}, kBandBody));
}

TEST(VelTriggerLayout, BaseAndBodyWritersUsedByTheEnquiry) {
  VelTrigger_5_6 t(6);
  Bytes buf(30, 0xEE);
  uint8* p = buf.data();
  uint64 len = 0;
  t.serializeBase(&len, &p);
  EXPECT_EQ(len, 2u);
  EXPECT_EQ(p, buf.data() + 2);
  t.serialize_5_6(&len, p);
  EXPECT_EQ(len, 24u);
  EXPECT_EQ(buf[0], 0x06);
  EXPECT_EQ(buf[20], 0x20);  // effect, low byte
  EXPECT_EQ(buf[23], 0x00);  // preTrigger, high byte
  EXPECT_EQ(buf[24], 0xEE);  // nothing past the body
}

TEST(VelTriggerDecode, ErrorCodedAndLengthPrefixedForms) {
  const Bytes e = cat({0x02, 0x05, 0x00}, kBandBody);
  ByteStream se(e.data(), e.size());
  std::unique_ptr<VelTrigger> rec(VelTrigger::deserialize(&se));
  ASSERT_TRUE(rec);
  auto* band = dynamic_cast<VelTrigger_5_6*>(rec.get());
  ASSERT_NE(band, nullptr);
  EXPECT_EQ(band->errorCode(), 2);
  EXPECT_EQ(band->testType(), 5);
  EXPECT_EQ(band->payloadLen(), 0);
  EXPECT_EQ(band->commandCode(), 0x53);
  expectBandBody(*band);
  EXPECT_EQ(se.bytesAvailable(), 0u);

  const Bytes p = cat({0x18, 0x00, 0x06, 0x00}, kBandBody);
  ByteStream sp(p.data(), p.size());
  std::shared_ptr<VelTrigger> recP = VelTrigger::deserializeP(&sp);
  ASSERT_TRUE(recP);
  EXPECT_EQ(recP->payloadLen(), 0x18);
  EXPECT_EQ(recP->errorCode(), 0);
  EXPECT_EQ(recP->testType(), 6);
  expectBandBody(dynamic_cast<VelTrigger_5_6&>(*recP));
  EXPECT_EQ(sp.bytesAvailable(), 0u);

  // The same bytes through the control payload factory.
  std::unique_ptr<VelTrigger> viaCreate(VelTrigger::create(e.data(), e.size()));
  ASSERT_TRUE(viaCreate);
  EXPECT_TRUE(*viaCreate == *rec);
}

TEST(VelTriggerDecode, ClassChosenByTestType) {
  const Bytes t01 = {0x00, 0x01, 0x00, 0x01, 0x00, 0x02, 0x00, 0x03,
                     0x00, 0x04, 0x00, 0x05, 0x00, 0x06, 0x00, 0x00, 0x01};
  ByteStream s01(t01.data(), t01.size());
  std::unique_ptr<VelTrigger> r01(VelTrigger::deserialize(&s01));
  auto* p01 = dynamic_cast<VelTrigger_0_1*>(r01.get());
  ASSERT_NE(p01, nullptr);
  EXPECT_EQ(p01->testType(), 1);
  EXPECT_EQ(p01->param0(), 1);
  EXPECT_EQ(p01->param4(), 5);
  EXPECT_EQ(p01->param5(), 0x01000006u);
  EXPECT_EQ(s01.bytesAvailable(), 0u);

  const Bytes t4 = {0x02, 0x00, 0x04, 0x00, 0xAB, 0xCD, 0x99};
  ByteStream s4(t4.data(), t4.size());
  std::shared_ptr<VelTrigger_4> r4 = VelTrigger_4::deserializeP(&s4);
  ASSERT_TRUE(r4);
  EXPECT_EQ(r4->param0(), 0xAB);
  EXPECT_EQ(r4->param1(), 0xCD);
  EXPECT_EQ(r4->payloadLen(), 2);
  EXPECT_EQ(s4.bytesAvailable(), 1u);

  // A class's own reader refuses a record of another class.
  const Bytes band = cat({0x00, 0x05, 0x00}, kBandBody);
  ByteStream sb(band.data(), band.size());
  EXPECT_EQ(VelTrigger_4::deserialize(&sb), nullptr);
  ByteStream sb2(band.data(), band.size());
  std::unique_ptr<VelTrigger_5_6> ok(VelTrigger_5_6::deserialize(&sb2));
  ASSERT_TRUE(ok);
  expectBandBody(*ok);
}

TEST(VelTriggerDecode, UndecodableTypesConsumeOnlyTheHeader) {
  for (uint16 type : {2, 3, 7, 8, 0x0500, 0xFFFF}) {
    SCOPED_TRACE(type);
    const uint8 lo = static_cast<uint8>(type & 0xFF), hi = static_cast<uint8>(type >> 8);
    const Bytes e = cat({0x01, lo, hi}, kBandBody);
    ByteStream se(e.data(), e.size());
    EXPECT_EQ(VelTrigger::deserialize(&se), nullptr);
    EXPECT_EQ(se.bytesAvailable(), kBandBody.size());

    const Bytes p = cat({0x16, 0x00, lo, hi}, kBandBody);
    ByteStream sp(p.data(), p.size());
    EXPECT_FALSE(VelTrigger::deserializeP(&sp));
    EXPECT_EQ(sp.bytesAvailable(), kBandBody.size());
  }
  // A header cut short yields nothing rather than a record of invented type 0.
  const Bytes shortHeader = {0x00, 0x05};
  ByteStream s(shortHeader.data(), shortHeader.size());
  EXPECT_EQ(VelTrigger::deserialize(&s), nullptr);
  ByteStream sp(shortHeader.data(), shortHeader.size());
  EXPECT_FALSE(VelTrigger::deserializeP(&sp));
}

TEST(VelTriggerDecode, ShortBodyKeepsDefaultsOfUnreadFields) {
  // Header plus trigNum, enabled and duration; eventHold is cut after one byte.
  const Bytes e = {0x00, 0x05, 0x00, 0x03, 0x01, 0x10, 0x00, 0x44};
  std::unique_ptr<VelTrigger> rec(VelTrigger::create(e.data(), e.size()));
  auto* band = dynamic_cast<VelTrigger_5_6*>(rec.get());
  ASSERT_NE(band, nullptr);
  EXPECT_EQ(band->trigNum(), 3);
  EXPECT_EQ(band->duration(), 0x10);
  EXPECT_EQ(band->eventHold(), 0);
  EXPECT_EQ(band->effect(), 32);
}

TEST(VelTriggerEquality, FieldsThatCountAndThoseThatDoNot) {
  VelTrigger_5_6 a(5), b(5);
  b.eventTrg().regime = TRIG_CONFIRMED;
  b.eventTrg().eventStart = 99;
  b.eventTrg().hitCount = 4;
  EXPECT_TRUE(a == b);
  const VelTrigger& baseB = b;
  EXPECT_TRUE(static_cast<const VelTrigger&>(a) == baseB);

  b.eventTrg().flag = 0;
  EXPECT_FALSE(a == b);
  EXPECT_FALSE(static_cast<const VelTrigger&>(a) == baseB);
  b.eventTrg().flag = 1;

  b.setPreTrigger(1);
  EXPECT_FALSE(a == b);
  b.setPreTrigger(0);
  b.setTestType(6);
  EXPECT_FALSE(a == b);

  // Error code, payload length and command are not part of a record.
  VelTrigger_0_1 c(1), d(1);
  d.setErrorCode(5);
  d.setPayloadLen(14);
  d.setCommandCode(0x54);
  EXPECT_TRUE(c == d);
  d.setParam5(1);
  EXPECT_TRUE(c != d);

  VelTrigger_4 e4, f4;
  f4.setParam1(1);
  EXPECT_FALSE(e4 == f4);

  // Records of different classes never compare equal, even with the same test type.
  EXPECT_FALSE(VelTrigger(5) == a);
  EXPECT_FALSE(static_cast<const VelTrigger&>(a) == VelTrigger(5));
  EXPECT_TRUE(VelTrigger(3) == VelTrigger(3));
}

TEST(VelTriggerDecode, AnyBytesParseWithoutHarm) {
  std::mt19937 rng(20240611);
  std::uniform_int_distribution<int> byte(0, 255);
  std::uniform_int_distribution<int> size(0, 40);
  for (int round = 0; round < 4000; ++round) {
    Bytes in(static_cast<std::size_t>(size(rng)));
    // Mostly valid test types, so that bodies are read as well as refused.
    for (auto& b : in) b = static_cast<uint8>(byte(rng));
    if (in.size() > 3 && round % 2) in[2] = static_cast<uint8>(round % 8);
    if (in.size() > 3) in[3] = 0;

    for (bool prefixed : {false, true}) {
      ByteStream s(in.data(), in.size());
      std::shared_ptr<VelTrigger> rec = prefixed
                                            ? VelTrigger::deserializeP(&s)
                                            : std::shared_ptr<VelTrigger>(VelTrigger::deserialize(&s));
      const std::size_t header = prefixed ? 4 : 3;
      if (in.size() < header) {
        ASSERT_FALSE(rec);
        continue;
      }
      const uint16 type = static_cast<uint16>(in[header - 2] | (in[header - 1] << 8));
      std::unique_ptr<VelTrigger> expected = VelTrigger::makeRecord(type);
      ASSERT_EQ(!rec, !expected) << "round " << round;
      if (rec) {
        ASSERT_EQ(rec->testType(), type);
        const VelTrigger& got = *rec;
        const VelTrigger& want = *expected;
        ASSERT_TRUE(typeid(got) == typeid(want));
      } else {
        ASSERT_EQ(s.bytesAvailable(), in.size() - header);
      }
    }
  }
}

}  // namespace
