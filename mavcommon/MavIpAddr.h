#pragma once
/// \file IPv4 address value.

#include <mavcommon/MavTypes.h>

#include <string>

/// An IPv4 address held as a host-order integer: "a.b.c.d" is (a<<24)|(b<<16)|(c<<8)|d.
class MavIpAddr {
 public:
  /// The address 0.0.0.0.
  MavIpAddr() = default;
  /// The address whose integer form is `addr`.
  MavIpAddr(uint32 addr) : addr_(addr) {}  // NOLINT(google-explicit-constructor): value type
  /// Parses dotted text "a.b.c.d"; text that is not a dotted IPv4 address gives 0.0.0.0.
  explicit MavIpAddr(const std::string& dotted);
  /// Same as the string form, for literals.
  explicit MavIpAddr(const char* dotted) : MavIpAddr(std::string(dotted ? dotted : "")) {}

  /// Dotted text, "0.0.0.0" for address 0.
  std::string toString() const;
  /// The integer form.
  uint32 toInt() const { return addr_; }
  /// True when `text` is a well-formed dotted IPv4 address.
  static bool isValid(const std::string& text);

  /// Equal when the integers are equal.
  bool operator==(const MavIpAddr& o) const { return addr_ == o.addr_; }
  /// Negation of ==.
  bool operator!=(const MavIpAddr& o) const { return addr_ != o.addr_; }

 private:
  uint32 addr_ = 0;
};
