#include <mavcommon/Crc16.h>

#include <gtest/gtest.h>

#include <vector>

TEST(Crc16, CheckValues) {
  const uint8 check[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  EXPECT_EQ(calculateCrc(check, sizeof check), 0x31C3);
  EXPECT_EQ(calculateCrc(check, 0), 0x0000);
  // Header of a field-less reset frame, as the devices compute it.
  const uint8 reset[] = {0x2A, 0x59, 0x00, 0x00};
  EXPECT_EQ(calculateCrc(reset, sizeof reset), 0x9FBA);
}

TEST(Crc16, ByteFoldEqualsBlockCrcForEveryLengthAndSplit) {
  std::vector<uint8> data(70);
  uint32 x = 12345;
  for (auto& b : data) {
    x = x * 1103515245u + 12345u;
    b = static_cast<uint8>(x >> 16);
  }
  for (std::size_t n = 0; n <= data.size(); ++n) {
    uint16 fold = 0;
    for (std::size_t i = 0; i < n; ++i) fold = crcUpdate(data[i], fold);
    ASSERT_EQ(calculateCrc(data.data(), n), fold) << "length " << n;
    for (std::size_t cut = 0; cut <= n; cut += 3) {
      const uint16 head = crcUpdateBlock(data.data(), cut, 0);
      ASSERT_EQ(crcUpdateBlock(data.data() + cut, n - cut, head), fold) << n << "/" << cut;
    }
  }
}
