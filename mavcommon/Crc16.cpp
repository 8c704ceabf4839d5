#include <mavcommon/Crc16.h>

#include <array>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define MAV_CRC16_HAVE_CLMUL 1
#include <immintrin.h>
#else
#define MAV_CRC16_HAVE_CLMUL 0
#endif

namespace {

constexpr unsigned kPoly = 0x1021u;

// Slice-by-8 tables: t[0] is the classic byte table; t[k][b] is the CRC of byte b followed
// by k zero bytes, so eight input bytes can be folded with eight look-ups. Built at compile
// time so that no call pays for a first-use guard.
struct CrcTables {
  std::array<std::array<uint16, 256>, 8> t{};
};

constexpr CrcTables makeTables() {
  CrcTables tabs;
  for (unsigned b = 0; b < 256; ++b) {
    unsigned crc = b << 8;
    for (int i = 0; i < 8; ++i) crc = (crc & 0x8000u) ? ((crc << 1) ^ kPoly) : (crc << 1);
    tabs.t[0][b] = static_cast<uint16>(crc & 0xFFFFu);
  }
  for (unsigned b = 0; b < 256; ++b) {
    for (std::size_t k = 1; k < 8; ++k) {
      const unsigned prev = tabs.t[k - 1][b];
      tabs.t[k][b] = static_cast<uint16>(((prev << 8) ^ tabs.t[0][prev >> 8]) & 0xFFFFu);
    }
  }
  return tabs;
}

constexpr CrcTables kTables = makeTables();

uint16 slice8(const uint8* p, uint64 n, uint16 crc) {
  const auto& t = kTables.t;
  while (n >= 8) {
    const unsigned a = ((crc >> 8) ^ p[0]) & 0xFFu;
    const unsigned b = (crc ^ p[1]) & 0xFFu;
    crc = static_cast<uint16>(t[7][a] ^ t[6][b] ^ t[5][p[2]] ^ t[4][p[3]] ^ t[3][p[4]] ^
                              t[2][p[5]] ^ t[1][p[6]] ^ t[0][p[7]]);
    p += 8;
    n -= 8;
  }
  while (n-- > 0) crc = static_cast<uint16>((crc << 8) ^ t[0][((crc >> 8) ^ *p++) & 0xFFu]);
  return crc;
}

#if MAV_CRC16_HAVE_CLMUL

// Carry-less-multiply folding.
//
// Read the message most significant bit first as a polynomial M(x) over GF(2); the CRC is
// M(x)·x^16 mod P(x) with P(x) = x^16 + 0x1021. Loaded byte-reversed, 16 message bytes are
// a 128-bit integer whose bit i is the coefficient of x^i, which is exactly what PCLMULQDQ
// multiplies. We keep an accumulator A with A ≡ (message so far) mod P. Appending a block
// B of 128 bits gives A·x^128 + B; splitting A = H·x^64 + L,
//     A·x^128 + B ≡ H·(x^192 mod P) + L·(x^128 mod P) + B,
// two 64×16-bit carry-less products (at most 79 bits) and two XORs. With eight accumulators
// striding over 128 bytes the distance is 1024 bits, so the constants are x^1088 mod P and
// x^1024 mod P. At the end the eight accumulators are folded into one at the one-block
// distance, and the last A (still ≡ M mod P, degree < 128) is turned into the CRC by running
// its 16 bytes through the table: that computes A(x)·x^16 mod P, the wanted value. The
// constants are the remainders of x^n, computed below at compile time by shifting x^0 left
// n times and reducing by P whenever the x^16 term appears.
constexpr uint64 xPowModP(unsigned n) {
  uint32 r = 1;
  for (unsigned i = 0; i < n; ++i) {
    r <<= 1;
    if (r & 0x10000u) r ^= 0x10000u | kPoly;
  }
  return r;
}

constexpr uint64 kFold1Hi = xPowModP(128 + 64);
constexpr uint64 kFold1Lo = xPowModP(128);
constexpr uint64 kFold8Hi = xPowModP(8 * 128 + 64);
constexpr uint64 kFold8Lo = xPowModP(8 * 128);

#define MAV_CRC16_CLMUL_TARGET __attribute__((target("pclmul,ssse3")))

MAV_CRC16_CLMUL_TARGET inline __m128i byteReverse(__m128i v) {
  return _mm_shuffle_epi8(v, _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0));
}

