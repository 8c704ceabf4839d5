#pragma once
/// \file Records the decoded messages of one waveform stream port to WAV files.

#include <veliface/files/MavWavFormat.h>
#include <veliface/files/MavWavInfoData.h>
#include <veliface/files/MavWavWriter.h>
#include <veliface/record/RecordListener.h>
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
  /// The writer (for its counters).
  const MavWavWriter& writer() const { return *writer_; }

 private:
  template <typename Recorder>
  friend void dispatchPayload(Recorder& rec, const VelStreamMessage& message);
  void onHeader(const VelStreamEventHeaderPayload& hdr);
  void onData(const VelStreamDataPayload& payload);
  void writeBlock(const std::shared_ptr<const VelStreamDataChunk>& chunk);
  void releaseHeld(bool force);
  bool feed(MavWavEventData& record);
  template <typename Op>
  bool tracked(Op&& op);
  void finishFile();
  void continueInNewFile();
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

  MavWavInfoDataHF info_;
  MavWavSetupData setup_;
  bool haveHeader_ = false;
  std::string lastBase_;  // name of the last file opened without a suffix
  int baseCount_ = 0;     // files opened under that name this second
  bool haveSeq_ = false;
  bool firstInterval_ = false;  // the last header was the stream's first
  uint64 lastSeq_ = 0;
  uint32 expectedSample_ = 0;
  bool expectKnown_ = false;
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
