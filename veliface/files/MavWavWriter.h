#pragma once
/// \file Records the waveform stream to WAV files that roll over on clock-aligned periods.

#include <veliface/files/MavWavFormat.h>
#include <veliface/files/MavWavInfoData.h>
#include <veliface/files/MavWavOutFile.h>

#include <mavcommon/FiniteStateMachine.h>
#include <mavcommon/MavTypes.h>
#include <mavcommon/StateEvent.h>

#include <memory>
#include <queue>
#include <string>
#include <vector>

/// Error codes of the WAV writer; `MavWavWriter::errorStr` gives their texts.
enum WavWriteErr {
  WAV_NO_ERROR = 0,    ///< "No Error."
  WAV_OPEN_ERROR = 1,  ///< "Error opening wav file for writing."
  WAV_INFO_ERROR = 2,  ///< "Failed to write header data (INFO)."
  WAV_FMT_ERROR = 3,   ///< "Failed to write header data (fmt)."
  WAV_DATA_ERROR = 4,  ///< "Failed to write wav data."
  WAV_FINISH_ERROR = 5 ///< "Failed to finish file. RIFF size may be invalid."
};

/// One metadata record, setup record or sample block offered to the writer.
class WavStreamEvent : public StateEvent {
 public:
  /// Wraps `data` (not owned) with the stream's time stamp and sequence number.
  WavStreamEvent(MavWavEventData* data, int timeStamp, uint64 seqNum)
      : data_(data), timeStamp_(timeStamp), seqNum_(seqNum) {}
  /// The record or block.
  MavWavEventData* data() const { return data_; }
  /// Time stamp given at construction.
  int timeStamp() const { return timeStamp_; }
  /// Sequence number given at construction.
  uint64 seqNum() const { return seqNum_; }
  /// True once a state has finished with the event.
  bool isConsumed() const { return consumed_; }
  /// Marks the event as finished with; states receive events as const, hence const here.
  void consume() const { consumed_ = true; }

 private:
  MavWavEventData* data_;
  int timeStamp_;
  uint64 seqNum_;
  mutable bool consumed_ = false;
};

/// Finished files, still open, waiting to be closed together.
using WavFileQueue = std::queue<std::unique_ptr<MavWavOutFile>>;

/// Patches the RIFF size (offset 4) and the data size (at `dataSizeOffset`) of `file` and
/// flushes it. With `closeAll` and a queue, then closes and deletes every queued file in
/// order, oldest first, and the queue. False when a patch or a close failed.
bool finishDelay(MavWavOutFile* file, uint32 riffSize, uint32 dataSizeOffset, uint32 dataSize,
                 bool closeAll, std::unique_ptr<WavFileQueue> queue);

/// Turns waveform stream events into WAV files: one file per recording period, starting on
/// whole multiples of the period on the clock, with gap and sequence checks.
class MavWavWriter : public FiniteStateMachine<MavWavWriter> {
 public:
  /// A writer with period 0 writing to the current directory; give it a period with
  /// `setMaxLength` before recording (with 0 every block finishes its file).
  MavWavWriter();
  /// A writer with a period of `maxLength` seconds writing into directory `path`.
  MavWavWriter(unsigned int maxLength, std::wstring path);
  /// Closes the current file (its sizes unpatched) and every queued file.
  ~MavWavWriter() override;
  MavWavWriter(const MavWavWriter&) = delete;
  MavWavWriter& operator=(const MavWavWriter&) = delete;

  /// Waits for a metadata record and opens the file it names.
  void st_init(const StateEvent* e);
  /// Passes straight on to the INFO chunk.
  void st_newfile(const StateEvent* e);
  /// Adds the LIST/INFO chunk of the metadata record to the header.
  void st_infoChunk(const StateEvent* e);
  /// Takes the channel count, then on a setup record writes the whole header.
  void st_fmtChunk(const StateEvent* e);
  /// Writes sample blocks, checks counters, rolls over on the clock and on setup changes.
  void st_data(const StateEvent* e);
  /// Finishes the current file.
  void st_finish(const StateEvent* e);

