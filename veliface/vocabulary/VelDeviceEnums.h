#pragma once
/// \file Closed enumerations that describe devices and their states, with their display texts.

#include <mavcommon/MavTypes.h>

#include <cstdint>
#include <string>

/// How the host is connected to a device (one byte).
enum VelLinkType : uint8 {
  LINK_UNKNOWN = 0,       ///< "Link Type Unknown"
  LINK_RS232 = 1,         ///< "Serial RS232"
  LINK_USB = 2,           ///< "USB"
  LINK_ETHERNET = 3,      ///< "Ethernet"
  LINK_RS422 = 4,         ///< "Serial RS422"
  LINK_RS485 = 5,         ///< "Serial RS485"
  LINK_DSL = 6,           ///< "DSL"
  LINK_BLUETOOTH = 7,     ///< "Bluetooth"
  LINK_SERIAL_BT = 8,     ///< "Serial Bt"
  LINK_RESERVED_9 = 9,    ///< reserved slot without text
  LINK_RESERVED_10 = 10   ///< reserved slot without text
};

/// The uplink card's link kind: the same values as `VelLinkType`, held at full width (int).
enum t_eLINKBOARD : int {
  eLINKBOARD_UNKNOWN = 0,      ///< "Link Type Unknown"
  eLINKBOARD_RS232 = 1,        ///< "Serial RS232"
  eLINKBOARD_USB = 2,          ///< "USB"
  eLINKBOARD_ETHERNET = 3,     ///< "Ethernet"
  eLINKBOARD_RS422 = 4,        ///< "Serial RS422"
  eLINKBOARD_RS485 = 5,        ///< "Serial RS485"
  eLINKBOARD_DSL = 6,          ///< "DSL"
  eLINKBOARD_BLUETOOTH = 7,    ///< "Bluetooth"
  eLINKBOARD_SERIAL_BT = 8,    ///< "Serial Bt"
  eLINKBOARD_RESERVED_9 = 9,   ///< reserved slot without text
  eLINKBOARD_RESERVED_10 = 10  ///< reserved slot without text
};

/// Readiness of a device (one byte).
enum VelDeviceStatus : uint8 {
  DEVSTAT_READY = 0,             ///< "Ready"
  DEVSTAT_ACQ_NOT_READY = 1,     ///< "Acq. Not Ready"
  DEVSTAT_NOT_READY = 2,         ///< "Not Ready"
  DEVSTAT_CONFIG_FAILED = 3,     ///< "Config Failed"
  DEVSTAT_BAUD_RATE_CONFIG = 4,  ///< "Baud Rate Config"
  DEVSTAT_FILESYSTEM_FAULT = 5   ///< "Filesystem Fault"
};

/// Time synchronisation state of a device (one byte); "RE" states follow an external unit.
enum VelSyncStatus : uint8 {
  SYNC_DISABLED = 0,           ///< "Sync disabled"
  SYNC_OUT = 1,                ///< "Sync Out"
  SYNC_OUT_PPS_TIME = 2,       ///< "Sync Out/PPS Time"
  SYNC_NO_PPS = 3,             ///< "No PPS"
  SYNC_SYNCING = 4,            ///< "Syncing to PPS"
  SYNC_SYNCHRONIZED = 5,       ///< "PPS Synchronized"
  SYNC_NO_PPS_RE = 6,          ///< "No PPS (RE)"
  SYNC_SYNCING_RE = 7,         ///< "Syncing to PPS (RE)"
  SYNC_SYNCHRONIZED_RE = 8     ///< "PPS Synchronized (RE)"
};

