#pragma once
/// \file Fixed-width integer names used throughout the protocol code.

#include <cstdint>

/// Unsigned 8-bit integer.
using uint8 = std::uint8_t;
/// Unsigned 16-bit integer.
using uint16 = std::uint16_t;
/// Unsigned 32-bit integer.
using uint32 = std::uint32_t;
/// Unsigned 64-bit integer.
using uint64 = std::uint64_t;
/// Signed 64-bit integer.
using int64 = std::int64_t;
