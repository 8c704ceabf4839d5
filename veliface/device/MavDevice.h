#pragma once
/// \file The common device: identity, status, network, job settings, triggers, stream ports,
/// and the data scale of its recordings.

#include <mavcommon/MavIpAddr.h>
#include <mavcommon/MavNetHostInfo.h>
#include <mavcommon/MavTypes.h>
#include <veliface/vocabulary/VelDeviceEnums.h>
#include <veliface/vocabulary/VelDeviceType.h>
#include <veliface/settings/VelJobSettings.h>
#include <veliface/settings/VelJobSetup.h>
#include <veliface/trigger/VelTrigger.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

class VelEnquireCmd;

/// The stream ports of a device. The values follow the stream types (1 waveform, 2 spectrum,
/// 3 status), so a stream's type names the port it came on.
enum VelPort : std::int32_t {
  PORT_WAVEFORM = 1,  ///< sampled waveform stream
  PORT_SPECTRUM = 2,  ///< spectrum (FFT) stream
  PORT_STATUS = 3     ///< status and sensor-reading stream
};

/// Where the host stands with a device's job configuration (four bytes).
enum VelJobConfigStatus : std::int32_t {
  CONFIG_UNKNOWN = 0,   ///< no setup sent or enquired yet
  CONFIG_PENDING = 1,   ///< a setup was sent; the device has not answered yet
  CONFIG_ACCEPTED = 2,  ///< the device runs the host's job settings
  CONFIG_REJECTED = 3,  ///< the device refused the last setup (see `jobSetupErr`)
  CONFIG_MISMATCH = 4   ///< the device runs job settings other than the host's
};

/// What the level of a scaled data stream is referred to (four bytes).
enum eReferenceType : std::int32_t {
  eRefVolts = 0,        ///< dB re 1 V at the hydrophone output
  eRefPressure = 1,     ///< dB re 1 uPa in the water (sensitivity applied)
  eRefFullScale = 2     ///< dB re the converter's full scale
};

/// Scaling of a data stream: what a host needs to turn raw levels into physical ones.
struct MavDataScale {
  float fullScale = 3.0f;        ///< converter full scale, volts
  float sensitivity = -170.0f;   ///< hydrophone sensitivity, dB re 1 V/uPa
  float reference = -180.0f;     ///< spectrum reference level, dB
  float binCorrection = 0.0f;    ///< 10*log10(rate / 1024): level of one bin against 1 Hz
  float binCorrectionRef = 0.0f; ///< binCorrection + 10*log10(409.6)
  eReferenceType refType = eRefVolts;  ///< the reference asked for

  /// All six fields equal; floats compared exactly, so a NaN makes them unequal.
  bool operator==(const MavDataScale& o) const;
  /// Negation of ==.
  bool operator!=(const MavDataScale& o) const { return !(*this == o); }
};

/// Everything the library knows about one device. Created by `createDevice` from the device
/// type and refreshed from every enquire response with `updateDeviceInfo`.
class MavDevice {
 public:
  /// The trigger list of a device.
  using TriggerList = std::vector<std::shared_ptr<VelTrigger>>;

