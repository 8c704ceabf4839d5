#pragma once
/// \file Network settings of a device or of the host through which it is reached.

#include <mavcommon/MavIpAddr.h>
#include <mavcommon/MavMacAddr.h>

/// IPv4 address, subnet mask, gateway, DNS server, MAC address and address mode.
class MavNetHostInfo {
 public:
  /// All addresses 0, MAC all zeros, address mode 0.
  MavNetHostInfo() = default;
  /// Every field given.
  MavNetHostInfo(const MavIpAddr& ip, const MavIpAddr& mask, const MavIpAddr& gateway,
                 const MavIpAddr& dns, const MavMacAddr& mac, uint8 addrMode)
      : ip_(ip), mask_(mask), gateway_(gateway), dns_(dns), mac_(mac), addrMode_(addrMode) {}

  /// The IPv4 address.
  const MavIpAddr& ipAddr() const { return ip_; }
  /// Sets the IPv4 address.
  void setIpAddr(const MavIpAddr& a) { ip_ = a; }
  /// The subnet mask.
  const MavIpAddr& subnetMask() const { return mask_; }
  /// Sets the subnet mask.
  void setSubnetMask(const MavIpAddr& a) { mask_ = a; }
  /// The default gateway.
  const MavIpAddr& gateway() const { return gateway_; }
  /// Sets the default gateway.
  void setGateway(const MavIpAddr& a) { gateway_ = a; }
  /// The DNS server.
  const MavIpAddr& dns() const { return dns_; }
  /// Sets the DNS server.
  void setDns(const MavIpAddr& a) { dns_ = a; }
  /// The MAC address.
  const MavMacAddr& macAddr() const { return mac_; }
  /// Sets the MAC address.
  void setMacAddr(const MavMacAddr& m) { mac_ = m; }
  /// The address mode as the device reports it (static, DHCP, ...; values are the device's).
  uint8 addrMode() const { return addrMode_; }
  /// Sets the address mode.
  void setAddrMode(uint8 m) { addrMode_ = m; }

  /// Equal when every field is equal.
  bool operator==(const MavNetHostInfo& o) const {
    return ip_ == o.ip_ && mask_ == o.mask_ && gateway_ == o.gateway_ && dns_ == o.dns_ &&
           mac_ == o.mac_ && addrMode_ == o.addrMode_;
  }
  /// Negation of ==.
  bool operator!=(const MavNetHostInfo& o) const { return !(*this == o); }

 private:
  MavIpAddr ip_;
  MavIpAddr mask_;
  MavIpAddr gateway_;
  MavIpAddr dns_;
  MavMacAddr mac_;
  uint8 addrMode_ = 0;
};
