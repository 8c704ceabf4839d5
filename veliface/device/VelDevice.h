#pragma once
/// \file Sensor devices: the hydrophone-class device, the stand-alone recorder and the array
/// host, each refreshed from its own enquire record.

#include <veliface/device/MavDevice.h>

#include <initializer_list>
#include <string>

/// A sensor device: adds the sensor readings, battery, link, time sync and model data that
/// the hydrophone-class enquire record carries.
class VelDevice : public MavDevice {
 public:
  /// A device of type `type` with every field at its default (sensitivity -170 dB).
  explicit VelDevice(VelDeviceType type);
  /// A device with the given serial, type, network settings and job-settings tags.
  VelDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info, const JobTagMap& tags);

  /// As the common device, then takes the hydrophone record: true when either part changed.
  /// Sensitivity and temperature arrive as signed tenths, humidity as unsigned tenths.
  bool updateDeviceInfo(const VelEnquireCmd& cmd) override;
  /// The common dump with link type, sensitivity, firmware release, model, temperature and
  /// battery lines.
  std::string toString() const override;
  /// As the common device, with the device's own sensitivity, and with `useTagReference`
  /// the spectrum-reference level of the job settings when it is set.
  MavDataScale getDataScale(eReferenceType ref, double rate, bool useTagReference) const override;

  /// Hydrophone sensitivity, dB re 1 V/uPa.
  virtual float sensitivity() const { return sensitivity_; }
  /// Sets the sensitivity.
  virtual void setSensitivity(float v) { sensitivity_ = v; }
  /// Temperature, degrees Celsius.
  virtual float temperature() const { return temperature_; }
  /// Sets the temperature.
  virtual void setTemperature(float v) { temperature_ = v; }
  /// Relative humidity, percent.
  virtual float humidity() const { return humidity_; }
  /// Sets the humidity.
  virtual void setHumidity(float v) { humidity_ = v; }
  /// Battery charge status.
  virtual VelBattStatus battStat() const { return battStat_; }
  /// Sets the battery charge status.
  virtual void setBattStat(VelBattStatus v) { battStat_ = v; }
  /// Battery charge, percent.
  virtual uint8 battPercent() const { return battPercent_; }
  /// Sets the battery charge.
  virtual void setBattPercent(uint8 v) { battPercent_ = v; }
  /// Hardware revision.
  virtual uint8 hardwareRev() const { return hardwareRev_; }
  /// Sets the hardware revision.
  virtual void setHardwareRev(uint8 v) { hardwareRev_ = v; }
  /// How the host reaches the device.
  virtual VelLinkType linkType() const { return linkType_; }
  /// Sets the link type.
  virtual void setLinkType(VelLinkType v) { linkType_ = v; }
  /// Firmware release text ("n/a" until known).
  virtual std::string firmwareRel() const { return firmwareRel_; }
  /// Sets the firmware release text.
  virtual void setFirmwareRel(const std::string& v) { firmwareRel_ = v; }
  /// Time synchronisation status.
  virtual VelSyncStatus syncStatus() const { return syncStatus_; }
  /// Sets the time synchronisation status.
  virtual void setSyncStatus(VelSyncStatus v) { syncStatus_ = v; }
  /// Source of the system clock.
  virtual VelTimeSource sysTimeStatus() const { return sysTimeStatus_; }
  /// Sets the source of the system clock.
  virtual void setSysTimeStatus(VelTimeSource v) { sysTimeStatus_ = v; }
  /// Model text ("Unknown" until known).
  virtual std::string modelString() const { return modelString_; }
  /// Sets the model text.
  virtual void setModelString(const std::string& v) { modelString_ = v; }

 protected:
  /// The lines this family adds to the common dump.
  enum class DumpLine {
    LinkType, Sensitivity, FirmwareRel, Model, Temperature, BattStat, BattPercent
  };
  /// "Label: value" and a line feed for each of `which`, in the order given. Readings print
  /// with one decimal, codes as decimal numbers.
  std::string dumpLines(std::initializer_list<DumpLine> which) const;

 private:
  float sensitivity_ = -170.0f;
  float temperature_ = 0.0f;
  float humidity_ = 0.0f;
  VelBattStatus battStat_ = BATT_NO_DATA;
  uint8 battPercent_ = 0;
  uint8 hardwareRev_ = 0;
  VelLinkType linkType_ = LINK_UNKNOWN;
  std::string firmwareRel_ = "n/a";
  VelSyncStatus syncStatus_ = SYNC_DISABLED;
  VelTimeSource sysTimeStatus_ = TIMESRC_NOT_SET;
  std::string modelString_ = "Unknown";
};

/// A stand-alone recorder: adds its clock source and the state and space of its storage.
///
/// Its refresh deliberately reports only changes of its own record, unlike `VelDevice`: the
/// identity step is applied but its result is dropped, and callers that act on a true result
/// see only recorder-record changes.
class SmRecDevice : public VelDevice {
 public:
  /// A recorder of type `type` with every field at its default.
  explicit SmRecDevice(VelDeviceType type);
  /// A recorder with the given serial, type, network settings and job-settings tags.
  SmRecDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info,
              const JobTagMap& tags);

  /// Applies the common identity step, then takes the recorder record; true only when a
  /// field of that record changed (false when the record is absent or of another kind).
  bool updateDeviceInfo(const VelEnquireCmd& cmd) override;
  /// The common dump with link type, model and battery lines.
  std::string toString() const override;
  /// The model text from the recorder record.
  std::string modelString() const override { return VelDevice::modelString(); }
  /// Sets the model text.
  void setModelString(const std::string& v) override { VelDevice::setModelString(v); }

  /// Source of the recorder's clock.
  virtual VelTimeSource sysTimeSrc() const { return sysTimeSrc_; }
  /// Sets the clock source.
  virtual void setSysTimeSrc(VelTimeSource v) { sysTimeSrc_ = v; }
  /// State of the storage drive.
  virtual ArrayStorageStat hddStat() const { return hddStat_; }
  /// Sets the state of the storage drive.
  virtual void setHddStat(ArrayStorageStat v) { hddStat_ = v; }
  /// Storage space as the recorder reports it.
  virtual uint64 hddSpace() const { return hddSpace_; }
  /// Sets the storage space.
  virtual void setHddSpace(uint64 v) { hddSpace_ = v; }

 private:
  VelTimeSource sysTimeSrc_ = TIMESRC_NOT_SET;
  ArrayStorageStat hddStat_ = STORAGE_UNKNOWN;
  uint64 hddSpace_ = 0;
};

/// An array host (hub).
///
/// Like the recorder, and deliberately unlike `VelDevice`, its refresh reports only changes
/// of its own record.
class HciDevice : public VelDevice {
 public:
  /// A hub of type `type` with every field at its default.
  explicit HciDevice(VelDeviceType type);
  /// A hub with the given serial, type, network settings and job-settings tags.
  HciDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info, const JobTagMap& tags);

  /// Applies the common identity step, then takes the hub record; true only when a field of
  /// that record changed (false when the record is absent or of another kind).
  bool updateDeviceInfo(const VelEnquireCmd& cmd) override;
  /// The common dump with link type and firmware release lines.
  std::string toString() const override;
  /// The firmware release text from the hub record.
  std::string firmwareRel() const override { return VelDevice::firmwareRel(); }
  /// Sets the firmware release text.
  void setFirmwareRel(const std::string& v) override { VelDevice::setFirmwareRel(v); }
};
