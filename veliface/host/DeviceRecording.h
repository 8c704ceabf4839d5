#pragma once
/// \file One device's recording: its two stream ports decoded and written to WAV and
/// spectrum files, with the figures a host shows and checks.

#include <veliface/host/HostTime.h>
#include <veliface/host/SampleChecksum.h>
#include <veliface/host/StreamSession.h>
#include <veliface/record/RecordListener.h>
#include <veliface/record/SpectrumRecorder.h>
#include <veliface/record/WavRecorder.h>

#include <mavcommon/MavTypes.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

class VelDevice;

namespace veliface::host {

/// The two stream ports of a device.
enum class StreamPort { Waveform, Spectrum };

/// Name of a port ("waveform", "spectrum").
const char* streamPortName(StreamPort port);

/// A file the recording finished.
struct RecordedFile {
  std::filesystem::path path;  ///< where it is
  uint64 bytes = 0;            ///< its size when closed
  uint64 samples = 0;          ///< sample frames (WAV) or data lines (spectrum) written to it
  uint64 dataBytes = 0;        ///< sample bytes written to it (WAV)
  uint64 gapFrames = 0;        ///< frames of it that are zeros standing for samples that never came (WAV)
  bool wav = false;            ///< WAV (else spectrum text)
};

/// Figures of a running recording.
struct RecordingCounters {
  uint64 wavBytes = 0;        ///< sample bytes written to WAV files
  uint64 specLines = 0;       ///< data lines written to spectrum files
  uint64 filesOpened = 0;     ///< files opened (both kinds)
  uint64 sequenceLosses = 0;  ///< event headers not one second after the one before
  uint64 missedSamples = 0;   ///< samples that arrived unusable or were passed over
  uint64 gapFrames = 0;       ///< frames written as zeros for samples that never arrived
  uint64 gaps = 0;            ///< gaps filled
  uint64 restarts = 0;        ///< times the waveform stream started over within a connection
  uint32 sampleRate = 0;      ///< waveform sample rate of the last event header
};

/// Settings of a recording.
struct RecordingSettings {
  std::filesystem::path outDir = ".";  ///< directory of the WAV and spectrum files
  std::string prefix;                  ///< file name prefix
  int period = 60;                     ///< seconds per file, aligned on the clock
  double duration = 0;                 ///< stop after this many seconds of waveform stream; 0: never
  bool sync = false;                   ///< force WAV samples to storage at each size patch
  std::string creator = "VelIface";    ///< creator text in each WAV file's metadata
  std::vector<std::pair<std::string, std::string>> deployment;  ///< the user's facts for each sidecar
  StreamSession::Settings stream;      ///< stall time of the ports
};

/// What the recording tells its host.
struct RecordingEvent {
  /// The kind of event.
  enum class Kind {
    FileOpened,    ///< `path` was opened
    FileFinished,  ///< `path` was finished and closed
    StreamStarted, ///< `port` answered the start message
    StreamNotice,  ///< `port` sent a notification (`text`)
    Stalled,       ///< `port` went silent (`text`); handle it like a lost connection
    Format,        ///< the waveform format in force from now on (`text`: "48000 Hz, 24 bits, 1 channel")
    Gap,           ///< `count` frames never arrived and stand as zeros in `path` from frame `at` on
    Restarted,     ///< the waveform stream started over (`text`: why); a new file follows
    Error,         ///< a writer error (`text`); the recording stops
  } kind;
  StreamPort port = StreamPort::Waveform;  ///< the port concerned
  std::filesystem::path path;              ///< the file concerned
  std::string text;                        ///< one line for a log
  uint32 code = 0;                         ///< notification code (StreamStarted, StreamNotice)
  uint64 at = 0;                           ///< first frame of a gap in its file
  uint64 count = 0;                        ///< frames of a gap
};

/// Records one device: feed it each port's bytes and the time, and it decodes them, writes
/// the files and keeps the figures. Sans-I/O like the rest of the library: the host owns the
/// connections, sends `StreamSession::startMessage()` when it opens a port and tells the
/// recording with `opened`, and calls `connectionLost` when a port goes.
///
/// With a duration the recording is complete once the WAV files hold that many seconds of
/// frames (gaps filled with zeros count, as they stand for time); the spectrum port ends at
/// the first spectrum at or past the same stream time.
///
/// A period whose files could not state their size in 32 bits at the stream's rate, channels
/// and bits is refused at the first event header, before any file is written.
/// The checksum is taken over the sample bytes as they are written, so a host can compare it
/// with what the device sent without reading the files back.
class DeviceRecording {
 public:
  /// A recording of `device` (may be null: files then name no device).
  DeviceRecording(RecordingSettings settings, std::shared_ptr<VelDevice> device);
  /// Finishes every open file.
  ~DeviceRecording();
  DeviceRecording(const DeviceRecording&) = delete;
  DeviceRecording& operator=(const DeviceRecording&) = delete;

