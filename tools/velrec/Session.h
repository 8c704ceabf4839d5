#pragma once
// One recording: the bytes of each channel in, decoded and recorded by the library's host
// layer, and counted for the status line and the summary. Optionally every received byte is
// also kept per channel for replay.

#include <mavcommon/MavTypes.h>
#include <veliface/host/DeviceRecording.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class VelDevice;

namespace velrec {

/// The channels of a device connection.
enum class Channel { Control, Waveform, Spectrum };

/// Name of a channel ("control", "waveform", "spectrum").
const char* channelName(Channel ch);


/// Saves the raw bytes received per channel, one set of files per connection to the device:
/// control.bin, waveform.bin and spectrum.bin for the first, control.2.bin, waveform.2.bin,
/// spectrum.2.bin for the second and so on, so that a replay knows where each stream started.
class Capture {
 public:
  /// No capture.
  Capture() = default;
  /// Captures into `dir` (created); `error` is set (path and reason) when a file cannot be opened.
  Capture(const std::filesystem::path& dir, std::string& error);
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;
  /// Appends received bytes of `ch` to the files of the current connection; false when the
  /// write failed.
  bool write(Channel ch, const uint8* data, std::size_t n);
  /// The next bytes belong to a new connection (its files are opened when they get bytes).
  void nextConnection();
  /// The file of channel `ch` for connection `number` (1 first).
  static std::string fileName(Channel ch, int number);

 private:
  void closeAll();
  std::filesystem::path dir_;
  int connection_ = 1;
  std::FILE* files_[3] = {nullptr, nullptr, nullptr};
};

/// A file the recording wrote.
using FileRecord = veliface::host::RecordedFile;

/// Figures of a running recording.
struct Counters {
  uint64 received = 0;        ///< bytes received on all channels
  uint64 wavBytes = 0;        ///< sample bytes written to WAV files
  uint64 specLines = 0;       ///< data lines written to spectrum files
  uint64 filesOpened = 0;     ///< files opened (both kinds)
  uint64 sequenceLosses = 0;  ///< event headers not one second after the one before
  uint64 missedSamples = 0;   ///< samples that arrived unusable or were passed over
  uint64 gapFrames = 0;       ///< frames written as zeros for samples that never arrived
  uint64 restarts = 0;        ///< times the waveform stream started over within a connection
  uint64 waveSamples = 0;     ///< sample frames received on the waveform channel
  uint64 wavFrames = 0;       ///< sample frames written to WAV files, zero frames of gaps included
  uint64 streamPosition = 0;  ///< waveform stream time in samples, gaps included, over all connections
  uint64 lostFrames = 0;      ///< waveform data frames that never arrived (from sample-number gaps)
  uint64 reconnects = 0;      ///< stream connections lost and started again
  uint32 sampleRate = 0;      ///< waveform sample rate of the last event header
};

/// Settings of a recording.
struct SessionConfig {
  std::filesystem::path outDir;  ///< directory of the WAV and spectrum files
  std::string prefix;            ///< file name prefix
  int period = 60;               ///< seconds per file, aligned on the clock
  double duration = 0;           ///< stop after this many seconds of waveform samples; 0: never
  bool sync = false;             ///< force WAV samples to storage at each once-a-second size patch
  std::vector<std::pair<std::string, std::string>> deployment;  ///< --meta facts for every sidecar
};

/// Decodes and records the channels of one device.
class Session {
 public:
  /// Called with each stream notification: channel, code and its text.
  using NotifySink = std::function<void(Channel, uint32, const std::string&)>;
  /// Called with every event of the recording (files, gaps, restarts, format, errors).
  using EventSink = std::function<void(const veliface::host::RecordingEvent&)>;

  /// A recording into `config.outDir` of `device` (may be null); `capture` may be null and
  /// must outlive the session.
  Session(const SessionConfig& config, std::shared_ptr<VelDevice> device, Capture* capture);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Bytes received on `ch`: captured, and for a stream channel decoded and recorded.
  void receive(Channel ch, const uint8* data, std::size_t n);
  /// A stream connection ended: the open file is finished and the parser starts clean.
  void connectionLost(Channel ch);
  /// Lets time pass: a stream port silent for a few seconds is noticed (`stalled`).
  void tick();
  /// Why a stream port went silent ("waveform stream stalled: no data for 5.0 s"), or "" while
  /// both deliver. Handle a stall like a lost connection.
  const std::string& stalled() const { return stalled_; }
  /// Finishes every open file.
  void finish();
  /// Counts a reconnection to the device.
  void noteReconnect() { ++reconnects_; }
  /// Sets who hears of stream notifications.
  void setNotifySink(NotifySink sink) { notify_ = std::move(sink); }
  /// Sets where every recording event goes (none by default).
  void setEventSink(EventSink sink) { events_ = std::move(sink); }

  /// The figures so far.
  Counters counters() const;
  /// Files closed so far, in the order they were closed.
  const std::vector<FileRecord>& files() const { return recording_.files(); }
  /// Checksum (`SampleChecksum`) over the sample bytes written to the WAV files.
  uint64 checksum() const { return recording_.checksum(); }
  /// True once the waveform stream has run for the duration (dropped frames count as time).
  bool limitReached() const { return recording_.limitReached(); }
  /// True once the spectrum stream has run for the duration too (its header of the second
  /// after the end has come).
  bool spectrumDone() const { return recording_.spectrumDone(); }
  /// The first error that stops the recording (a writer error), or "".
  const std::string& failure() const { return failure_.empty() ? recording_.failure() : failure_; }

 private:
  void report();
  void fail(const std::string& text);

  Capture* capture_;
  veliface::host::DeviceRecording recording_;
  uint64 received_ = 0;
  uint64 reconnects_ = 0;
  std::string failure_;
  std::string stalled_;
  NotifySink notify_;
  EventSink events_;
};

}  // namespace velrec
