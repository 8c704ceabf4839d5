#pragma once
/// \file Text metadata of a recording, written as the LIST/INFO chunk of its WAV file: one
/// variant for a single sensor (HF) and one for an array hub with its channels (HCI).

#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/ISerializable.h>
#include <veliface/vocabulary/VelDeviceType.h>
#include <veliface/files/MavWavFormat.h>

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavTypes.h>

#include <string>
#include <vector>

/// Abstract INFO metadata of one recording file; also the writer's "new file" event.
class MavWavInfoData : public MavWavEventData, public ISerializable {
 public:
  ~MavWavInfoData() override = default;

  /// Display text of the device on `channel`.
  virtual std::string deviceStr(unsigned char channel) const = 0;
  /// Sets the device type of `channel`.
  virtual void setDeviceType(VelDeviceType type, unsigned char channel) = 0;
  /// Device type of `channel`.
  virtual VelDeviceType deviceType(unsigned char channel) const = 0;
  /// Serial number of `channel`.
  virtual uint16 serialNo(unsigned char channel) const = 0;
  /// Sets the serial number of `channel`.
  virtual void setSerialNo(unsigned short serial, unsigned char channel) = 0;
  /// Model text of `channel`.
  virtual std::string modelStr(unsigned char channel) const = 0;
  /// The start time as a WAV date stamp.
  virtual std::string datetimeStr() const = 0;
  /// Start time of the file's first sample block, seconds since 1970 UTC.
  virtual long long timestamp() const { return timestamp_; }
  /// Sets the start time.
  virtual void setTime(long long t) { timestamp_ = t; }
  /// The software that wrote the file.
  virtual std::string creatorStr() const = 0;
  /// Sets the creator text.
  virtual void setCreator(std::string creator) = 0;
  /// The recording's file name (without extension).
  virtual std::string filename() const = 0;
  /// Sets the file name.
  virtual void setFilename(std::string name) = 0;
  /// Full-scale peak voltage, whole volts.
  virtual float voltsPk() const = 0;
  /// Sets the peak voltage; the fraction is dropped.
  virtual void setVoltsPk(float v) = 0;
  /// Hydrophone sensitivity of `channel` in dBV re 1 uPa.
  virtual short sensitivity(unsigned char channel) const = 0;
  /// Sets the sensitivity of `channel`.
  virtual void setSensitivity(short v, unsigned char channel) = 0;
  /// Temperature of `channel` in tenths of a degree Celsius.
  virtual short temperature(unsigned char channel) const = 0;
  /// Sets the temperature of `channel`.
  virtual void setTemperature(short v, unsigned char channel) = 0;
  /// Relative humidity of `channel` in tenths of a percent.
  virtual unsigned short humidity(unsigned char channel) const = 0;
  /// Sets the humidity of `channel`.
  virtual void setHumidity(unsigned short v, unsigned char channel) = 0;
  /// Stream sequence number of the file's first block.
  virtual unsigned long long seqNum() const { return seqNum_; }
  /// Sets the sequence number.
  virtual void setSeqNum(unsigned long long v) { seqNum_ = v; }
  /// Number of channels recorded.
  virtual uint8 numChannels() const = 0;
  /// Sample value that corresponds to full scale.
  virtual int maxCount() const = 0;
  /// Sets the full-scale sample value.
  virtual void setMaxCount(int v) = 0;
  /// Sets the number of channels recorded.
  virtual void setNumChannels(unsigned char n) = 0;
  /// Writes the INFO body ("INFO" and its sub-chunks) at `buf`; `*len` grows by its size.
  void serialize(uint64* len, uint8* buf) const override = 0;
  /// Number of bytes that `serialize` writes, so that a writer can size its buffer.
  virtual uint64 serializedSize() const = 0;

 private:
  long long timestamp_ = 0;
  unsigned long long seqNum_ = 0;
};

/// INFO metadata of a recording from one sensor.
class MavWavInfoDataHF : public MavWavInfoData, public DeserializationFactory<MavWavInfoDataHF> {
 public:
  /// Device-type text of the sensor (the channel is ignored).
  std::string deviceStr(unsigned char channel) const override;
  /// Sets the sensor's device type (the channel is ignored).
  void setDeviceType(VelDeviceType type, unsigned char channel) override;
  /// The sensor's device type (the channel is ignored).
  VelDeviceType deviceType(unsigned char channel) const override;
  /// The sensor's serial number (the channel is ignored).
  uint16 serialNo(unsigned char channel) const override;
  /// Sets the sensor's serial number (the channel is ignored).
  void setSerialNo(unsigned short serial, unsigned char channel) override;
  /// "KTx-AAA" for every channel.
  std::string modelStr(unsigned char channel) const override;
  /// The WAV date stamp of the start time.
  std::string datetimeStr() const override;
  /// The creator text.
  std::string creatorStr() const override;
  /// Sets the creator text.
  void setCreator(std::string creator) override;
  /// The file name.
  std::string filename() const override;
  /// Sets the file name.
  void setFilename(std::string name) override;
  /// Peak voltage in whole volts.
  float voltsPk() const override;
  /// Stores the voltage truncated toward zero.
  void setVoltsPk(float v) override;
  /// The sensitivity (the channel is ignored).
  short sensitivity(unsigned char channel) const override;
  /// Sets the sensitivity (the channel is ignored).
  void setSensitivity(short v, unsigned char channel) override;
  /// The temperature (the channel is ignored).
  short temperature(unsigned char channel) const override;
  /// Sets the temperature (the channel is ignored).
  void setTemperature(short v, unsigned char channel) override;
  /// The humidity (the channel is ignored).
  unsigned short humidity(unsigned char channel) const override;
  /// Sets the humidity (the channel is ignored).
  void setHumidity(unsigned short v, unsigned char channel) override;
  /// Always 1.
  uint8 numChannels() const override { return 1; }
  /// The full-scale sample value.
  int maxCount() const override { return maxCount_; }
  /// Sets the full-scale sample value.
  void setMaxCount(int v) override { maxCount_ = v; }
  /// Ignored: one sensor has one channel.
  void setNumChannels(unsigned char /*n*/) override {}
  /// Writes the INFO body: IART, IPRD, ICRD, ISFT, INAM, ICMT, each of even length.
  void serialize(uint64* len, uint8* buf) const override;
  /// Size of the INFO body.
  uint64 serializedSize() const override;

