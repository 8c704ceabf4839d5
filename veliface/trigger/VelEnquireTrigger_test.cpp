#include <veliface/trigger/VelEnquireTrigger.h>

#include <mavcommon/CircularByteBuffer.h>
#include <veliface/common/VelCommand.h>
#include <veliface/control/VelControlProcessor.h>

#include <gtest/gtest.h>

#include "LogCapture.h"

#include <random>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;

// Band-trigger body: trigNum 7, enabled 1, duration 0x0102, eventHold 0x0304,
// band 1000-2000 Hz, threshType 0x0506, threshold -2, effect 0x0708, preTrigger 0x090A.
const Bytes kBandBody = {0x07, 0x01, 0x02, 0x01, 0x04, 0x03, 0xE8, 0x03, 0x00, 0x00, 0xD0,
                         0x07, 0x00, 0x00, 0x06, 0x05, 0xFE, 0xFF, 0x08, 0x07, 0x0A, 0x09};

Bytes cat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// Response of count 2: a type-3 record (header only), then a type-5 record.
const Bytes kTwoRecords = cat({0x02, 0x16, 0x00, 0x03, 0x00, 0x18, 0x00, 0x05, 0x00}, kBandBody);

TEST(VelEnquireTriggerDecode, ListOfRecords) {
  const Bytes none = {0x00};
  std::unique_ptr<VelEnquireTrigger> empty(VelEnquireTrigger::create(none.data(), none.size()));
  EXPECT_TRUE(empty->triggers().empty());

  std::unique_ptr<VelEnquireTrigger> e(
      VelEnquireTrigger::create(kTwoRecords.data(), kTwoRecords.size()));
  const auto list = e->triggers();
  ASSERT_EQ(list.size(), 2u);
  EXPECT_FALSE(list[0]);
  auto* band = dynamic_cast<VelTrigger_5_6*>(list[1].get());
  ASSERT_NE(band, nullptr);
  EXPECT_EQ(band->payloadLen(), 0x18);
  EXPECT_EQ(band->trigNum(), 7);
  EXPECT_EQ(band->preTrigger(), 0x090A);
}

TEST(VelEnquireTriggerDecode, AnyCountAndAnyTruncation) {
  // Four records (types 3, 5, 0 and 4) ending at these offsets; cut anywhere, announcing any
  // count, sometimes with scrambled bytes.
  Bytes full = cat(kTwoRecords, {0x10, 0, 0, 0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 0, 0});
  full = cat(full, {0x02, 0x00, 0x04, 0x00, 0xAA, 0xBB});
  full[0] = 4;
  const std::size_t kEnds[] = {5, 31, 49, 55};
  std::unique_ptr<VelEnquireTrigger> whole(VelEnquireTrigger::create(full.data(), full.size()));
  ASSERT_EQ(whole->triggers().size(), 4u);
  ASSERT_TRUE(whole->triggers()[3] && whole->triggers()[2]);
  std::mt19937 rng(7411);
  for (int round = 0; round < 3000; ++round) {
    Bytes in(full.begin(), full.begin() + static_cast<long>(rng() % (full.size() + 1)));
    if (!in.empty()) in[0] = static_cast<uint8>(rng());
    const bool scrambled = round % 3 == 0 && in.size() > 1;
    for (int k = 0; scrambled && k < 3; ++k) {
      in[1 + rng() % (in.size() - 1)] = static_cast<uint8>(rng());
    }

    std::unique_ptr<VelEnquireTrigger> e(VelEnquireTrigger::create(in.data(), in.size()));
    const std::size_t announced = in.empty() ? 0 : in[0];
    ASSERT_EQ(e->count(), announced);
    const auto list = e->triggers();
    ASSERT_EQ(list.size(), announced);
    for (std::size_t i = 1; !scrambled && i < 4 && i < announced && kEnds[i] <= in.size(); ++i) {
      ASSERT_TRUE(list[i] && *list[i] == *whole->triggers()[i]) << "round " << round;
    }
  }
}

