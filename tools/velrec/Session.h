#pragma once
// One recording: the bytes of each channel in, decoded by the library's stream processors,
// recorded by the recording glue to WAV and spectrum files, and counted for the status line
// and the summary. Optionally every received byte is also kept per channel for replay.

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/MavTypes.h>
#include <sim/SampleChecksum.h>
#include <veliface/record/RecordListener.h>
#include <veliface/record/SpectrumRecorder.h>
#include <veliface/record/WavRecorder.h>
#include <veliface/stream/VelStreamProcessor.h>

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


/// Saves the raw bytes received per channel as control.bin, waveform.bin and spectrum.bin.
class Capture {
 public:
  /// No capture.
  Capture() = default;
  /// Captures into `dir` (created); `error` is set when a file cannot be opened.
  Capture(const std::filesystem::path& dir, std::string& error);
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;
  /// Appends received bytes of `ch`; false when the write failed.
  bool write(Channel ch, const uint8* data, std::size_t n);

 private:
  std::FILE* files_[3] = {nullptr, nullptr, nullptr};
};

/// A file the recording wrote.
struct FileRecord {
  std::filesystem::path path;  ///< where it is
  uint64 bytes = 0;            ///< its size when closed
  uint64 samples = 0;          ///< sample frames (WAV) or data lines (spectrum)
  uint64 dataBytes = 0;        ///< sample bytes (WAV)
  bool wav = false;            ///< WAV (else spectrum text)
  bool unread = false;         ///< WAV whose header could not be read back (no samples)
};

/// Figures of a running recording.
struct Counters {
  uint64 received = 0;        ///< bytes received on all channels
  uint64 wavBytes = 0;        ///< sample bytes written to WAV files
  uint64 specLines = 0;       ///< data lines written to spectrum files
  uint64 filesOpened = 0;     ///< files opened (both kinds)
  uint64 sequenceLosses = 0;  ///< event headers not one second after the one before
  uint64 missedSamples = 0;   ///< samples missing between data frames
  uint64 waveSamples = 0;     ///< sample frames received on the waveform channel
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
};

/// Decodes and records the channels of one device.
class Session {
 public:
  /// Called with each stream notification: channel, code and its text.
  using NotifySink = std::function<void(Channel, uint32, const std::string&)>;

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
  /// Finishes every open file.
  void finish();
  /// Counts a reconnection to the device.
  void noteReconnect() { ++counters_.reconnects; }
  /// Sets who hears of stream notifications.
  void setNotifySink(NotifySink sink) { notify_ = std::move(sink); }

  /// The figures so far.
  const Counters& counters() const { return counters_; }
  /// Files closed so far, in the order they were closed.
  const std::vector<FileRecord>& files() const { return files_; }
  /// Checksum (the simulator's `SampleChecksum`) over the sample bytes of the closed WAV files, read back from the files.
  uint64 checksum() const { return checksum_.value(); }
  /// True once the waveform stream has run for the duration (dropped frames count as time).
  bool limitReached() const;
  /// True once the spectrum stream has run for the duration too (its header of the second
  /// after the end has come).
  bool spectrumDone() const { return specDone_; }
  /// The first error that stops the recording (a writer error or an unreadable file), or "".
  const std::string& failure() const { return failure_; }

 private:
  // Forwards one recorder's callbacks with the kind of file it writes.
  class Tap : public veliface::record::RecordListener {
   public:
    Tap(Session& s, bool wav) : session_(s), wav_(wav) {}
    void fileOpened(const std::filesystem::path& path) override;
    void fileClosed(const std::filesystem::path& path, uint64 bytes) override;
    void bytesWritten(uint64 total) override;
    void missedSamples(uint64 count) override;
    void sequenceLoss(uint64 lastSeq, uint64 seq) override;
    void error(int code, const std::string& text) override;

   private:
    Session& session_;
    bool wav_;
  };

  struct Port {
    explicit Port(VelStreamType type) : parser(type), ring(1 << 20) {}
    VelStreamProcessor parser;
    CircularByteBuffer ring;
    bool atFrame = true;  // the parser waits for the start of a frame
  };

  void decode(Channel ch, Port& port, const uint8* data, std::size_t n);
  static void skipNoise(Port& port);
  uint64 limitSamples() const;
  void countGap(uint64 upto);
  void take(Channel ch, const VelStreamMessage& msg);
  void closedWav(const std::filesystem::path& path, uint64 bytes);
  void fail(const std::string& text);

  SessionConfig config_;
  Capture* capture_;
  Tap wavTap_{*this, true};
  Tap specTap_{*this, false};
  veliface::record::WavRecorder wav_;
  veliface::record::SpectrumRecorder spec_;
  std::unique_ptr<Port> wavePort_;
  std::unique_ptr<Port> specPort_;
  Counters counters_;
  std::vector<FileRecord> files_;
  velsim::SampleChecksum checksum_;
  uint64 specLinesAtOpen_ = 0;
  uint64 positionBase_ = 0;  // stream time of the connections before this one
  uint64 position_ = 0;      // stream time on this connection (samples)
  bool expectKnown_ = false; // position_ is where the next data frame starts
  double specBase_ = 0;      // spectrum stream time of the connections before this one (s)
  double specTime_ = 0;      // spectrum stream time on this connection (s)
  bool specDone_ = false;
  uint32 specRate_ = 0;      // FFT sample rate of the last spectrum header
  uint64 frameSize_ = 0;     // the largest data frame seen (samples)
  std::string failure_;
  NotifySink notify_;
};

}  // namespace velrec
