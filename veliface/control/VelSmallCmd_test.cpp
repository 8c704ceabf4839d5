#include <veliface/common/VelCommand.h>
#include <veliface/common/VelCommandCode.h>
#include <veliface/control/VelSmallCmd.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<uint8>;

Bytes frame(std::shared_ptr<VelControlMsgPayload> p) {
  Bytes buf(32, 0xEE);
  uint64 len = 0;
  VelControlMessage(std::move(p)).serialize(&len, buf.data());
  buf.resize(len);
  return buf;
}

}  // namespace

TEST(SmallCommands, Frames) {
  EXPECT_EQ(frame(std::make_shared<VelResetCmd>()), (Bytes{0x2A, 0x59, 0x00, 0x00, 0xBA, 0x9F}));
  EXPECT_EQ(frame(std::make_shared<VelSetTimeCmd>(1000)),
            (Bytes{0x2A, 0x41, 0x04, 0x00, 0xE8, 0x03, 0x00, 0x00, 0x41, 0xD1}));
  // Channel status goes out with code 0 on purpose: the protocol defines it so.
  EXPECT_EQ(frame(std::make_shared<ArrChanStatCmd>(1000)),
            (Bytes{0x2A, 0x00, 0x04, 0x00, 0xE8, 0x03, 0x00, 0x00, 0xCC, 0xB4}));
  EXPECT_EQ(VelUtil::cmdCodeStr(static_cast<VelCommandCode>(ArrChanStatCmd().commandCode())),
            "Unrecognized Command");
}

TEST(SmallCommands, PayloadWritesAtBufAndAddsToLen) {
  Bytes buf(8, 0xEE);
  uint64 len = 10;
  VelSetTimeCmd(-2).serialize(&len, buf.data() + 2);
  EXPECT_EQ(len, 14u);
  EXPECT_EQ(buf, (Bytes{0xEE, 0xEE, 0xFE, 0xFF, 0xFF, 0xFF, 0xEE, 0xEE}));
  VelResetCmd().serialize(&len, buf.data());
  EXPECT_EQ(len, 14u);
}

TEST(SmallCommands, ReadBackAndShortPayloads) {
  const uint8 value[] = {0x78, 0x56, 0x34, 0x12};
  std::unique_ptr<VelSetTimeCmd> t(VelSetTimeCmd::create(value, 4));
  EXPECT_EQ(t->time(), 0x12345678);
  std::unique_ptr<ArrChanStatCmd> c(ArrChanStatCmd::create(value, 4));
  EXPECT_EQ(c->time(), 0x12345678);

  // Too short to hold the value: the constructor value stays.
  std::unique_ptr<VelSetTimeCmd> empty(VelSetTimeCmd::create(nullptr, 0));
  EXPECT_EQ(empty->time(), -1);
  std::unique_ptr<VelSetTimeCmd> three(VelSetTimeCmd::create(value, 3));
  EXPECT_EQ(three->time(), -1);
  std::unique_ptr<ArrChanStatCmd> noChan(ArrChanStatCmd::create(value, 2));
  EXPECT_EQ(noChan->time(), 0);
  std::unique_ptr<VelResetCmd> r(VelResetCmd::create(value, 4));
  EXPECT_EQ(r->commandCode(), 0x59);
}
