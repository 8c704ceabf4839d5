#pragma once
/// \file The spectrum text file: its descriptive header and one line per spectrum.
///
/// A spectrum file is tab-separated text: a 32-line header (file, device and FFT setup),
/// then one line of bin frequencies and one data line per spectrum. The same file may hold
/// several header blocks when a recording is restarted under the same name.

#include <veliface/device/VelDeviceId.h>

#include <mavcommon/MavTypes.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>

class VelDevice;
class VelStreamEventHeaderPayload;
class VelStreamDataPayload;

/// Polymorphic base of the records a spectrum writer consumes (header and data lines).
class MavSpectrumEventData {
 public:
  /// Virtual: the writer tells the kinds apart by dynamic type.
  virtual ~MavSpectrumEventData() = default;
};

/// The header block of a spectrum file: who recorded what, with which FFT setup.
class MavSpectrumFileHeader : public MavSpectrumEventData {
 public:
  /// File name stem (no extension).
  const std::string& fname() const { return fname_; }
  /// Sets the file name stem.
  void setFname(const std::string& v) { fname_ = v; }
  /// Computer the recording was made on.
  const std::string& computerName() const { return computerName_; }
  /// Sets the computer name.
  void setComputerName(const std::string& v) { computerName_ = v; }
  /// User who made the recording.
  const std::string& userName() const { return userName_; }
  /// Sets the user name.
  void setUserName(const std::string& v) { userName_ = v; }
  /// Client the recording is for.
  const std::string& clientName() const { return clientName_; }
  /// Sets the client name.
  void setClientName(const std::string& v) { clientName_ = v; }
  /// Job name.
  const std::string& jobName() const { return jobName_; }
  /// Sets the job name.
  void setJobName(const std::string& v) { jobName_ = v; }
  /// Personnel on the job.
  const std::string& personnel() const { return personnel_; }
  /// Sets the personnel.
  void setPersonnel(const std::string& v) { personnel_ = v; }
  /// Author (the recording software).
  const std::string& author() const { return author_; }
  /// Sets the author.
  void setAuthor(const std::string& v) { author_ = v; }
  /// Start time, seconds since 1970 UTC.
  int64 startDt() const { return startDt_; }
  /// Sets the start time.
  void setStartDt(int64 v) { startDt_ = v; }
  /// Stream sample number of the start.
  uint64 startSample() const { return startSample_; }
  /// Sets the start sample.
  void setStartSample(uint64 v) { startSample_ = v; }
  /// Type and serial of the source device.
  const VelDeviceId& devId() const { return devId_; }
  /// Sets the source device.
  void setDevId(const VelDeviceId& v) { devId_ = v; }
  /// Firmware version text.
  const std::string& firmware() const { return firmware_; }
  /// Sets the firmware version text.
  void setFirmware(const std::string& v) { firmware_ = v; }
  /// Hydrophone sensitivity, dB.
  float sensitivity() const { return sensitivity_; }
  /// Sets the sensitivity.
  void setSensitivity(float v) { sensitivity_ = v; }
  /// Reference level, dB re 1 V.
  int16_t refLevelVolts() const { return refLevelVolts_; }
  /// Sets the reference level.
  void setRefLevelVolts(int16_t v) { refLevelVolts_ = v; }
  /// Samples per second.
  int32_t sampleRate() const { return sampleRate_; }
  /// Sets the sample rate.
  void setSampleRate(int32_t v) { sampleRate_ = v; }
  /// FFT size in points (0 stands for 1024).
  uint16 numPts() const { return numPts_; }
  /// Sets the FFT size.
  void setNumPts(uint16 v) { numPts_ = v; }
  /// Points between successive FFTs.
  uint16 numPtsBtw() const { return numPtsBtw_; }
  /// Sets the points between FFTs.
  void setNumPtsBtw(uint16 v) { numPtsBtw_ = v; }
  /// Bin width as recorded in a file that was read back (see `binWidth()` for the setup's).
  float recordedBinWidth() const { return recordedBinWidth_; }
  /// Sets the recorded bin width.
  void setRecordedBinWidth(float v) { recordedBinWidth_ = v; }
  /// Power calculation: 4 Mean, 5 Peak, 6 Filtered.
  uint16 powerCalc() const { return powerCalc_; }
  /// Sets the power calculation code.
  void setPowerCalc(uint16 v) { powerCalc_ = v; }
  /// Number of accumulations.
  uint16 accums() const { return accums_; }
  /// Sets the number of accumulations.
  void setAccums(uint16 v) { accums_ = v; }
  /// Zone offset in hours.
  int16_t timeZone() const { return timeZone_; }
  /// Sets the zone offset.
  void setTimeZone(int16_t v) { timeZone_ = v; }