  /// A device of type `type` with every field at its default.
  explicit MavDevice(VelDeviceType type);
  /// A device with the given serial, type and network settings, running the job settings
  /// made from `tags`.
  MavDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info, const JobTagMap& tags);
  /// Copies every field (tags and triggers are shared).
  MavDevice(const MavDevice&) = default;
  /// Copies every field (tags and triggers are shared).
  MavDevice& operator=(const MavDevice&) = default;

  /// A new device of the class its type calls for: 5 and 7 `VelDevice`, 8 `HciDevice`, 13
  /// `SmRecDevice`, 15 `RowanDevice`, 16 `FcrDevice`, any other a plain `VelDevice`.
  static std::shared_ptr<MavDevice> createDevice(VelDeviceType type);

  /// Polymorphic: devices are held through this root.
  virtual ~MavDevice() = default;
  /// None of the library's device classes serves web pages; a host's own class may.
  virtual bool hasWebserver() const;
  /// Takes the identity block of an enquire response; true when serial, type, firmware
  /// version, build date or status changed. The record version is taken in either case.
  virtual bool updateDeviceInfo(const VelEnquireCmd& cmd);
  /// Multi-line dump: header line, one "Label: value" line per field, then an empty line.
  virtual std::string toString() const;
  /// "<type text> #<serial>", as the device's identity names it.
  virtual std::string friendlyName() const;
  /// Whether `other` describes the same array as this device: the same device type, and for
  /// array classes also the same members (see `FcrDevice`, `RowanDevice`).
  virtual bool checkArray(MavDevice& other);
  /// Whether `other` records at this device's rates: the same waveform and spectrum sample
  /// rates in the job settings, as the members of one array must.
  virtual bool checkArrayRates(MavDevice& other);

  /// Serial number.
  virtual uint16 serial() const { return serial_; }
  /// Sets the serial number.
  virtual void setSerial(uint16 v) { serial_ = v; }
  /// Device type.
  virtual VelDeviceType devType() const { return devType_; }
  /// Sets the device type.
  virtual void setDevType(VelDeviceType v) { devType_ = v; }
  /// Firmware version text ("n/a" until known).
  virtual std::string firmwareVer() const { return firmwareVer_; }
  /// Sets the firmware version text.
  virtual void setFirmwareVer(const std::string& v) { firmwareVer_ = v; }
  /// Device status (2, "Not Ready", until known).
  virtual VelDeviceStatus status() const { return status_; }
  /// Sets the device status.
  virtual void setStatus(VelDeviceStatus v) { status_ = v; }
  /// Network settings.
  virtual MavNetHostInfo netHostInfo() const { return netHostInfo_; }
  /// Sets the network settings.
  virtual void setNetHostInfo(const MavNetHostInfo& v) { netHostInfo_ = v; }
  /// Current job settings.
  virtual const VelJobSettings& jobSettings() const { return jobSettings_; }
  /// Replaces the job settings' tag map by that of `s`.
  virtual void setJobSettings(const VelJobSettings& s);
  /// Merges the tags of `s` into the job settings; other tags stay.
  virtual void mergeJobSettings(const VelJobSettings& s);
  /// Configured triggers.
  virtual const TriggerList& triggers() const { return triggers_; }
  /// Replaces the trigger list.
  virtual void setTriggers(const TriggerList& list) { triggers_ = list; }
  /// The first band trigger (test type 5/6) whose number equals the low 8 bits of `n`, or
  /// an empty pointer.
  virtual std::shared_ptr<VelTrigger_5_6> trigger(int n) const;
  /// Version of the last enquire record received.
  virtual uint8 enqVersion() const { return enqVersion_; }
  /// Sets the enquire record version.
  virtual void setEnqVersion(uint8 v) { enqVersion_ = v; }
  /// Firmware build date text ("n/a" until known).
  virtual std::string buildDate() const { return buildDate_; }
  /// Sets the build date text.
  virtual void setBuildDate(const std::string& v) { buildDate_ = v; }
  /// Address of the host interface the device is reached through.
  virtual MavIpAddr commsIfaceAddr() const { return commsIfaceAddr_; }
  /// Sets the address of the host interface.
  virtual void setCommsIfaceAddr(const MavIpAddr& v) { commsIfaceAddr_ = v; }
  /// Device time, seconds since 1970 UTC.
  virtual std::int32_t timeUtc() const { return timeUtc_; }
  /// Sets the device time.
  virtual void setTimeUtc(std::int32_t v) { timeUtc_ = v; }
  /// Reachability on the network (4, "NotFound", until seen).
  virtual VelNetworkStatus netStat() const { return netStat_; }
  /// Sets the reachability.
  virtual void setNetStat(VelNetworkStatus v) { netStat_ = v; }
  /// State of the command port.
  virtual VelPortConnStatus cncPortStatus() const { return cncPortStatus_; }
  /// Sets the state of the command port.
  virtual void setCncPortStatus(VelPortConnStatus v) { cncPortStatus_ = v; }
  /// Inserts or replaces the state of stream port `port`.
  virtual void setStreamStatus(VelPort port, VelPortConnStatus s) { streamStatus_[port] = s; }
  /// State of stream port `port`; "Unknown" when it has none.
  virtual VelPortConnStatus streamStatus(VelPort port) const;
  /// State of the job configuration.
  virtual VelJobConfigStatus configStat() const { return configStat_; }
  /// Sets the state of the job configuration.
  virtual void setConfigStat(VelJobConfigStatus v) { configStat_ = v; }
  /// Last job-setup error; 0 when none.
  virtual JobErrCode jobSetupErr() const { return jobSetupErr_; }
  /// Sets the last job-setup error.
  virtual void setJobSetupErr(JobErrCode v) { jobSetupErr_ = v; }

  /// Scaling of a stream at sample rate `rate`, referred to `ref`. The base device has no
  /// sensitivity of its own and ignores `useTagReference`.
  virtual MavDataScale getDataScale(eReferenceType ref, double rate, bool useTagReference) const;
  /// Spectrum bins.
  virtual int getNumBins() const { return numBins_; }
  /// Stores `n` bins and the FFT length n * 1024 / 410.
  virtual void setNumBins(int n);
  /// FFT length.
  virtual int getNumPtsFft() const { return numPtsFft_; }
  /// Stores FFT length `n` and (n / 1024) * 410 bins, dividing first.
  virtual void setNumPtsFft(int n);

  /// True when at least one band trigger is enabled.
  bool hasActiveTriggers() const;
  /// Sets the event regime of the first band trigger numbered `n` (low 8 bits) and stops.
  void updateTriggers(int n, TrigRegime regime);
  /// Whether time synchronisation is requested or active.
  bool timeSync() const { return timeSync_; }
  /// Sets the time-synchronisation flag.
  void setTimeSync(bool v) { timeSync_ = v; }

  /// Same device type and serial; everything else is ignored.
  bool operator==(const MavDevice& o) const;
  /// Negation of ==.
  bool operator!=(const MavDevice& o) const { return !(*this == o); }

 protected:
  /// The whole dump: header naming `className`, the common lines, `extraLines` (each already
  /// ending in a line feed), then the closing empty line.
  std::string dump(const char* className, const std::string& extraLines) const;

 private:
  uint16 serial_ = 0;
  VelDeviceType devType_;
  std::string firmwareVer_ = "n/a";
  std::string buildDate_ = "n/a";
  VelDeviceStatus status_ = DEVSTAT_NOT_READY;
  uint8 enqVersion_ = 0;
  std::int32_t timeUtc_ = 0;
  MavNetHostInfo netHostInfo_;
  VelJobSettings jobSettings_;
  TriggerList triggers_;
  VelNetworkStatus netStat_ = NETSTAT_NOT_FOUND;
  VelPortConnStatus cncPortStatus_ = PORTCONN_UNKNOWN;
  VelJobConfigStatus configStat_ = CONFIG_UNKNOWN;
  MavIpAddr commsIfaceAddr_;
  JobErrCode jobSetupErr_ = static_cast<JobErrCode>(0);
  std::map<VelPort, VelPortConnStatus> streamStatus_;
  int numBins_ = 410;
  int numPtsFft_ = 1024;
  bool timeSync_ = false;
};
