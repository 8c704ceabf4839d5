#pragma once
/// \file Finding devices on a network: the enquiry a host broadcasts, and the list of devices
/// that answered.

#include <veliface/vocabulary/VelDeviceType.h>

#include <mavcommon/MavNetHostInfo.h>
#include <mavcommon/MavTypes.h>

#include <string>
#include <vector>

namespace veliface::host {

/// A device that answered a network enquiry.
struct FoundDevice {
  VelDeviceType type = DEV_NONE;  ///< its device type
  uint16 serial = 0;              ///< its serial number
  MavNetHostInfo net;             ///< its address, mask, gateway, DNS, MAC and address mode
  std::string from;               ///< where the answer came from, as the host named it
};

/// Sans-I/O discovery: the host sends `enquiry()` (typically as a UDP broadcast) and feeds
/// each datagram that comes back to `receive`.
///
/// One datagram carries one answer, so each is decoded on its own: a frame must start the
/// datagram and its CRC must be right. (The discovery processor compares no CRC and misreads
/// a frame that follows other bytes; taking datagrams whole keeps both from mattering.)
/// A device that answers more than once, or to several enquiries, is listed once, with its
/// latest answer.
class Discovery {
 public:
  /// The network-enquiry request that asks every device to answer on `responsePort`.
  static std::vector<uint8> enquiry(uint16 responsePort);

  /// One datagram received from `from`; false (and counted) when it is not a good answer.
  bool receive(const uint8* data, std::size_t n, const std::string& from);

  /// The devices found so far, in the order they first answered.
  const std::vector<FoundDevice>& devices() const { return devices_; }
  /// Datagrams that were not a good answer (damaged, cut short or something else).
  uint64 rejected() const { return rejected_; }
  /// Forgets every device found (for a new search).
  void clear() { devices_.clear(); }

 private:
  std::vector<FoundDevice> devices_;
  uint64 rejected_ = 0;
};

/// One line describing `device` for a person ("Aurel HF serial 1201 at 192.168.1.20 ...").
std::string describe(const FoundDevice& device);

}  // namespace veliface::host
