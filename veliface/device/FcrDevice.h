#pragma once
/// \file The FCR: an array device that holds the member devices of its array.

#include <veliface/device/VelDevice.h>
#include <veliface/device/VelDeviceId.h>

#include <memory>
#include <vector>

/// An array device: a sensor device that also holds the list of the devices of its array.
///
/// Array rules:
/// - Two member lists are the same when they hold the same member identities (device type
///   and serial), each as often, in any order: members report in no fixed order, so the order
///   of a list carries no meaning. Empty list entries are not members.
/// - `checkArray(other)` holds when `other` is an FCR of the same device type whose member
///   list is the same as this one's.
class FcrDevice : public VelDevice {
 public:
  /// The member devices of an array.
  using DeviceList = std::vector<std::shared_ptr<MavDevice>>;

  /// An FCR of type `type` with every field at its default and no members.
  explicit FcrDevice(VelDeviceType type);
  /// An FCR with the given serial, type, network settings and job-settings tags.
  FcrDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info, const JobTagMap& tags);

  /// Same device type, `other` is an FCR, and the same members (see the class comment).
  bool checkArray(MavDevice& other) override;

  /// The member devices.
  const DeviceList& devList() const { return devList_; }
  /// Replaces the members by the devices of `list` (shared, not copied); empty entries are
  /// dropped. A member that links back to this FCR (a `RowanDevice` through `setFCRDev`)
  /// forms a cycle of shared pointers, which the host breaks by clearing one of the links.
  void setDevList(const DeviceList& list);
  /// Replaces the members by new devices made for the identities of `ids`: the class their
  /// type calls for, with their serial and network information.
  void setDevList(const std::vector<VelDeviceId>& ids);
  /// Whether `list` holds the same members as this FCR.
  bool compareDevLists(const DeviceList& list) const;
  /// Whether `ids` name the same members as this FCR.
  bool compareDevLists(const std::vector<VelDeviceId>& ids) const;
  /// The FCR's identity, with the identities of its members as its member list.
  VelDeviceId deviceId() const;

 private:
  DeviceList devList_;
};
