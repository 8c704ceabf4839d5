#include <veliface/host/SampleChecksum.h>

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

namespace veliface::host {
namespace {

uint64 whole(const std::vector<uint8>& bytes) {
  SampleChecksum c;
  c.update(bytes.data(), bytes.size());
  return c.value();
}

TEST(SampleChecksum, DependsOnTheBytesNotOnHowTheyWereSplit) {
  std::mt19937 rng(7);
  std::vector<uint8> bytes(301);
  for (auto& b : bytes) b = static_cast<uint8>(rng());
  const uint64 expected = whole(bytes);
  // Every single cut, and random many-piece splits (pieces of 0 to 20 bytes).
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    SampleChecksum c;
    c.update(bytes.data(), cut);
    c.update(bytes.data() + cut, bytes.size() - cut);
    ASSERT_EQ(c.value(), expected) << "cut at " << cut;
  }
  for (int round = 0; round < 50; ++round) {
    SampleChecksum c;
    std::size_t at = 0;
    while (at < bytes.size()) {
      const std::size_t n = std::min<std::size_t>(rng() % 21, bytes.size() - at);
      c.update(bytes.data() + at, n);
      at += n;
    }
    ASSERT_EQ(c.value(), expected);
  }
}

TEST(SampleChecksum, TellsApartChangedSwappedMissingAndExtraBytes) {
  std::vector<uint8> bytes(64);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8>(i * 37 + 1);
  std::set<uint64> seen{whole(bytes)};
  auto differs = [&](std::vector<uint8> v) { EXPECT_TRUE(seen.insert(whole(v)).second); };
  for (std::size_t i = 0; i < bytes.size(); i += 7) {
    auto v = bytes;
    v[i] ^= 0x01;  // one bit, in every position of a word in turn
    differs(v);
  }
  {
    auto v = bytes;
    std::swap(v[3], v[4]);  // a sample's byte order within a word
    differs(v);
  }
  {
    auto v = bytes;
    std::swap(v[0], v[8]);  // the same byte in two words
    differs(v);
  }
  differs(std::vector<uint8>(bytes.begin(), bytes.end() - 1));
  differs(std::vector<uint8>(bytes.begin(), bytes.end() - 8));
  // Runs of zero bytes differ by length, also across whole words.
  for (std::size_t n : {0, 1, 7, 8, 9, 16}) differs(std::vector<uint8>(n, 0));
}

}  // namespace
}  // namespace veliface::host
