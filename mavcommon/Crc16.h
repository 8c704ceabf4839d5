#pragma once
/// \file The 16-bit CRC of control and discovery frames.
///
/// CRC-16 with polynomial 0x1021, initial value 0, no reflection and no final XOR (the
/// XMODEM variant): the nine bytes "123456789" give 0x31C3. This is the one place that
/// knows the algorithm, so that it can be swapped.

#include <mavcommon/MavTypes.h>

/// CRC of `count` bytes at `buffer`, starting from 0.
uint16 calculateCrc(const uint8* buffer, uint64 count);
/// Folds one byte into a running CRC; folding from 0 over a block equals `calculateCrc`.
uint16 crcUpdate(uint8 byte, uint16 crc);
/// Folds `count` bytes into a running CRC (the block form of `crcUpdate`).
uint16 crcUpdateBlock(const uint8* buffer, uint64 count, uint16 crc);

namespace mav::crc16 {
// The two implementations behind `crcUpdateBlock`, reachable one by one so that tests and
// benchmarks can hold each to the same results. Both give exactly `crcUpdateBlock`'s value.

/// Slice-by-8 table path: any CPU, and the path for short blocks.
uint16 updatePortable(const uint8* buffer, uint64 count, uint16 crc);
/// True when this CPU can run `updateClmul` with carry-less multiplication.
bool clmulAvailable();
/// Carry-less-multiply folding path; falls back to `updatePortable` when unavailable.
uint16 updateClmul(const uint8* buffer, uint64 count, uint16 crc);
}  // namespace mav::crc16
