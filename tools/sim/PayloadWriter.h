#pragma once
/// \file The little-endian writer behind every response payload of the simulated device.

#include <sim/StreamFrameEncoder.h>

#include <mavcommon/Endian.h>
#include <mavcommon/MavTypes.h>

#include <cstddef>
#include <string>

namespace velsim {

/// Appends little-endian values, fixed-width texts and raw bytes to a payload.
struct PayloadWriter {
  Bytes& out;  ///< the payload written to
  /// Appends `v` in little-endian byte order.
  template <typename T>
  PayloadWriter& put(T v) {
    const std::size_t at = out.size();
    out.resize(at + sizeof(T));
    mav::storeLE(&out[at], v);
    return *this;
  }
  /// Appends `s` as fixed-width text, zero-padded (a full-width text has no terminating zero).
  PayloadWriter& text(const std::string& s, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) out.push_back(i < s.size() ? static_cast<uint8>(s[i]) : 0);
    return *this;
  }
  /// Appends `n` bytes as they are.
  PayloadWriter& bytes(const uint8* p, std::size_t n) {
    out.insert(out.end(), p, p + n);
    return *this;
  }
};

}  // namespace velsim