// 16 message bytes as a polynomial (first byte in the top bits).
MAV_CRC16_CLMUL_TARGET inline __m128i loadBlock(const uint8* p) {
  return byteReverse(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}

// a·x^distance + b (mod P, unreduced) for the distance whose constants `k` holds (hi, lo).
MAV_CRC16_CLMUL_TARGET inline __m128i fold(__m128i a, __m128i k, __m128i b) {
  return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(a, k, 0x11),
                                     _mm_clmulepi64_si128(a, k, 0x00)),
                       b);
}

// Needs n >= 16.
MAV_CRC16_CLMUL_TARGET uint16 clmulFold(const uint8* p, uint64 n, uint16 crc) {
  const __m128i k1 = _mm_set_epi64x(static_cast<long long>(kFold1Hi),
                                    static_cast<long long>(kFold1Lo));
  // A running CRC c continues a message exactly as if c were XORed into its first two bytes.
  const __m128i init = _mm_set_epi64x(static_cast<long long>(static_cast<uint64>(crc) << 48), 0);
  __m128i acc;
  if (n >= 128) {
    const __m128i k8 = _mm_set_epi64x(static_cast<long long>(kFold8Hi),
                                      static_cast<long long>(kFold8Lo));
    __m128i x0 = _mm_xor_si128(loadBlock(p), init);
    __m128i x1 = loadBlock(p + 16);
    __m128i x2 = loadBlock(p + 32);
    __m128i x3 = loadBlock(p + 48);
    __m128i x4 = loadBlock(p + 64);
    __m128i x5 = loadBlock(p + 80);
    __m128i x6 = loadBlock(p + 96);
    __m128i x7 = loadBlock(p + 112);
    p += 128;
    n -= 128;
    while (n >= 128) {
      x0 = fold(x0, k8, loadBlock(p));
      x1 = fold(x1, k8, loadBlock(p + 16));
      x2 = fold(x2, k8, loadBlock(p + 32));
      x3 = fold(x3, k8, loadBlock(p + 48));
      x4 = fold(x4, k8, loadBlock(p + 64));
      x5 = fold(x5, k8, loadBlock(p + 80));
      x6 = fold(x6, k8, loadBlock(p + 96));
      x7 = fold(x7, k8, loadBlock(p + 112));
      p += 128;
      n -= 128;
    }
    acc = fold(x0, k1, x1);
    acc = fold(acc, k1, x2);
    acc = fold(acc, k1, x3);
    acc = fold(acc, k1, x4);
    acc = fold(acc, k1, x5);
    acc = fold(acc, k1, x6);
    acc = fold(acc, k1, x7);
  } else {
    acc = _mm_xor_si128(loadBlock(p), init);
    p += 16;
    n -= 16;
  }
  while (n >= 16) {
    acc = fold(acc, k1, loadBlock(p));
    p += 16;
    n -= 16;
  }
  alignas(16) uint8 rest[16];
  _mm_store_si128(reinterpret_cast<__m128i*>(rest), byteReverse(acc));
  return slice8(p, n, slice8(rest, 16, 0));
}

#undef MAV_CRC16_CLMUL_TARGET

bool detectClmul() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("ssse3");
}

// Below this length the table beats setting up the fold and reducing it (measured).
constexpr uint64 kClmulMinLength = 48;

#endif  // MAV_CRC16_HAVE_CLMUL

}  // namespace

namespace mav::crc16 {

uint16 updatePortable(const uint8* buffer, uint64 count, uint16 crc) {
  return slice8(buffer, count, crc);
}

bool clmulAvailable() {
#if MAV_CRC16_HAVE_CLMUL
  static const bool available = detectClmul();
  return available;
#else
  return false;
#endif
}

uint16 updateClmul(const uint8* buffer, uint64 count, uint16 crc) {
#if MAV_CRC16_HAVE_CLMUL
  if (count >= 16 && clmulAvailable()) return clmulFold(buffer, count, crc);
#endif
  return slice8(buffer, count, crc);
}

}  // namespace mav::crc16

uint16 crcUpdate(uint8 byte, uint16 crc) {
  return static_cast<uint16>((crc << 8) ^ kTables.t[0][((crc >> 8) ^ byte) & 0xFFu]);
}

uint16 crcUpdateBlock(const uint8* p, uint64 n, uint16 crc) {
#if MAV_CRC16_HAVE_CLMUL
  if (n >= kClmulMinLength && mav::crc16::clmulAvailable()) return clmulFold(p, n, crc);
#endif
  return slice8(p, n, crc);
}

uint16 calculateCrc(const uint8* buffer, uint64 count) { return crcUpdateBlock(buffer, count, 0); }
