#include <veliface/vocabulary/VelDeviceEnums.h>

#include <veliface/vocabulary/internal/EnumText.h>

#include <array>
#include <stdexcept>

using veliface::device::EnumTextTable;
using veliface::device::enumText;

static_assert(sizeof(VelLinkType) == 1 && sizeof(VelDeviceStatus) == 1 &&
                  sizeof(VelSyncStatus) == 1 && sizeof(VelTimeSource) == 1 &&
                  sizeof(ArrayStorageStat) == 1 && sizeof(VelBattStatus) == 1,
              "one-byte status enumerations");
static_assert(sizeof(VelNetworkStatus) == 4 && sizeof(VelPortConnStatus) == 4 &&
                  sizeof(VelChannel) == 4,
              "four-byte status enumerations");

namespace {

constexpr const char* kInvalidStatus = "Invalid Status";

// Every text table of the device states, built once and read-only afterwards, so the
// look-ups may run on any thread.
struct StatusTables {
  // Slots 9 and 10 are reserved by the devices and deliberately have no text.
  std::array<const char*, 11> link{{"Link Type Unknown", "Serial RS232", "USB", "Ethernet",
                                    "Serial RS422", "Serial RS485", "DSL", "Bluetooth",
                                    "Serial Bt", nullptr, nullptr}};
  EnumTextTable<VelDeviceStatus> deviceStatus{
      {DEVSTAT_READY, "Ready"},
      {DEVSTAT_ACQ_NOT_READY, "Acq. Not Ready"},
      {DEVSTAT_NOT_READY, "Not Ready"},
      {DEVSTAT_CONFIG_FAILED, "Config Failed"},
      {DEVSTAT_BAUD_RATE_CONFIG, "Baud Rate Config"},
      {DEVSTAT_FILESYSTEM_FAULT, "Filesystem Fault"}};
  EnumTextTable<VelSyncStatus> syncStatus{
      {SYNC_DISABLED, "Sync disabled"},
      {SYNC_OUT, "Sync Out"},
      {SYNC_OUT_PPS_TIME, "Sync Out/PPS Time"},
      {SYNC_NO_PPS, "No PPS"},
      {SYNC_SYNCING, "Syncing to PPS"},
      {SYNC_SYNCHRONIZED, "PPS Synchronized"},
      {SYNC_NO_PPS_RE, "No PPS (RE)"},
      {SYNC_SYNCING_RE, "Syncing to PPS (RE)"},
      {SYNC_SYNCHRONIZED_RE, "PPS Synchronized (RE)"}};
  EnumTextTable<VelTimeSource> timeSource{
      {TIMESRC_NOT_SET, "Not Set"}, {TIMESRC_MANUAL, "Manual"},
      {TIMESRC_RTC, "RTC"},         {TIMESRC_FILESYSTEM, "Filesystem"},
      {TIMESRC_NTP, "NTP"},         {TIMESRC_GPS, "GPS"},
      {TIMESRC_PTP, "PTP"}};
  EnumTextTable<ArrayStorageStat> storage{
      {STORAGE_UNKNOWN, "Unknown"},
      {STORAGE_NOT_PRESENT, "Drive not present"},
      {STORAGE_PRESENT, "Drive present"},
      {STORAGE_ERROR, "Error"}};
  EnumTextTable<VelBattStatus> battery{
      {BATT_NO_DATA, "No Data"},
      {BATT_CHARGING, "Charging"},
      {BATT_DISCHARGING, "Discharging"},
      {BATT_NOT_CHARGING, "Not Charging"}};
  EnumTextTable<VelNetworkStatus> network{
      {NETSTAT_REACHABLE, "Reachable"}, {NETSTAT_UNREACHABLE, "Unreachable"},
      {NETSTAT_NO_IP, "NoIp"},          {NETSTAT_PENDING, "Pending"},
      {NETSTAT_NOT_FOUND, "NotFound"}};
  EnumTextTable<VelPortConnStatus> portConn{
      {PORTCONN_UNKNOWN, "Unknown"},     {PORTCONN_UNAVAILABLE, "Unavailable"},
      {PORTCONN_AVAILABLE, "Available"}, {PORTCONN_CONNECTED, "Connected"},
      {PORTCONN_CONNECTION_LOST, "ConnectionLost"}};
  EnumTextTable<VelChannel> channel{{CHAN_COMMAND, "Command"}, {CHAN_EPOCH, "Epoch"}};
};

const StatusTables& tables() {
  static const StatusTables t;
  return t;
}

// Build the tables when the library is loaded rather than on first use.
const bool tablesBuilt = (tables(), true);

std::string linkSlotText(unsigned long long value) {
  (void)tablesBuilt;
  const auto& link = tables().link;
  const char* text = link[value < link.size() ? value : 0];
  // Deliberate: the reserved slots have no text and fail as building a string from a null
  // text does, on every standard library alike; callers get std::logic_error, never "".
  if (text == nullptr) throw std::logic_error("basic_string: construction from null is not valid");
  return text;
}

}  // namespace

std::string VelUtil::linkTypeStr(VelLinkType type) { return linkSlotText(type); }

// Negative full-width values wrap to huge unsigned ones and so land in slot 0 like any
// value of 11 or more.
std::string VelUtil::linkTypeStr(t_eLINKBOARD type) {
  return linkSlotText(static_cast<unsigned long long>(static_cast<long long>(type)));
}

VelLinkType VelUtil::linkType(const std::string& text) {
  const auto& link = tables().link;
  // Deliberate: the test is inverted (first slot that differs wins), as on the devices;
  // in effect 1 for "Link Type Unknown", 0 for everything else. Nothing in the library
  // calls this.
  for (std::size_t i = 0; i < link.size(); ++i) {
    if (link[i] == nullptr || text != link[i]) return static_cast<VelLinkType>(i);
  }
  return LINK_UNKNOWN;
}

std::string VelUtil::deviceStatusStr(VelDeviceStatus status) {
  return enumText(tables().deviceStatus, status, kInvalidStatus);
}

std::string VelUtil::syncStatusStr(VelSyncStatus status) {
  return enumText(tables().syncStatus, status, kInvalidStatus);
}

std::string VelUtil::hddStatString(ArrayStorageStat status) {
  return enumText(tables().storage, status, kInvalidStatus);
}

std::string VelUtil::chargeBattStatusStr(VelBattStatus status) {
  return enumText(tables().battery, status, kInvalidStatus);
}

std::string VelUtil::networkStatusStr(VelNetworkStatus status) {
  return enumText(tables().network, status, kInvalidStatus);
}

std::string VelUtil::portConnStatusStr(VelPortConnStatus status) {
  return enumText(tables().portConn, status, kInvalidStatus);
}

std::string VelUtil::chanTypeStr(VelChannel channel) {
  return enumText(tables().channel, channel, kInvalidStatus);
}

std::string VelUtil::timeSrcString(VelTimeSource source) {
  const auto base = static_cast<VelTimeSource>(source & 0x7F);
  const auto& t = tables().timeSource;
  const auto it = t.find(base);
  if (it == t.end()) return "Invalid Time Source";
  return (source & TIMESRC_PPS_FLAG) ? "PPS (" + it->second + ")" : it->second;
}
