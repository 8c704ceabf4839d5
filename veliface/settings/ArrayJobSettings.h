#pragma once
/// \file Array-wide job settings of an array hub: member type, control and log modes, start
/// time, duty cycle, the hub's network settings and the member lists.

#include <veliface/vocabulary/VelDeviceType.h>
#include <veliface/settings/VelJobSettings.h>

#include <string>
#include <vector>

/// Job settings of an array: the array tags live in the same map as the per-device ones.
///
/// Invariant: the map always holds an HciDeviceListTag under ARRAY_SERIALS and an
/// HciDeviceIpListTag under ARRAY_IP_ADDR; the list mutators change those tags in place.
class ArrayJobSettings : public VelJobSettings {
 public:
  /// Empty lists, every other getter at its default.
  ArrayJobSettings() { initializeTags(); }
  /// Shares the tags of `m` and adds the lists it lacks.
  explicit ArrayJobSettings(const JobTagMap& m) : VelJobSettings(m) { initializeTags(); }
  /// Nothing beyond the base.
  ~ArrayJobSettings() override = default;

  /// Replaces the whole map, then adds the lists it lacks.
  void setMap(const JobTagMap& m) override;
  /// Each tag's text form followed by "\n", in ascending key order (array tags included).
  std::string toString() const override;

  /// Stores an empty list tag under each list key that has no entry; others stay.
  void initializeTags();

  /// Device type of the members; 5 when unset.
  VelDeviceType arrDevType() const;
  /// Stores a new member device type.
  void setArrDevType(VelDeviceType t);
  /// Control mode; 0 when unset.
  HciControlMode arrCtrlMode() const;
  /// Stores a new control mode.
  void setArrCtrlMode(HciControlMode m);
  /// Returns the CONTROL MODE (0 when unset), not the wave log mode; see the definition.
  VelLogMode arrWavLogMode() const;
  /// Stores a new array wave log mode (ARRAY_WAVE_LOG_MODE).
  void setArrWavLogMode(VelLogMode m);
  /// Array spectrum log mode; 0 when unset.
  VelLogMode arrFftLogMode() const;
  /// Stores a new array spectrum log mode.
  void setArrFftLogMode(VelLogMode m);
  /// Epoch log mode; 0 when unset.
  unsigned arrEpochLogMode() const;
  /// Stores a new epoch log mode.
  void setArrEpochLogMode(unsigned m);
  /// Array wave log length; 1 when unset.
  unsigned arrWavLogLen() const;
  /// Stores a new array wave log length.
  void setArrWavLogLen(unsigned n);
  /// Always 1 with the tags that setters and readers store; see the definition.
  unsigned arrFftLogLen() const;
  /// Stores a new array spectrum log length (an HciFftLogLenTag).
  void setArrFftLogLen(unsigned n);
  /// Hub subnet mask as an integer; 0 when unset.
  unsigned hciSubnet() const;
  /// Stores a new hub subnet mask.
  void setHciSubnet(unsigned a);
  /// Hub gateway as an integer; 0 when unset.
  unsigned hciGateway() const;
  /// Stores a new hub gateway.
  void setHciGateway(unsigned a);
  /// Hub DNS server as an integer; 0 when unset.
  unsigned hciDns() const;
  /// Stores a new hub DNS server.
  void setHciDns(unsigned a);
  /// Battery conservation; 1 when unset.
  unsigned consvBatt() const;
  /// Stores a new battery conservation setting.
  void setConsvBatt(unsigned v);
  /// Array start time of logging; -1 when unset.
  int hciLogStartTime() const;
  /// Stores a new array start time.
  void setHciLogStartTime(int t);
  /// Array duty-cycle period; 0 when unset.
  unsigned hciDutyCyclePeriod() const;
  /// Stores a new array duty-cycle period.
  void setHciDutyCyclePeriod(unsigned t);
  /// Active part of the array duty cycle; 0 when unset.
  unsigned hciDutyCycleActive() const;
  /// Stores a new active part of the array duty cycle.
  void setHciDutyCycleActive(unsigned t);
  /// Data recorded during the array duty cycle; 0 when unset.
  unsigned hciDutyCycleDataType() const;
  /// Stores a new duty-cycle data type.
  void setHciDutyCycleDataType(unsigned v);

  /// Member serial numbers.
  std::vector<uint16> deviceList() const;
  /// Whether `serial` is a member.
  bool containsDevice(uint16 serial) const;
  /// Replaces the member serials (in the shared list tag).
  void setDeviceList(const std::vector<uint16>& devices);
  /// Appends a member serial (in the shared list tag).
  void addDevice(uint16 serial);
  /// Removes the first occurrence of a member serial (in the shared list tag).
  void removeDevice(uint16 serial);
  /// Member IPv4 addresses.
  std::vector<uint32> addrList() const;
  /// Hub IPv4 address; 0 when unset.
  uint32 hciAddress() const;
  /// Replaces the member addresses (in the shared list tag).
  void setAddrList(const std::vector<uint32>& addrs);
  /// Replaces the hub address (in the shared list tag).
  void setHciAddress(uint32 addr);

  /// Independent copies of the network tags present (netmask, gateway, DNS, address list).
  JobTagMap networkTags() const;
  /// Takes over the network tags that `m` holds (shared, not copied); ignores the rest.
  void setNetworkTags(const JobTagMap& m);
};
