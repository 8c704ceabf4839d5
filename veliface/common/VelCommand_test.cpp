#include <veliface/common/VelCommand.h>
#include <veliface/common/VelCommandCode.h>
#include <veliface/common/VelMsgPayload.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<uint8>;

Bytes frameOf(VelMsgPayload& p) {
  uint64 len = 0;
  const uint8* f = p.getMessage(len);
  return Bytes(f, f + len);
}

// A payload of a given size, for the limits of the length field.
class FillPayload : public VelControlMsgPayload {
 public:
  FillPayload(uint8 code, std::size_t n) : code_(code), n_(n) {}
  void serialize(uint64* len, uint8* buf) const override {
    for (std::size_t i = 0; i < n_; ++i) buf[i] = 0x55;
    *len += n_;
  }
  uint8 commandCode() const override { return code_; }

 private:
  uint8 code_;
  std::size_t n_;
};

}  // namespace

TEST(VelMsgPayload, FieldlessAndCollectFrames) {
  struct Case {
    uint8 code;
    uint8 flags;
    Bytes frame;
  };
  const Case cases[] = {
      {0x59, 0x00, {0x2A, 0x59, 0x00, 0x00, 0xBA, 0x9F}},
      {0x59, 0x28, {0x2A, 0x59, 0x00, 0x00, 0xBA, 0x9F}},  // flags only matter for 0x43
      {0x43, 0x08, {0x2A, 0x43, 0x02, 0x00, 0x08, 0x00, 0x71, 0x28}},
      {0x43, 0x18, {0x2A, 0x43, 0x02, 0x00, 0x18, 0x10, 0x33, 0x39}},
      {0x43, 0x28, {0x2A, 0x43, 0x02, 0x00, 0x28, 0x20, 0xF5, 0x0A}},
      {0x43, 0x20, {0x2A, 0x43, 0x01, 0x00, 0x20, 0x08, 0xA8}},
  };
  for (const Case& c : cases) {
    VelMsgPayload p(c.code, c.flags);
    EXPECT_EQ(p.commandCode(), c.code);
    EXPECT_EQ(frameOf(p), c.frame) << "code " << int(c.code) << " flags " << int(c.flags);
  }

  // getMessage adds to the caller's count and rebuilds on every call.
  VelMsgPayload p(0x43, 0x08);
  uint64 len = 100;
  p.getMessage(len);
  EXPECT_EQ(len, 108u);
  p.setFlags(0x20);
  EXPECT_EQ(frameOf(p).size(), 7u);
}

TEST(VelControlMessage, FramesHeaderPayloadAndCrc) {
  Bytes buf(16, 0xEE);
  uint64 len = 0;
  VelControlMessage(std::make_shared<FillPayload>(0x45, 0)).serialize(&len, buf.data());
  EXPECT_EQ(Bytes(buf.begin(), buf.begin() + static_cast<long>(len)),
            (Bytes{0x2A, 0x45, 0x00, 0x00, 0xB8, 0xA9}));
  EXPECT_EQ(buf[6], 0xEE);  // nothing written past the frame
}

TEST(VelControlMessage, LongestPayloadAndTruncatedCrcCount) {
  // 65,535 bytes is the most the length field holds. The CRC count is 16-bit on the
  // devices, so a frame of 65,539 header and payload bytes has its CRC taken over the first
  // 3 bytes only (65,539 mod 65,536): deliberate, devices compute it the same way.
  const std::size_t n = 65535;
  Bytes buf(n + 6, 0);
  uint64 len = 0;
  VelControlMessage(std::make_shared<FillPayload>(0x45, n)).serialize(&len, buf.data());
  ASSERT_EQ(len, n + 6);
  EXPECT_EQ(buf[2], 0xFF);
  EXPECT_EQ(buf[3], 0xFF);
  EXPECT_EQ(buf[4], 0x55);
  EXPECT_EQ(buf[n + 3], 0x55);
  EXPECT_EQ(buf[n + 4], 0xCE);  // CRC of 2A 45 FF
  EXPECT_EQ(buf[n + 5], 0xAD);
}

TEST(VelCommandCode, DisplayTexts) {
  const std::pair<uint8, const char*> cases[] = {
      {0x41, "SetTime"},         {0x43, "CollectData"},     {0x45, "Enquire"},
      {0x4F, "DeleteFolder"},    {0x52, "EnquireTriggers"}, {0x59, "ResetDevice"},
      {0x5A, "EnqireBatt"},      {0x5B, "EnquireSync"},     {0x47, "Unrecognized Command"},
      {0x50, "Unrecognized Command"}, {0x57, "Unrecognized Command"},
      {0x58, "Unrecognized Command"}, {0x00, "Unrecognized Command"},
      {0x5C, "Unrecognized Command"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(VelUtil::cmdCodeStr(static_cast<VelCommandCode>(c.first)), c.second)
        << int(c.first);
  }
}
