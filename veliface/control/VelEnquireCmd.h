#pragma once
/// \file The enquire command (0x45) and the versioned device-data records of its response.

#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/VelCommandPayload.h>

#include <memory>
#include <string>

/// Root of the type-specific record that follows the identity block of an enquire response.
class VelEnqDeviceData {
 public:
  /// Virtual: records are held through this root.
  virtual ~VelEnqDeviceData() = default;
  /// The record version as the device sent it (0 when the record was empty or missing).
  uint8 enqVersion() const { return enqVersion_; }
  /// Sets the record version.
  void setEnqVersion(uint8 v) { enqVersion_ = v; }

 private:
  uint8 enqVersion_ = 0;
};

/// Record of hydrophone-class devices (types 5, 7 and 15). Raw device values; their scaling
/// belongs to the device-state update.
class VelEnqHFData : public VelEnqDeviceData, public DeserializationFactory<VelEnqHFData> {
 public:
  /// Raw sensitivity (version 1 and later).
  uint16 sensitivity() const { return sensitivity_; }
  /// Sets the raw sensitivity.
  void setSensitivity(uint16 v) { sensitivity_ = v; }
  /// Raw temperature (version 3 and later).
  uint16 temperature() const { return temperature_; }
  /// Sets the raw temperature.
  void setTemperature(uint16 v) { temperature_ = v; }
  /// Raw humidity (version 3 and later).
  uint16 humidity() const { return humidity_; }
  /// Sets the raw humidity.
  void setHumidity(uint16 v) { humidity_ = v; }
  /// Battery status code (version 3 and later).
  uint8 battStat() const { return battStat_; }
  /// Sets the battery status code.
  void setBattStat(uint8 v) { battStat_ = v; }
  /// Battery charge in percent (version 3 and later).
  uint8 battPercent() const { return battPercent_; }
  /// Sets the battery charge.
  void setBattPercent(uint8 v) { battPercent_ = v; }
  /// Hardware revision (version 3 and later).
  uint8 hardwareRev() const { return hardwareRev_; }
  /// Sets the hardware revision.
  void setHardwareRev(uint8 v) { hardwareRev_ = v; }
  /// Link type, a `VelLinkType` value (version 3 and later).
  uint8 linkType() const { return linkType_; }
  /// Sets the link type.
  void setLinkType(uint8 v) { linkType_ = v; }
  /// Firmware release text (version 4 and later).
  const std::string& firmwareRel() const { return firmwareRel_; }
  /// Sets the firmware release text.
  void setFirmwareRel(const std::string& v) { firmwareRel_ = v; }
  /// Time-sync status code (version 4 and later).
  uint8 syncStatus() const { return syncStatus_; }
  /// Sets the time-sync status code.
  void setSyncStatus(uint8 v) { syncStatus_ = v; }
  /// Time source code (version 4 and later).
  uint8 timeSrc() const { return timeSrc_; }
  /// Sets the time source code.
  void setTimeSrc(uint8 v) { timeSrc_ = v; }
  /// Model text (version 5 and later).
  const std::string& modelString() const { return modelString_; }
  /// Sets the model text.
  void setModelString(const std::string& v) { modelString_ = v; }

  /// Reads the version byte and every group up to that version that this library knows.
  static VelEnqHFData* deserialize(ByteStream* s);

 private:
  uint16 sensitivity_ = 0;
  uint16 temperature_ = 0;
  uint16 humidity_ = 0;
  uint8 battStat_ = 0;
  uint8 battPercent_ = 0;
  uint8 hardwareRev_ = 0;
  uint8 linkType_ = 0;
  std::string firmwareRel_;
  uint8 syncStatus_ = 0;
  uint8 timeSrc_ = 0;
  std::string modelString_;
};

/// Record of an array hub (type 8).
class VelEnqHCIData : public VelEnqDeviceData, public DeserializationFactory<VelEnqHCIData> {
 public:
  /// Hardware revision.
  uint8 hardwareRev() const { return hardwareRev_; }
  /// Sets the hardware revision.
  void setHardwareRev(uint8 v) { hardwareRev_ = v; }
  /// Link type, a `VelLinkType` value.
  uint8 linkType() const { return linkType_; }
  /// Sets the link type.
  void setLinkType(uint8 v) { linkType_ = v; }
  /// Firmware release text.
  const std::string& firmwareRel() const { return firmwareRel_; }
  /// Sets the firmware release text.
  void setFirmwareRel(const std::string& v) { firmwareRel_ = v; }

