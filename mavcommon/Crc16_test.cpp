#include <mavcommon/Crc16.h>

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

// The definition, one bit at a time: shift the register left, XOR 0x1021 when a one falls
// out of x^15, feeding each byte most significant bit first.
uint16 bitwiseCrc(const uint8* p, std::size_t n, uint16 crc) {
  for (std::size_t i = 0; i < n; ++i) {
    crc = static_cast<uint16>(crc ^ (p[i] << 8));
    for (int b = 0; b < 8; ++b) {
      crc = static_cast<uint16>((crc & 0x8000u) ? ((crc << 1) ^ 0x1021u) : (crc << 1));
    }
  }
  return crc;
}

std::vector<uint8> randomBytes(std::size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<uint8> v(n);
  for (auto& b : v) b = static_cast<uint8>(rng());
  return v;
}

using Path = uint16 (*)(const uint8*, uint64, uint16);

struct NamedPath {
  const char* name;
  Path fn;
};

// Every way in: the public block call, and each implementation directly.
const NamedPath kPaths[] = {
    {"crcUpdateBlock", &crcUpdateBlock},
    {"portable", &mav::crc16::updatePortable},
    {"clmul", &mav::crc16::updateClmul},
};

}  // namespace

TEST(Crc16, CheckValues) {
  const uint8 check[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  ASSERT_EQ(bitwiseCrc(check, sizeof check, 0), 0x31C3);
  EXPECT_EQ(calculateCrc(check, sizeof check), 0x31C3);
  EXPECT_EQ(calculateCrc(check, 0), 0x0000);
  for (const NamedPath& path : kPaths) EXPECT_EQ(path.fn(check, sizeof check, 0), 0x31C3) << path.name;
  // Header of a field-less reset frame, as the devices compute it.
  const uint8 reset[] = {0x2A, 0x59, 0x00, 0x00};
  EXPECT_EQ(calculateCrc(reset, sizeof reset), 0x9FBA);
}

TEST(Crc16, EveryPathMatchesTheBitwiseDefinitionForEveryLengthAndAlignment) {
  const std::vector<uint8> data = randomBytes(300 + 64, 1);
  std::mt19937 rng(2);
  for (std::size_t n = 0; n <= 300; ++n) {
    const std::size_t offset = rng() % 64;
    const uint16 start = static_cast<uint16>(rng());
    const uint8* p = data.data() + offset;
    const uint16 want0 = bitwiseCrc(p, n, 0);
    const uint16 want = bitwiseCrc(p, n, start);
    ASSERT_EQ(calculateCrc(p, n), want0) << "length " << n << " offset " << offset;
    for (const NamedPath& path : kPaths) {
      ASSERT_EQ(path.fn(p, n, 0), want0) << path.name << " length " << n << " offset " << offset;
      ASSERT_EQ(path.fn(p, n, start), want) << path.name << " length " << n << " from " << start;
    }
    uint16 fold = start;
    for (std::size_t i = 0; i < n; ++i) fold = crcUpdate(p[i], fold);
    ASSERT_EQ(fold, want) << "byte fold, length " << n;
  }
}

TEST(Crc16, IncrementalUpdatesSplitAtEveryPointGiveTheWholeBlockCrc) {
  const std::vector<uint8> data = randomBytes(300, 3);
  for (std::size_t n : {std::size_t{17}, std::size_t{130}, std::size_t{300}}) {
    const uint16 whole = bitwiseCrc(data.data(), n, 0);
    for (const NamedPath& path : kPaths) {
      for (std::size_t cut = 0; cut <= n; ++cut) {
        const uint16 head = path.fn(data.data(), cut, 0);
        ASSERT_EQ(path.fn(data.data() + cut, n - cut, head), whole)
            << path.name << " length " << n << " cut " << cut;
      }
    }
  }
}

TEST(Crc16, LongBlocksMatchTheDefinition) {
  // Long enough for many rounds of the wide fold, with every remainder class of 16 and 128.
  const std::vector<uint8> data = randomBytes(65536 + 200, 4);
  for (std::size_t n : {std::size_t{4096}, std::size_t{65536}, std::size_t{65536 + 143}}) {
    const uint16 want = bitwiseCrc(data.data() + 1, n, 0xBEEF);
    for (const NamedPath& path : kPaths) {
      EXPECT_EQ(path.fn(data.data() + 1, n, 0xBEEF), want) << path.name << " length " << n;
    }
  }
}
