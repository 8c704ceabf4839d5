#include <mavcommon/ByteStream.h>

#include <gtest/gtest.h>

#include <cstring>

TEST(ByteStream, ShortReadCopiesNothingAndFailsForGood) {
  const uint8 data[] = {0x01, 0x02, 0x03};
  ByteStream s(data, sizeof data);
  uint8 dst[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  s.read(dst, 4);
  EXPECT_TRUE(s.fail());
  EXPECT_FALSE(s.good());
  EXPECT_EQ(s.gcount(), 0u);
  EXPECT_EQ(s.bytesAvailable(), 3u);
  for (uint8 b : dst) EXPECT_EQ(b, 0xEE);

  // Sticky: a read that would now fit does nothing either.
  s.read(dst, 1);
  EXPECT_EQ(dst[0], 0xEE);
  EXPECT_EQ(s.get(), -1);
  EXPECT_EQ(s.peek(), -1);
  uint16 v = 0x5555;
  EXPECT_FALSE(s.readLE(v));
  EXPECT_EQ(v, 0x5555);
  std::string text = "keep";
  EXPECT_FALSE(s.readFixedString(1, text));
  EXPECT_FALSE(s.readCString(text));
  EXPECT_EQ(text, "keep");
}

TEST(ByteStream, ReadsIntegersInBothByteOrders) {
  const uint8 data[] = {0x34, 0x12, 0x12, 0x34, 0x78, 0x56, 0x34, 0x12, 0xFF};
  ByteStream s(data, sizeof data);
  uint16 le = 0, be = 0;
  uint32 le32 = 0;
  EXPECT_TRUE(s.readLE(le));
  EXPECT_TRUE(s.readBE(be));
  EXPECT_TRUE(s.readLE(le32));
  EXPECT_EQ(le, 0x1234);
  EXPECT_EQ(be, 0x1234);
  EXPECT_EQ(le32, 0x12345678u);
  EXPECT_EQ(s.position(), 8u);
  EXPECT_EQ(s.bytesAvailable(), 1u);
  EXPECT_EQ(s.gcount(), 4u);
  EXPECT_EQ(s.peek(), 0xFF);
  EXPECT_EQ(s.get(), 0xFF);
  EXPECT_TRUE(s.eof());
  s.unget();
  EXPECT_EQ(s.get(), 0xFF);
  EXPECT_TRUE(s.good());
  // An integer wider than what is left is not read at all and fails the stream.
  uint16 cut = 0x5555;
  EXPECT_FALSE(s.readBE(cut));
  EXPECT_EQ(cut, 0x5555);
  EXPECT_TRUE(s.fail());
  EXPECT_EQ(s.gcount(), 0u);
  EXPECT_EQ(s.position(), 9u);
}

TEST(ByteStream, TextFields) {
  const uint8 data[] = {'A', 'B', 0, 'x', 'C', 'D', 'E', 'F', 'G', 'H', 0, 'r'};
  ByteStream s(data, sizeof data);
  std::string a, b, c, d = "keep";
  EXPECT_TRUE(s.readFixedString(4, a));  // text ends at the first zero, width consumed
  EXPECT_EQ(a, "AB");
  EXPECT_TRUE(s.readFixedString(2, b));  // no zero: the whole width
  EXPECT_EQ(b, "CD");
  EXPECT_TRUE(s.readCString(c));  // up to and including the zero
  EXPECT_EQ(c, "EFGH");
  EXPECT_EQ(s.gcount(), 5u);
  EXPECT_FALSE(s.readCString(d));  // "r" without terminator: nothing taken
  EXPECT_EQ(d, "keep");
  EXPECT_TRUE(s.fail());
}

TEST(ByteStream, IgnoreUngetAndEmptyBlocks) {
  const uint8 data[] = {1, 2, 3};
  ByteStream s(data, sizeof data);
  s.ignore(2);
  EXPECT_EQ(s.gcount(), 2u);
  EXPECT_EQ(s.get(), 3);
  s.ignore(1);
  EXPECT_TRUE(s.fail());

  ByteStream atStart(data, sizeof data);
  atStart.unget();
  EXPECT_TRUE(atStart.fail());

  ByteStream empty(nullptr, 10);  // a null block is an empty block
  EXPECT_EQ(empty.bytesAvailable(), 0u);
  std::string t = "keep";
  EXPECT_TRUE(empty.readFixedString(0, t));
  EXPECT_EQ(t, "");
  EXPECT_FALSE(empty.readCString(t));
  EXPECT_TRUE(empty.fail());
}