  /// Reads the version byte and, for version 1 or later, the one group.
  static VelEnqHCIData* deserialize(ByteStream* s);

 private:
  uint8 hardwareRev_ = 0;
  uint8 linkType_ = 0;
  std::string firmwareRel_;
};

/// Record of a stand-alone recorder (type 13).
class VelEnqSmRecData : public VelEnqDeviceData, public DeserializationFactory<VelEnqSmRecData> {
 public:
  /// Raw free recording space.
  int64 hddSpace() const { return hddSpace_; }
  /// Sets the raw free recording space.
  void setHddSpace(int64 v) { hddSpace_ = v; }
  /// Model text.
  const std::string& modelString() const { return modelString_; }
  /// Sets the model text.
  void setModelString(const std::string& v) { modelString_ = v; }
  /// Hardware revision.
  uint8 hardwareRev() const { return hardwareRev_; }
  /// Sets the hardware revision.
  void setHardwareRev(uint8 v) { hardwareRev_ = v; }
  /// Link type, a `VelLinkType` value.
  uint8 linkType() const { return linkType_; }
  /// Sets the link type.
  void setLinkType(uint8 v) { linkType_ = v; }
  /// Time-sync status code.
  uint8 syncStatus() const { return syncStatus_; }
  /// Sets the time-sync status code.
  void setSyncStatus(uint8 v) { syncStatus_ = v; }
  /// Time source code.
  uint8 timeSrc() const { return timeSrc_; }
  /// Sets the time source code.
  void setTimeSrc(uint8 v) { timeSrc_ = v; }
  /// Recording-disk status code.
  uint8 hddStat() const { return hddStat_; }
  /// Sets the recording-disk status code.
  void setHddStat(uint8 v) { hddStat_ = v; }
  /// Battery charge in percent.
  uint8 battPercent() const { return battPercent_; }
  /// Sets the battery charge.
  void setBattPercent(uint8 v) { battPercent_ = v; }

  /// Reads the version byte and, for version 1 or later, the one 30-byte group.
  static VelEnqSmRecData* deserialize(ByteStream* s);

 private:
  int64 hddSpace_ = 0;
  std::string modelString_;
  uint8 hardwareRev_ = 0;
  uint8 linkType_ = 0;
  uint8 syncStatus_ = 0;
  uint8 timeSrc_ = 0;
  uint8 hddStat_ = 0;
  uint8 battPercent_ = 0;
};

/// The enquire command: sent with an empty payload, and the decoded response, which holds
/// the device's identity block and its type-specific record.
class VelEnquireCmd : public VelControlMsgPayload, public DeserializationFactory<VelEnquireCmd> {
 public:
  /// Writes nothing: the request is a frame of length 0.
  void serialize(uint64* len, uint8* buf) const override;
  /// 0x45.
  uint8 commandCode() const override { return 0x45; }

  /// Device serial number.
  uint16 serial() const { return serial_; }
  /// Sets the serial number.
  void setSerial(uint16 v) { serial_ = v; }
  /// Device type, a `VelDeviceType` value.
  uint8 devType() const { return devType_; }
  /// Sets the device type.
  void setDevType(uint8 v) { devType_ = v; }
  /// Firmware version text.
  const std::string& firmwareVer() const { return firmwareVer_; }
  /// Sets the firmware version text.
  void setFirmwareVer(const std::string& v) { firmwareVer_ = v; }
  /// Firmware build date text.
  const std::string& buildDate() const { return buildDate_; }
  /// Sets the build date text.
  void setBuildDate(const std::string& v) { buildDate_ = v; }
  /// Device status, a `VelDeviceStatus` value.
  uint8 status() const { return status_; }
  /// Sets the device status.
  void setStatus(uint8 v) { status_ = v; }
  /// The type-specific record; empty when the device type has none.
  const std::shared_ptr<VelEnqDeviceData>& deviceData() const { return deviceData_; }
  /// Sets the type-specific record.
  void setDeviceData(std::shared_ptr<VelEnqDeviceData> d) { deviceData_ = std::move(d); }

  /// Reads the identity block and the record that the device type names.
  static VelEnquireCmd* deserialize(ByteStream* s);

 private:
  uint16 serial_ = 0;
  uint8 devType_ = 0;
  std::string firmwareVer_;
  std::string buildDate_;
  uint8 status_ = 0;
  std::shared_ptr<VelEnqDeviceData> deviceData_;
};