  /// Feeds `e` through the states until it is consumed or no state moves; true if consumed.
  bool feed(const WavStreamEvent& e);
  /// Convenience: feeds `data` wrapped in an event.
  bool feed(MavWavEventData& data);

  /// Sets the directory of the files.
  void setPath(const std::wstring& path) { path_ = path; }
  /// Sets the recording period in seconds.
  void setMaxLength(int seconds) { maxLength_ = seconds; }
  /// The recording period in seconds.
  int maxLength() const { return maxLength_; }
  /// Makes the next finish close every finished file.
  void setStopLogging(bool stop) { stopLogging_ = stop; }
  /// True when the next finish closes every finished file.
  bool isStopLogging() const { return stopLogging_; }
  /// Name of the current file (metadata file name + ".wav").
  std::wstring outputFileName() const { return outputFileName_; }
  /// Sample bytes written to the current file.
  uint32 dataWritten() const { return dataWritten_; }
  /// RIFF size of the current file: 16 + INFO length + data + 28.
  uint32 riffChunkSize() const { return 16 + infoLength_ + dataWritten_ + 28; }
  /// Whole seconds of samples in the current file; 0 while the rate or channels are 0.
  uint32 length() const;
  /// True in `st_init`.
  bool isInitFile() const { return state() == &MavWavWriter::st_init; }
  /// True in `st_newfile`.
  bool isNewFile() const { return state() == &MavWavWriter::st_newfile; }
  /// True in `st_finish`.
  bool isFinishFile() const { return state() == &MavWavWriter::st_finish; }
  /// The last error.
  WavWriteErr errorCode() const { return error_; }
  /// Clears the error.
  void clearErr() { error_ = WAV_NO_ERROR; }
  /// Text of an error code; "Unknown Error." for codes without one.
  static std::string errorStr(const WavWriteErr& code);
  /// Finishes the current file now: patches its sizes (on a joined thread) and queues it.
  void finishFile();
  /// Number of finished files kept open, waiting for stop-logging.
  std::size_t finishQueueSize() const { return queue_.size(); }

  /// Crash safety (off by default, 0): every `patchEveryBytes` of samples the data is
  /// written out, then the RIFF and data sizes are patched, so a recording whose process is
  /// cut reads correctly up to the last patch. With `forceToStorage` the data is also forced
  /// to the storage device before each patch, which extends that to a power cut.
  void setCrashSafety(uint64 patchEveryBytes, bool forceToStorage = false) {
    patchEvery_ = patchEveryBytes;
    forceToStorage_ = forceToStorage;
  }
  /// The crash-safety interval in bytes; 0 when off.
  uint64 crashSafety() const { return patchEvery_; }
  /// True when each crash-safety patch first forces the data to the storage device.
  bool forcesToStorage() const { return forceToStorage_; }

 private:
  void initBuff();
  void appendHeader(const void* bytes, std::size_t n);
  void appendHeader32(uint32 v);
  void appendHeader16(uint16 v);
  bool patchSizes();
  void logFileError(const std::string& prefix) const;
  std::string narrowFileName() const;

  std::unique_ptr<MavWavOutFile> file_;
  MavWavOutFile* previousFile_ = nullptr;  // not owned: lives in the queue while set
  WavFileQueue queue_;
  bool stopLogging_ = false;
  int maxLength_ = 0;
  std::wstring path_;
  std::wstring outputFileName_;
  std::vector<uint8> header_;  // header bytes assembled but not yet written
  uint32 dataWritten_ = 0;
  uint32 infoLength_ = 0;
  MavWavFmtData fmt_;
  MavWavSetupData setup_;
  std::vector<uint8> infoBuff_;
  uint64 lastSeq_ = 0;
  uint64 expectedSample_ = 0;
  uint32 missedSamples_ = 0;
  WavWriteErr error_ = WAV_NO_ERROR;
  uint64 patchEvery_ = 0;
  bool forceToStorage_ = false;
  uint32 lastPatch_ = 0;
};
