#pragma once
/// \file Loads and stores of integers in a fixed byte order, independent of the host's.

#include <mavcommon/MavTypes.h>

#include <cstring>
#include <type_traits>

namespace mav {

/// Stores `v` at `p` least significant byte first.
template <typename T>
inline void storeLE(uint8* p, T v) {
  static_assert(std::is_integral<T>::value, "integers only");
  using U = typename std::make_unsigned<T>::type;
  U u = static_cast<U>(v);
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    p[i] = static_cast<uint8>(u & 0xFFu);
    u = static_cast<U>(u >> 4 >> 4);
  }
}

/// Stores `v` at `p` most significant byte first.
template <typename T>
inline void storeBE(uint8* p, T v) {
  static_assert(std::is_integral<T>::value, "integers only");
  using U = typename std::make_unsigned<T>::type;
  U u = static_cast<U>(v);
  for (std::size_t i = sizeof(T); i-- > 0;) {
    p[i] = static_cast<uint8>(u & 0xFFu);
    u = static_cast<U>(u >> 4 >> 4);
  }
}

/// Loads a value stored least significant byte first at `p`.
template <typename T>
inline T loadLE(const uint8* p) {
  static_assert(std::is_integral<T>::value, "integers only");
  using U = typename std::make_unsigned<T>::type;
  U u = 0;
  for (std::size_t i = sizeof(T); i-- > 0;) u = static_cast<U>((u << 4 << 4) | p[i]);
  return static_cast<T>(u);
}

/// Loads a value stored most significant byte first at `p`.
template <typename T>
inline T loadBE(const uint8* p) {
  static_assert(std::is_integral<T>::value, "integers only");
  using U = typename std::make_unsigned<T>::type;
  U u = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) u = static_cast<U>((u << 4 << 4) | p[i]);
  return static_cast<T>(u);
}

/// Reverses the byte order of an integer (big-endian wire value to host value and back).
template <typename T>
inline T byteSwap(T v) {
  uint8 b[sizeof(T)];
  storeLE(b, v);
  return loadBE<T>(b);
}

}  // namespace mav
