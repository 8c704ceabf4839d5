#pragma once
// Test helper: control-channel byte tables and a builder for response frames with their CRC.

#include <mavcommon/Crc16.h>
#include <mavcommon/MavTypes.h>

#include <vector>

namespace veliface::test {

// Enquire response payload of a type-5 device with a version-5 record: 59 bytes, none of
// them 0x2A. Serial 0x1234, firmware "1.2.3", built "Jan 02 2024", model "Aurel".
inline const std::vector<uint8>& enquirePayload() {
  static const std::vector<uint8> p = {
      0x34, 0x12, '1', '.', '2', '.', '3', 0, 0, 0,                                // serial, firmware
      'J', 'a', 'n', ' ', '0', '2', ' ', '2', '0', '2', '4', 0, 0, 0, 0, 0, 0, 0,  // build date
      0x05, 0x01, 0x00, 0x00,                                                      // type, status, reserved
      0x05, 0x02, 0x01, 0x04, 0x03, 0x06, 0x05, 0x07, 0x50, 0x02, 0x03,            // HF record v5
      'R', '1', '.', '5', 0, 0, 0, 0, 0x01, 0x02, 'A', 'u', 'r', 'e', 'l', 0};
  return p;
}

// A response frame: '*', code, length (LE), payload, CRC-16 over all of that (LE).
inline std::vector<uint8> responseFrame(uint8 code, const std::vector<uint8>& payload) {
  std::vector<uint8> f = {0x2A, code, static_cast<uint8>(payload.size() & 0xFF),
                          static_cast<uint8>(payload.size() >> 8)};
  f.insert(f.end(), payload.begin(), payload.end());
  const uint16 crc = calculateCrc(f.data(), f.size());
  f.push_back(static_cast<uint8>(crc & 0xFF));
  f.push_back(static_cast<uint8>(crc >> 8));
  return f;
}

}  // namespace veliface::test