TEST(VelEnquireTriggerCommand, EmptyAndOverwritingLayouts) {
  Bytes buf(64, 0xEE);
  uint64 len = 0;
  VelControlMessage(std::make_shared<VelEnquireTrigger>()).serialize(&len, buf.data());
  EXPECT_EQ(Bytes(buf.begin(), buf.begin() + static_cast<long>(len)),
            (Bytes{0x2A, 0x52, 0x00, 0x00, 0x4B, 0x6F}));

  // Band bodies and type-0/1 records all land at the same place after the first band
  // record's test type; the length still counts every one of them.
  auto a = std::make_shared<VelTrigger_5_6>(5);
  a->setTrigNum(1);
  a->setMinFreq(0x11111111);
  auto b = std::make_shared<VelTrigger_5_6>(6);
  b->setTrigNum(2);
  b->setMaxFreq(0x22222222);
  auto four = std::make_shared<VelTrigger_4>();
  auto zero = std::make_shared<VelTrigger_0_1>(0);
  auto other = std::make_shared<VelTrigger>(3);
  VelEnquireTrigger cmd({a, b, four, nullptr, other, zero});
  buf.assign(64, 0xEE);
  len = 0;
  cmd.serialize(&len, buf.data());
  EXPECT_EQ(len, 2u + 22 + 22 + 2);
  const Bytes expected = {0x05, 0x00,                          // first band record's type
                          0x00, 0x00,                          // type-0 record over b's trigNum
                          0x00, 0x00, 0x00, 0x00,              // b: duration, eventHold
                          0x00, 0x00, 0x00, 0x00,              // b: minFreq (a's is gone)
                          0x22, 0x22, 0x22, 0x22,              // b: maxFreq
                          0x00, 0x00, 0x00, 0x00, 0x20, 0x00,  // threshType, threshold, effect
                          0x00, 0x00,                          // preTrigger
                          0xEE};
  EXPECT_EQ(Bytes(buf.begin(), buf.begin() + 25), expected);
}

// 0x53 response: error-coded type-5 record, then its CRC 0xE449.
const Bytes kSetupFrame = cat(cat({0x2A, 0x53, 0x19, 0x00, 0x02, 0x05, 0x00}, kBandBody),
                              {0x49, 0xE4});

void feed(CircularByteBuffer& buf, const Bytes& bytes) {
  ASSERT_EQ(buf.write(bytes.data(), bytes.size()), bytes.size());
}

TEST(VelEnquireTriggerControl, SetupResponseCrcIsChecked) {
  LogCapture log;
  CircularByteBuffer buf(256);
  VelControlProcessor proc;

  Bytes bad = kSetupFrame;
  bad[bad.size() - 2] = 0x34;
  bad[bad.size() - 1] = 0x12;
  feed(buf, bad);
  EXPECT_FALSE(proc.pump(buf));
  EXPECT_FALSE(proc.isEndState());
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(log.lines()[0],
            "VelControlProcessor: warning bad CRC in message, typeCode: 0x53, crc calc'd: "
            "0xe449, crc msg: 0x1234");

  feed(buf, kSetupFrame);
  std::shared_ptr<VelControlMessage> msg = proc.pump(buf);
  ASSERT_TRUE(msg);
  EXPECT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(buf.bytesAvailable(), 0u);  // the CRC was read
  auto* band = dynamic_cast<VelTrigger_5_6*>(msg->payload().get());
  ASSERT_NE(band, nullptr);
  EXPECT_EQ(band->errorCode(), 2);
  EXPECT_EQ(band->trigNum(), 7);
  EXPECT_EQ(band->errorMes(true), "Trigger 8 error: High Limit Out of Range");
}

TEST(VelEnquireTriggerControl, EnquiryResponseDecodes) {
  LogCapture log;
  CircularByteBuffer buf(256);
  VelControlProcessor proc;
  feed(buf, cat(cat({0x00, 0x13, 0x2A, 0x52, 0x1F, 0x00}, kTwoRecords), {0xAF, 0x79}));
  std::shared_ptr<VelControlMessage> msg = proc.pump(buf);
  ASSERT_TRUE(msg);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(buf.bytesAvailable(), 0u);
  auto* e = dynamic_cast<VelEnquireTrigger*>(msg->payload().get());
  ASSERT_NE(e, nullptr);
  ASSERT_EQ(e->triggers().size(), 2u);
  EXPECT_FALSE(e->triggers()[0]);
  ASSERT_TRUE(e->triggers()[1]);
  EXPECT_EQ(e->triggers()[1]->testType(), 5);
}

}  // namespace