/// Where a device's clock came from (one byte). Bits 0-6 are the source; bit 7
/// (`TIMESRC_PPS_FLAG`) says the time is disciplined by a pulse-per-second input.
enum VelTimeSource : uint8 {
  TIMESRC_NOT_SET = 0,      ///< "Not Set"
  TIMESRC_MANUAL = 1,       ///< "Manual"
  TIMESRC_RTC = 2,          ///< "RTC"
  TIMESRC_FILESYSTEM = 3,   ///< "Filesystem"
  TIMESRC_NTP = 4,          ///< "NTP"
  TIMESRC_GPS = 5,          ///< "GPS"
  TIMESRC_PTP = 6,          ///< "PTP"
  TIMESRC_PPS_FLAG = 0x80   ///< flag bit: time disciplined by PPS
};

/// State of an array host's storage drive (one byte).
enum ArrayStorageStat : uint8 {
  STORAGE_UNKNOWN = 0,      ///< "Unknown"
  STORAGE_NOT_PRESENT = 1,  ///< "Drive not present"
  STORAGE_PRESENT = 2,      ///< "Drive present"
  STORAGE_ERROR = 3         ///< "Error"
};

/// Battery charge state (one byte).
enum VelBattStatus : uint8 {
  BATT_NO_DATA = 0,       ///< "No Data"
  BATT_CHARGING = 1,      ///< "Charging"
  BATT_DISCHARGING = 2,   ///< "Discharging"
  BATT_NOT_CHARGING = 3   ///< "Not Charging"
};

/// Reachability of a unit on the array network (four bytes).
enum VelNetworkStatus : std::int32_t {
  NETSTAT_REACHABLE = 0,    ///< "Reachable"
  NETSTAT_UNREACHABLE = 1,  ///< "Unreachable"
  NETSTAT_NO_IP = 2,        ///< "NoIp"
  NETSTAT_PENDING = 3,      ///< "Pending"
  NETSTAT_NOT_FOUND = 4     ///< "NotFound"
};

/// State of a host port (four bytes).
enum VelPortConnStatus : std::int32_t {
  PORTCONN_UNKNOWN = 0,          ///< "Unknown"
  PORTCONN_UNAVAILABLE = 1,      ///< "Unavailable"
  PORTCONN_AVAILABLE = 2,        ///< "Available"
  PORTCONN_CONNECTED = 3,        ///< "Connected"
  PORTCONN_CONNECTION_LOST = 4   ///< "ConnectionLost"
};

/// The channel that a message came on (four bytes).
enum VelChannel : std::int32_t {
  CHAN_COMMAND = 0,  ///< "Command"
  CHAN_EPOCH = 1     ///< "Epoch"
};

namespace VelUtil {
/// Text of a link type; 11 and above give "Link Type Unknown". 9 and 10 are reserved
/// slots without text and throw std::logic_error.
std::string linkTypeStr(VelLinkType type);
/// Same table and rules as the `VelLinkType` form, for the uplink card's link kind.
std::string linkTypeStr(t_eLINKBOARD type);
/// Reverse link-type look-up with the devices' inverted test: the first index whose text
/// differs from `text`, so 1 for "Link Type Unknown" and 0 for every other text.
VelLinkType linkType(const std::string& text);
/// Text of a device status, "Invalid Status" for values without one.
std::string deviceStatusStr(VelDeviceStatus status);
/// Text of a synchronisation status, "Invalid Status" for values without one.
std::string syncStatusStr(VelSyncStatus status);
/// Text of an array storage status, "Invalid Status" for values without one.
std::string hddStatString(ArrayStorageStat status);
/// Text of a battery charge status, "Invalid Status" for values without one.
std::string chargeBattStatusStr(VelBattStatus status);
/// Text of a network status, "Invalid Status" for values without one.
std::string networkStatusStr(VelNetworkStatus status);
/// Text of a port connection status, "Invalid Status" for values without one.
std::string portConnStatusStr(VelPortConnStatus status);
/// Text of a channel, "Invalid Status" for values without one.
std::string chanTypeStr(VelChannel channel);
/// Text of a time source: "PPS (<source>)" when bit 7 is set, "Invalid Time Source" when
/// bits 0-6 name no source.
std::string timeSrcString(VelTimeSource source);
}  // namespace VelUtil
