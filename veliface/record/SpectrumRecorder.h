#pragma once
/// \file Records the decoded messages of one spectrum stream port to spectrum text files.

#include <veliface/files/MavSpecWriter.h>
#include <veliface/files/MavSpectrumFile.h>
#include <veliface/record/RecordListener.h>
#include <veliface/stream/VelStreamMessage.h>

#include <filesystem>
#include <memory>
#include <string>

class MavDevice;
class VelStreamEventHeaderPayload;
class VelStreamDataPayload;

namespace veliface::record {

/// Drives a `MavSpecWriter` from the event headers and data messages of one spectrum port.
///
/// Files are named `<prefix>YYYYMMDD_HHMMSS.txt` after the first second they hold and roll
/// over on whole multiples of the period on the clock; a setup change starts the next file
/// on the header that carries it. Only the current file is open.
class SpectrumRecorder {
 public:
  /// Records into `dir` with files of `periodSeconds`; `listener` (may be null) must outlive
  /// the recorder.
  SpectrumRecorder(std::filesystem::path dir, std::string prefix, int periodSeconds,
                   std::shared_ptr<MavDevice> device, RecordListener* listener = nullptr);
  /// Finishes the open file.
  ~SpectrumRecorder();
  SpectrumRecorder(const SpectrumRecorder&) = delete;
  SpectrumRecorder& operator=(const SpectrumRecorder&) = delete;

  /// Takes one decoded message; event headers and data are recorded, the rest ignored.
  void take(const VelStreamMessage& message);
  /// Finishes the open file; recording may go on after.
  void finish();

  /// Text fields (computer, user, client, job, personnel, author) that replace the defaults
  /// in every header from now on; empty fields keep the defaults.
  void setHeaderText(const MavSpectrumFileHeader& text) { text_ = text; }
  /// The writer (for its counters).
  const MavSpecWriter& writer() const { return writer_; }

  /// Text of the writer's error 1.
  static const char* const kOpenErrorText;
  /// Code reported when a write to an open file (or its close) failed.
  static constexpr int kWriteError = 2;
  /// Text of `kWriteError`.
  static const char* const kWriteErrorText;

 private:
  template <typename Recorder>
  friend void dispatchPayload(Recorder& rec, const VelStreamMessage& message);
  void onHeader(const VelStreamEventHeaderPayload& hdr);
  void onData(const VelStreamDataPayload& payload);
  template <typename Op>
  bool tracked(Op&& op);

  MavSpecWriter writer_;
  int period_;
  std::filesystem::path dir_;
  std::string prefix_;
  std::shared_ptr<MavDevice> device_;
  RecordListener* listener_;
  MavSpectrumFileHeader text_;
  std::unique_ptr<MavSpectrumFileHeader> header_;
  float temperature_ = 0.0f;
  float humidity_ = 0.0f;
  uint64 lines_ = 0;
  std::string lastBase_;  // name of the last file opened without a suffix
  int baseCount_ = 0;     // files opened under that name this second
  std::filesystem::path openPath_;  // empty while no file is open
  bool failReported_ = false;       // the current file's stream failure was reported
};

}  // namespace veliface::record
