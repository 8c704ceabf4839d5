#pragma once
/// \file Ethernet MAC address value.

#include <mavcommon/MavTypes.h>

#include <array>
#include <string>

/// A six-byte Ethernet MAC address.
class MavMacAddr {
 public:
  /// The address 00:00:00:00:00:00.
  MavMacAddr() = default;
  /// The address made of the six bytes at `bytes`.
  explicit MavMacAddr(const uint8* bytes);
  /// The address made of `bytes`.
  explicit MavMacAddr(const std::array<uint8, 6>& bytes) : bytes_(bytes) {}
  /// Parses "AA:BB:CC:DD:EE:FF" (either case, ':' or '-'); false and no change on bad text.
  bool fromString(const std::string& text);

  /// Upper-case hex pairs joined by ":", such as "00:11:22:33:44:55".
  std::string toString() const;
  /// The six bytes in wire order.
  const std::array<uint8, 6>& bytes() const { return bytes_; }
  /// Copies the six bytes to `out`.
  void copyTo(uint8* out) const;

  /// Equal when all six bytes are equal.
  bool operator==(const MavMacAddr& o) const { return bytes_ == o.bytes_; }
  /// Negation of ==.
  bool operator!=(const MavMacAddr& o) const { return bytes_ != o.bytes_; }

 private:
  std::array<uint8, 6> bytes_{};
};