  /// `port` was (re)connected at `now` and its start message sent.
  void opened(StreamPort port, HostTime now);
  /// Bytes received on `port` at `now`.
  void receive(StreamPort port, const uint8* data, std::size_t n, HostTime now);
  /// Lets time pass (stall detection).
  void tick(HostTime now);
  /// The connection of `port` ended: its open file is finished; the next connection's
  /// stream starts over.
  void connectionLost(StreamPort port);
  /// Finishes every open file; nothing more is recorded after.
  void finish();

  /// Events since the last call.
  std::vector<RecordingEvent> takeEvents();
  /// The figures so far.
  const RecordingCounters& counters() const { return counters_; }
  /// The stream session of `port` (its counters: bytes, samples, lost frames, position).
  const StreamSession& stream(StreamPort port) const;
  /// Sample frames written to WAV files, zero frames of gaps included.
  uint64 framesWritten() const { return wav_.framesWritten(); }
  /// Files finished so far, in the order they were closed.
  const std::vector<RecordedFile>& files() const { return files_; }
  /// Checksum over the sample bytes written to the WAV files.
  uint64 checksum() const { return checksum_.value(); }
  /// True once the waveform stream has run for the duration.
  bool limitReached() const;
  /// True once the spectrum stream has run for the duration too.
  bool spectrumDone() const { return specDone_; }
  /// The first error that stops the recording, or "".
  const std::string& failure() const { return failure_; }

 private:
  // Forwards one recorder's callbacks with the kind of file it writes.
  class Tap : public veliface::record::RecordListener {
   public:
    Tap(DeviceRecording& r, bool wav) : rec_(r), wav_(wav) {}
    void fileOpened(const std::filesystem::path& path) override;
    void fileClosed(const std::filesystem::path& path, uint64 bytes) override;
    void bytesWritten(uint64 total) override;
    void samplesWritten(const uint8* data, std::size_t bytes, uint32 frames) override;
    void missedSamples(uint64 count) override;
    void sequenceLoss(uint64 lastSeq, uint64 seq) override;
    void gapFilled(const std::filesystem::path& file, uint64 atFrame, uint64 frames) override;
    void streamRestarted(const std::string& reason) override;
    void error(int code, const std::string& text) override;

   private:
    DeviceRecording& rec_;
    bool wav_;
  };

  StreamSession& session(StreamPort port);
  void takeWave(const VelStreamMessage& msg);
  void takeSpectrum(const VelStreamMessage& msg);
  void collect(StreamPort port);
  uint64 limitSamples() const;
  void fail(const std::string& text);

  RecordingSettings settings_;
  // Declared before the recorders, so that they are still alive when the recorders'
  // destructors finish the last files and report them.
  RecordingCounters counters_;
  std::vector<RecordedFile> files_;
  std::vector<RecordingEvent> events_;
  SampleChecksum checksum_;
  std::string failure_;
  uint64 fileFrames_ = 0;    // sample frames written to the open WAV file
  uint64 fileBytes_ = 0;     // sample bytes written to the open WAV file
  uint64 fileGaps_ = 0;      // zero frames in the open WAV file
  uint64 linesAtOpen_ = 0;   // spectrum lines written before the open spectrum file
  double specBase_ = 0;      // spectrum stream time of the connections before this one (s)
  double specTime_ = 0;      // spectrum stream time on this connection (s)
  bool specDone_ = false;
  uint32 specRate_ = 0;      // FFT sample rate of the last spectrum header
  std::string format_;       // the waveform format last reported
  bool finished_ = false;
  Tap wavTap_{*this, true};
  Tap specTap_{*this, false};
  veliface::record::WavRecorder wav_;
  veliface::record::SpectrumRecorder spec_;
  StreamSession wave_;
  StreamSession spectrum_;
};

}  // namespace veliface::host
