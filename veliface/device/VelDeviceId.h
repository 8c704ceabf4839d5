#pragma once
/// \file Identity of a device: type and serial, with its network information and members.

#include <mavcommon/MavNetHostInfo.h>
#include <veliface/vocabulary/VelDeviceType.h>

#include <string>
#include <vector>

class VelDevice;

/// The identity of one device: its type and serial number (which alone decide equality and
/// order), the network information of the device or of its host, its number on that host,
/// and, for an array host, the identities of the units behind it (owned, copied deeply).
class VelDeviceId {
 public:
  /// Type "No device", serial 0, default network information, no members, host number 0.
  VelDeviceId();
  /// The given type and serial; everything else as the default constructor.
  VelDeviceId(VelDeviceType type, unsigned short serial);
  /// The given type, serial and network information.
  VelDeviceId(VelDeviceType type, unsigned short serial, const MavNetHostInfo& info);
  /// The identity of `device`, taken through its accessors `devType()`, `serial()` and
  /// `netHostInfo()`; no members, host number 0. Defined with the device classes.
  explicit VelDeviceId(const VelDevice& device);

  /// Deep copy; the network information is taken through the source's `netHostInfo()`.
  VelDeviceId(const VelDeviceId& other);
  /// Moves the member list; the network information is taken through `netHostInfo()`.
  VelDeviceId(VelDeviceId&& other) noexcept;
  /// Deep copy; the network information is taken through the source's `netHostInfo()`.
  VelDeviceId& operator=(const VelDeviceId& other);
  /// Moves the member list; the network information is taken through `netHostInfo()`.
  VelDeviceId& operator=(VelDeviceId&& other) noexcept;

  /// The network information of the device or of the host through which it is reached.
  virtual MavNetHostInfo netHostInfo() const;
  /// Replaces the network information.
  virtual void setNetHostInfo(const MavNetHostInfo& info);
  /// Virtual, declared after the accessors so that they keep the first slots.
  virtual ~VelDeviceId() = default;

  /// Same type and serial (network information, host number and members are ignored).
  bool operator==(const VelDeviceId& other) const;
  /// Negation of ==.
  bool operator!=(const VelDeviceId& other) const { return !(*this == other); }
  /// By type as a signed byte (so 0xFF before 0), then by serial.
  bool operator<(const VelDeviceId& other) const;

  /// The kind of device.
  VelDeviceType devType() const { return devType_; }
  /// The serial number.
  unsigned short serialNo() const { return serialNo_; }
  /// The device's number on its host; 0 when it is not behind a host.
  unsigned short hostDevNo() const { return hostDevNo_; }
  /// Sets the number on the host.
  void setHostDevNo(unsigned short n) { hostDevNo_ = n; }

  /// The identities of the units behind this device, modifiable.
  std::vector<VelDeviceId>& devIdList() { return devIdList_; }
  /// The identities of the units behind this device.
  const std::vector<VelDeviceId>& cDevIdList() const { return devIdList_; }
  /// Replaces the member list by a deep copy of `other`'s member list (not of `other`).
  void setDevIdList(const VelDeviceId& other);
  /// Replaces the member list by a deep copy of `list`.
  void setDevIdList(const std::vector<VelDeviceId>& list);

  /// "<type text> #<serial>", then " (<host number>)" when the host number is not 0.
  std::string friendlyName() const;
  /// As `friendlyName`, with each separator on a new line, for a two- or three-line label.
  std::string friendly2Name() const;

 private:
  std::string name(const char* serialSep, const char* hostSep) const;

  VelDeviceType devType_ = DEV_NONE;
  unsigned short serialNo_ = 0;
  MavNetHostInfo netHostInfo_;
  std::vector<VelDeviceId> devIdList_;
  unsigned short hostDevNo_ = 0;
};
