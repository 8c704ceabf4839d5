#pragma once
/// \file Records the decoded messages of one waveform stream port to WAV files.

#include <veliface/files/MavWavFormat.h>
#include <veliface/files/MavWavInfoData.h>
#include <veliface/files/MavWavWriter.h>
#include <veliface/record/RecordListener.h>
#include <veliface/record/StreamTimeline.h>
#include <veliface/record/WavSidecar.h>
#include <veliface/stream/VelStreamMessage.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

class MavDevice;
class VelStreamEventHeaderPayload;
class VelStreamDataChunk;
class VelStreamDataPayload;

namespace veliface::record {

/// Drives a `MavWavWriter` from the event headers and data messages of one waveform port.
///
/// WAV samples are little-endian: blocks that the stream sends big-endian are turned around
/// before they reach the writer, so that the file holds the values the device sent.
/// Files are named `<prefix>YYYYMMDD_HHMMSS.wav` after the first second they hold and roll
/// over on whole multiples of the period on the clock. Finished files are closed at once, so
/// the number of open files stays the same however long the recording runs. Crash safety is
/// on: the sizes in the header are patched about once per second of audio.
///
/// Time stays true: samples missing within a stream are written as zeros, so that frame k of
/// a file was sampled at the file's start plus k / rate, and each gap is listed. A stream that
/// starts over (a pause, a clock jump, a reset) ends the file; the next one starts at the new
/// stream's time. A stream of several channels (an array hub's members) goes into files of
/// as many channels, described by the array metadata record; a change of the channel count
/// starts a new file. Beside each `X.wav` a sidecar `X.json` holds the start time of the first
/// sample, the gaps, the device and its calibration; it is rewritten at each second and when
/// the file is finished.
class WavRecorder {
 public:
  /// Records into `dir` with files of `periodSeconds`; `listener` (may be null) must outlive
  /// the recorder.
  WavRecorder(std::filesystem::path dir, std::string prefix, int periodSeconds,
              std::shared_ptr<MavDevice> device, RecordListener* listener = nullptr);
  /// Finishes the open file.
  ~WavRecorder();
  WavRecorder(const WavRecorder&) = delete;
  WavRecorder& operator=(const WavRecorder&) = delete;

  /// Takes one decoded message; event headers and data are recorded, the rest ignored.
  void take(const VelStreamMessage& message);
  /// Finishes every open file properly (sizes patched, closed); recording may go on after.
  /// Blocks still waiting for a file that suits them are counted as missed.
  void finish();

  /// A new stream begins (after a reconnection): its sequence and sample numbers start over,
  /// so nothing is compared with the stream before. The open file is finished first.
  void streamRestarted();

  /// Sets the creator text written into each file's metadata.
  void setCreator(const std::string& creator) { creator_ = creator; }
  /// Forces the samples to storage (fsync) at each once-a-second size patch, so that a
  /// power cut too leaves each file readable to its last patch; off by default, as it costs
  /// a disk flush a second.
  void setForceToStorage(bool force) { forceToStorage_ = force; }
  /// Largest file the recorder writes, in bytes (default and most: what the 32-bit RIFF size
  /// can state). A block that would take a file past it goes into a new file instead.
  void setFileSizeLimit(uint64 bytes) { sizeLimit_ = std::min<uint64>(bytes, kRiffLimit); }
  /// Deployment facts (site, position, ...) written into every sidecar, in this order.
  void setDeployment(std::vector<std::pair<std::string, std::string>> facts) { deployment_ = std::move(facts); }
  /// Stops after `frames` sample frames in all (zero frames of gaps included); 0: no limit.
  void setFrameLimit(uint64 frames) { frameLimit_ = frames; }
  /// The longest period, in whole seconds, whose files can state their sizes in 32 bits at
  /// `rate` frames per second of `channels` samples of `bytesPerSample` bytes.
  static uint64 longestPeriod(uint32 rate, unsigned channels, unsigned bytesPerSample);
  /// Sample frames written in all, zero frames of gaps included.
  uint64 framesWritten() const { return framesTotal_; }
  /// The writer (for its counters).
  const MavWavWriter& writer() const { return *writer_; }

 private:
  template <typename Recorder>
  friend void dispatchPayload(Recorder& rec, const VelStreamMessage& message);
  void onHeader(const VelStreamEventHeaderPayload& hdr);
  void onData(const VelStreamDataPayload& payload);
  bool writeBlock(const std::shared_ptr<const VelStreamDataChunk>& chunk);
  bool fillGap(uint64 frames, unsigned channels, unsigned bytesPerSample);
  bool writeFrames(MavWavDataChunk& block, bool zeros);
  void hold(const std::shared_ptr<const VelStreamDataChunk>& chunk);
  void releaseHeld(bool force);
  void dropHeld();
  bool feed(MavWavEventData& record);
  template <typename Op>
  bool tracked(Op&& op);
  void finishFile();
  void continueInNewFile();
  void openFileFacts();
  void writeSidecar();
  void setChannels(unsigned channels);
  std::unique_ptr<MavWavWriter> makeWriter() const;

  std::filesystem::path dir_;
  int period_;
  std::string prefix_;
  std::shared_ptr<MavDevice> device_;
  RecordListener* listener_;
  std::string creator_ = "VelIface";
  bool forceToStorage_ = false;
  static constexpr uint64 kRiffLimit = 0xFFFFFFFFull + 8;  // RIFF size field plus its 8 bytes
  uint64 sizeLimit_ = kRiffLimit;

  // The metadata record of the files: one sensor, or an array of `channels_` channels. Built
  // from the last header; `lastHeader_` keeps that header so that a change of the channel
  // count can build the record again.
  std::unique_ptr<MavWavInfoData> info_;
  std::shared_ptr<const VelStreamEventHeaderPayload> lastHeader_;
  unsigned channels_ = 1;
  bool channelsFromBlocks_ = false;  // a block of this stream told the channel count
  bool sidecarFailed_ = false;
  uint32 nextNum_ = 0;  // the sample number the writer expects next
  MavWavSetupData setup_;
  bool haveHeader_ = false;
  StreamTimeline timeline_;
  StreamTimeline::Step lastStep_ = StreamTimeline::Step::Start;
  // The open file's sidecar, and the whole-second header its start time is measured from.
  WavFileFacts facts_;
  uint64 fileFirst_ = 0;        // stream position of the file's first frame
  bool anchored_ = false;
  int64 anchorSecond_ = 0;
  uint64 anchorSeq_ = 0;
  int64 openSecond_ = 0;        // the header that opened the file, when no anchor comes
  uint64 openSeq_ = 0;
  std::vector<std::pair<std::string, std::string>> deployment_;
  uint64 frameLimit_ = 0;
  uint64 framesTotal_ = 0;
  std::vector<uint8> zeros_;    // the samples of a gap
  std::string lastBase_;  // name of the last file opened without a suffix
  int baseCount_ = 0;     // files opened under that name this second
  bool firstInterval_ = false;  // the last header was the stream's first
  uint64 totalBytes_ = 0;
  std::filesystem::path openPath_;  // empty while no file is open
  // Blocks that arrive while the writer waits to finish a full file; they open the next one.
  std::deque<std::shared_ptr<const VelStreamDataChunk>> held_;
  uint64 heldBytes_ = 0;
  // Little-endian copy of a big-endian block; reused, so that blocks cost no allocation.
  std::vector<uint8> swapped_;
  // A fresh writer per stream: the writer compares each stream's first block with where
  // the last file of the stream before ended (a sample count from another stream).
  std::unique_ptr<MavWavWriter> writer_;
};

}  // namespace veliface::record
