#include <mavcommon/CircularByteBuffer.h>

#include <gtest/gtest.h>

#include <vector>

TEST(CircularByteBuffer, WrapsAroundInOrder) {
  CircularByteBuffer ring(8);
  const uint8_t first[] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(ring.write(first, 6), 6u);
  uint8_t out[8] = {};
  EXPECT_EQ(ring.read(out, 5), 5u);
  EXPECT_EQ(out[4], 5);

  // 1 byte waits at index 5; these six go to indexes 6, 7, 0, 1, 2, 3.
  const uint8_t second[] = {7, 8, 9, 10, 11, 12};
  EXPECT_EQ(ring.write(second, 6), 6u);
  EXPECT_EQ(ring.bytesAvailable(), 7u);
  EXPECT_EQ(ring.freeSpace(), 1u);

  uint8_t peeked[3] = {};
  EXPECT_EQ(ring.peek(peeked, 3), 3u);
  EXPECT_EQ(std::vector<uint8_t>(peeked, peeked + 3), (std::vector<uint8_t>{6, 7, 8}));
  EXPECT_EQ(ring.bytesAvailable(), 7u);

  EXPECT_EQ(ring.read(out, 8), 7u);
  EXPECT_EQ(std::vector<uint8_t>(out, out + 7), (std::vector<uint8_t>{6, 7, 8, 9, 10, 11, 12}));
  EXPECT_EQ(ring.bytesAvailable(), 0u);
}

TEST(CircularByteBuffer, StoresOnlyWhatFits) {
  CircularByteBuffer ring(4);
  const uint8_t data[] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(ring.write(data, 6), 4u);
  EXPECT_EQ(ring.write(data, 1), 0u);
  EXPECT_EQ(ring.capacity(), 4u);
  EXPECT_EQ(ring.skip(3), 3u);
  uint8_t out[4] = {};
  EXPECT_EQ(ring.read(out, 4), 1u);
  EXPECT_EQ(out[0], 4);
  ring.write(data, 2);
  ring.clear();
  EXPECT_EQ(ring.bytesAvailable(), 0u);
  EXPECT_EQ(ring.freeSpace(), 4u);

  CircularByteBuffer none(0);
  EXPECT_EQ(none.write(data, 1), 0u);
  EXPECT_EQ(none.read(out, 1), 0u);
}

TEST(CircularByteBuffer, PeekContiguousOnlyForBytesInOnePiece) {
  CircularByteBuffer ring(8);
  const uint8_t first[] = {1, 2, 3, 4, 5, 6};
  ring.write(first, 6);
  const uint8_t* p = ring.peekContiguous(6);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(std::vector<uint8_t>(p, p + 6), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(ring.peekContiguous(7), nullptr);  // more than is waiting
  EXPECT_EQ(ring.peekContiguous(0), nullptr);

  // Skipping leaves the stored bytes where they were.
  ring.skip(4);
  EXPECT_EQ(p[4], 5);
  // Waiting: 5, 6 at indexes 4-5, then 7, 8 at 6-7 and 9, 10 at 0-1 (across the end).
  const uint8_t second[] = {7, 8, 9, 10};
  ring.write(second, 4);
  p = ring.peekContiguous(4);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(std::vector<uint8_t>(p, p + 4), (std::vector<uint8_t>{5, 6, 7, 8}));
  EXPECT_EQ(ring.peekContiguous(5), nullptr);
  ring.skip(4);
  p = ring.peekContiguous(2);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p[0], 9);
  EXPECT_EQ(p[1], 10);

  // Running empty starts over at the front, so the next write lies in one piece again.
  ring.skip(2);
  ring.write(first, 6);
  EXPECT_NE(ring.peekContiguous(6), nullptr);
}
