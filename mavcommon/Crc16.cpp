#include <mavcommon/Crc16.h>

#include <array>

namespace {

// Slice-by-8 tables: table[0] is the classic byte table; table[k][b] is the CRC of byte b
// followed by k zero bytes, so eight input bytes can be folded with eight look-ups.
struct CrcTables {
  std::array<std::array<uint16, 256>, 8> t{};
  CrcTables() {
    for (unsigned b = 0; b < 256; ++b) {
      unsigned crc = b << 8;
      for (int i = 0; i < 8; ++i) crc = (crc & 0x8000u) ? ((crc << 1) ^ 0x1021u) : (crc << 1);
      t[0][b] = static_cast<uint16>(crc & 0xFFFFu);
    }
    for (unsigned b = 0; b < 256; ++b) {
      for (std::size_t k = 1; k < 8; ++k) {
        const uint16 prev = t[k - 1][b];
        t[k][b] = static_cast<uint16>((prev << 8) ^ t[0][prev >> 8]);
      }
    }
  }
};

const CrcTables& tables() {
  static const CrcTables tabs;
  return tabs;
}

}  // namespace

uint16 crcUpdate(uint8 byte, uint16 crc) {
  return static_cast<uint16>((crc << 8) ^ tables().t[0][((crc >> 8) ^ byte) & 0xFFu]);
}

uint16 crcUpdateBlock(const uint8* p, uint64 n, uint16 crc) {
  const auto& t = tables().t;
  while (n >= 8) {
    const unsigned a = ((crc >> 8) ^ p[0]) & 0xFFu;
    const unsigned b = (crc ^ p[1]) & 0xFFu;
    crc = static_cast<uint16>(t[7][a] ^ t[6][b] ^ t[5][p[2]] ^ t[4][p[3]] ^ t[3][p[4]] ^
                              t[2][p[5]] ^ t[1][p[6]] ^ t[0][p[7]]);
    p += 8;
    n -= 8;
  }
  while (n-- > 0) crc = crcUpdate(*p++, crc);
  return crc;
}

uint16 calculateCrc(const uint8* buffer, uint64 count) { return crcUpdateBlock(buffer, count, 0); }