  /// Sets the hardware/firmware release text.
  void setHwRelease(const std::string& v) { hwRelease_ = v; }
  /// Sets the hardware/firmware version text.
  void setHwVersion(const std::string& v) { hwVersion_ = v; }
  /// The hardware/firmware release text.
  std::string hwRelease() const { return hwRelease_; }
  /// The hardware/firmware version text.
  std::string hwVersion() const { return hwVersion_; }

  /// Reads an INFO body (starting with "INFO") as written by `serialize`.
  static MavWavInfoDataHF* deserialize(ByteStream* s);

 private:
  std::string body() const;

  uint16 serial_ = 0;
  VelDeviceType deviceType_ = DEV_NONE;
  std::string hwRelease_;
  std::string hwVersion_;
  std::string filename_;
  std::string creator_;
  int voltsPk_ = 3;
  short sensitivity_ = -176;
  short temperature_ = 0;
  unsigned short humidity_ = 0;
  int maxCount_ = 0;
};

/// INFO metadata of a recording from an array hub: entry 0 is the hub, entries 1..N its
/// channel sensors.
class MavWavInfoDataHCI : public MavWavInfoData, public DeserializationFactory<MavWavInfoDataHCI> {
 public:
  /// Holds entries for the hub and `channels` sensors; numChannels() stays 0 until set.
  explicit MavWavInfoDataHCI(unsigned char channels);

  /// "Aurel HF" (5), "Aurel AF" (7), "HCI" (8) or empty.
  std::string deviceStr(unsigned char channel) const override;
  /// Sets the device type of an entry (ignored beyond the last entry).
  void setDeviceType(VelDeviceType type, unsigned char channel) override;
  /// Device type of an entry (DEV_NONE beyond the last entry).
  VelDeviceType deviceType(unsigned char channel) const override;
  /// Serial number of an entry.
  uint16 serialNo(unsigned char channel) const override;
  /// Sets the serial number of an entry.
  void setSerialNo(unsigned short serial, unsigned char channel) override;
  /// Model text of an entry.
  std::string modelStr(unsigned char channel) const override;
  /// The WAV date stamp of the start time.
  std::string datetimeStr() const override;
  /// The creator text.
  std::string creatorStr() const override;
  /// Sets the creator text.
  void setCreator(std::string creator) override;
  /// The file name.
  std::string filename() const override;
  /// Sets the file name.
  void setFilename(std::string name) override;
  /// Peak voltage in whole volts.
  float voltsPk() const override;
  /// Stores the voltage truncated toward zero.
  void setVoltsPk(float v) override;
  /// Sensitivity of an entry.
  short sensitivity(unsigned char channel) const override;
  /// Sets the sensitivity of an entry.
  void setSensitivity(short v, unsigned char channel) override;
  /// Temperature of an entry.
  short temperature(unsigned char channel) const override;
  /// Sets the temperature of an entry.
  void setTemperature(short v, unsigned char channel) override;
  /// Humidity of an entry.
  unsigned short humidity(unsigned char channel) const override;
  /// Sets the humidity of an entry.
  void setHumidity(unsigned short v, unsigned char channel) override;
  /// Channels recorded (0 until set).
  uint8 numChannels() const override { return numChannels_; }
  /// The full-scale sample value.
  int maxCount() const override { return maxCount_; }
  /// Sets the full-scale sample value.
  void setMaxCount(int v) override { maxCount_ = v; }
  /// Sets the channels recorded; the INFO text lists this many.
  void setNumChannels(unsigned char n) override { numChannels_ = n; }
  /// Writes the INFO body: ISFT, ICRD (24 bytes), IART, ICMT.
  void serialize(uint64* len, uint8* buf) const override;
  /// Size of the INFO body.
  uint64 serializedSize() const override;

  /// Sets the model text of an entry.
  void setModelStr(const std::string& model, unsigned char channel);
  /// Sets the hardware/firmware release text.
  void setHwRelease(const std::string& v) { hwRelease_ = v; }
  /// Sets the hardware/firmware version text.
  void setHwVersion(const std::string& v) { hwVersion_ = v; }
  /// The hardware/firmware release text.
  std::string hwRelease() const { return hwRelease_; }
  /// The hardware/firmware version text.
  std::string hwVersion() const { return hwVersion_; }

  /// Array INFO bodies are not read back: returns no object.
  static MavWavInfoDataHCI* deserialize(ByteStream* s);

 private:
  struct Entry {
    uint16 serial = 0;
    VelDeviceType type = DEV_NONE;
    std::string model;
    short sensitivity = 0;
    short temperature = 0;
    unsigned short humidity = 0;
  };
  const Entry* entry(unsigned char channel) const;
  Entry* entry(unsigned char channel);
  std::string body() const;

  std::vector<Entry> entries_;
  int voltsPk_ = 0;
  uint8 numChannels_ = 0;
  int maxCount_ = 0;
  std::string creator_;
  std::string filename_;
  std::string hwRelease_;
  std::string hwVersion_;
};
