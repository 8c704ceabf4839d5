#pragma once
/// \file Records the spectrum stream to text files that roll over on clock-aligned periods.

#include <veliface/device/VelDeviceId.h>
#include <veliface/files/MavSpectrumFile.h>

#include <mavcommon/FiniteStateMachine.h>
#include <mavcommon/MavTypes.h>
#include <mavcommon/StateEvent.h>

#include <memory>
#include <ostream>
#include <string>

namespace veliface::files {
class Utf8FileBuf;
}

/// One header or data record offered to the spectrum writer.
class SpecStreamEvent : public StateEvent {
 public:
  /// Wraps `data` (not owned).
  explicit SpecStreamEvent(MavSpectrumEventData* data) : data_(data) {}
  /// The record.
  MavSpectrumEventData* data() const { return data_; }
  /// True once a state has finished with the event.
  bool isConsumed() const { return consumed_; }
  /// Marks the event as finished with; states receive events as const, hence const here.
  void consume() const { consumed_ = true; }

 private:
  MavSpectrumEventData* data_;
  mutable bool consumed_ = false;
};

/// Turns spectrum records into text files: a header block, a line of bin frequencies and one
/// line per spectrum; files start on whole multiples of the period on the clock.
class MavSpecWriter : public FiniteStateMachine<MavSpecWriter> {
 public:
  /// A writer with a period of `maxLength` seconds writing into directory `path`.
  MavSpecWriter(int maxLength, std::wstring path);
  /// Closes the current file.
  ~MavSpecWriter() override;
  MavSpecWriter(const MavSpecWriter&) = delete;
  MavSpecWriter& operator=(const MavSpecWriter&) = delete;

  /// Waits for a header record and opens (appends to) the file it names.
  void st_init(const StateEvent* e);
  /// Passes straight on to the header.
  void st_newfile(const StateEvent* e);
  /// Writes the header block.
  void st_header(const StateEvent* e);
  /// Writes data lines; rolls over on the clock and on setup changes.
  void st_data(const StateEvent* e);
  /// Finishes the current file.
  void st_finish(const StateEvent* e);

  /// Feeds `e` through the states until it is consumed or no state moves; true if consumed.
  bool feed(const SpecStreamEvent& e);
  /// Convenience: feeds `data` wrapped in an event.
  bool feed(MavSpectrumEventData& data);

  /// Name of the current file (header file name + ".txt").
  std::wstring outputFileName() const { return outputFileName_; }
  /// 0 no error, 1 the file could not be opened.
  int errorCode() const { return errorCode_; }
  /// Clears the error code.
  void clearErr() { errorCode_ = 0; }
  /// Data lines written to the current file.
  int numRecs() const { return numRecs_; }
  /// Current length in seconds; no operation advances it (always 0).
  int currLenSecs() const { return currLenSecs_; }
  /// True in `st_newfile`.
  bool isNewFile() const { return state() == &MavSpecWriter::st_newfile; }
  /// True in `st_init`.
  bool isInitFile() const { return state() == &MavSpecWriter::st_init; }
  /// True in `st_finish`.
  bool isFinishFile() const { return state() == &MavSpecWriter::st_finish; }
  /// True while a file is open.
  bool isOpen() const;
  /// True when the current file's stream failed: not opened, a write or its close failed.
  bool fail() const { return file_.fail(); }
  /// The header of the current file.
  const MavSpectrumFileHeader& header() const { return header_; }
  /// The source device of the current file.
  const VelDeviceId& device() const { return device_; }
  /// True when reference level, sample rate, accumulations, FFT size, points between FFTs
  /// or power calculation of `hdr` differ from the current header.
  bool isSetupChanged(const MavSpectrumFileHeader* hdr) const;
  /// Closes the current file (with a "closing spectrum file" line) and returns to `st_init`.
  void finishFile();

 private:
  void writeDataLine(const MavSpectrumFileData& d);

  std::unique_ptr<veliface::files::Utf8FileBuf> buf_;
  std::wostream file_;
  std::string line_;  // a data line formatted for the file, reused from line to line
  MavSpectrumFileHeader header_;
  VelDeviceId device_;
  std::wstring path_;
  std::wstring outputFileName_;
  int errorCode_ = 0;
  uint32 maxLength_ = 0;
  int numRecs_ = 0;
  int currLenSecs_ = 0;
};