  /// "UTC", or "UTC +5" / "UTC -3" for a non-zero zone.
  std::string strTimeZone() const;
  /// refLevelVolts - sensitivity, truncated toward zero.
  int refLeveluPa() const;
  /// sampleRate / numPts (1024 when numPts is 0), in single precision.
  float binWidth() const;
  /// FFT size as printed: numPts, or 1024 when it is 0.
  uint16 fftSize() const { return numPts_ == 0 ? 1024 : numPts_; }
  /// Overlap of successive FFTs in percent, single precision.
  float overlapPercent() const;

  /// A new header (caller owns it) from a spectrum stream's event header and the device.
  /// Null, with a warning line, when the event header carries no FFT setup.
  static MavSpectrumFileHeader* fromEventHdr(const VelStreamEventHeaderPayload& hdr,
                                             std::shared_ptr<VelDevice> device);
  /// Reads header text back by its labels; false, with a line, when the recorded bin
  /// width disagrees with the setup by more than 1e-3 Hz.
  bool deserialise(const std::wstring& text);

 private:
  std::string fname_;
  std::string computerName_;
  std::string userName_;
  std::string clientName_;
  std::string jobName_;
  std::string personnel_;
  std::string author_;
  int64 startDt_ = 0;
  uint64 startSample_ = 0;
  VelDeviceId devId_;
  std::string firmware_;
  float sensitivity_ = 0.0f;
  int16_t refLevelVolts_ = 0;
  int32_t sampleRate_ = 0;
  uint16 numPts_ = 0;
  uint16 numPtsBtw_ = 0;
  float recordedBinWidth_ = 0.0f;
  uint16 powerCalc_ = 0;
  uint16 accums_ = 0;
  int16_t timeZone_ = 0;
};

/// Writes the 32 header lines, each flushed; leaves fixed notation with 6 decimals in force.
std::ostream& operator<<(std::ostream& os, const MavSpectrumFileHeader& h);
/// Wide version: the same characters.
std::wostream& operator<<(std::wostream& os, const MavSpectrumFileHeader& h);

/// One spectrum: a level byte per bin with the time, environment and sequence number.
class MavSpectrumFileData : public MavSpectrumEventData {
 public:
  /// Free-text comment column.
  const std::string& comment() const { return comment_; }
  /// Sets the comment.
  void setComment(const std::string& v) { comment_ = v; }
  /// Temperature column.
  float temperature() const { return temperature_; }
  /// Sets the temperature.
  void setTemperature(float v) { temperature_ = v; }
  /// Humidity column.
  float humidity() const { return humidity_; }
  /// Sets the humidity.
  void setHumidity(float v) { humidity_ = v; }
  /// Sequence number of the spectrum.
  int32_t seqNum() const { return seqNum_; }
  /// Sets the sequence number.
  void setSeqNum(int32_t v) { seqNum_ = v; }
  /// Time of the spectrum, seconds since 1970 UTC.
  int64 dataTime() const { return dataTime_; }
  /// Sets the time.
  void setDataTime(int64 v) { dataTime_ = v; }
  /// Number of bins (a negative count prints no bins).
  int16_t numBins() const { return numBins_; }
  /// The level bytes, one per bin (null without bins).
  const uint8* spectrum() const { return spectrum_.get(); }
  /// Shares `bins` (at least `numBins` bytes) as the spectrum.
  void setSpectrum(std::shared_ptr<const uint8[]> bins, int16_t numBins);

  /// A spectrum from a stream data payload; shares its bytes, never copies them. The bin
  /// count is the block's sample count, limited to the bytes it really holds.
  static MavSpectrumFileData fromStreamData(const VelStreamDataPayload& payload);
  /// Reads one data line back (column order as written; a trailing line end is allowed).
  /// The line holds the time of day only: `day` (days since 1970) supplies the date.
  /// False on a malformed line; the object is then unchanged.
  bool deserialise(const std::string& line, int day);

 private:
  std::string comment_;
  float temperature_ = 0.0f;
  float humidity_ = 0.0f;
  int32_t seqNum_ = 0;
  int64 dataTime_ = 0;
  int16_t numBins_ = 0;
  std::shared_ptr<const uint8[]> spectrum_;
};

/// Writes the data line: time, comment, temperature, humidity (in the stream's current
/// float settings), sequence number, bin count, each bin and a tab; then a line end, flushed.
std::ostream& operator<<(std::ostream& os, const MavSpectrumFileData& d);
/// Wide version: the same characters.
std::wostream& operator<<(std::wostream& os, const MavSpectrumFileData& d);
