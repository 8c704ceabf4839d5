#include <veliface/record/SpectrumRecorder.h>

#include <veliface/device/VelDevice.h>
#include <veliface/record/internal/FileNames.h>
#include <veliface/record/internal/PayloadDispatch.h>
#include <veliface/record/internal/StorageError.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <cerrno>
#include <system_error>

namespace veliface::record {

const char* const SpectrumRecorder::kOpenErrorText = "Error opening spectrum file for writing.";
const char* const SpectrumRecorder::kWriteErrorText = "Failed to write spectrum data.";

SpectrumRecorder::SpectrumRecorder(std::filesystem::path dir, std::string prefix, int periodSeconds,
                                   std::shared_ptr<MavDevice> device, RecordListener* listener)
    : writer_(periodSeconds, directoryOrHere(dir).wstring()),
      period_(periodSeconds),
      dir_(directoryOrHere(std::move(dir))),
      prefix_(std::move(prefix)),
      device_(std::move(device)),
      listener_(listener) {}

SpectrumRecorder::~SpectrumRecorder() { finish(); }

void SpectrumRecorder::take(const VelStreamMessage& message) { dispatchPayload(*this, message); }

template <typename Op>
bool SpectrumRecorder::tracked(Op&& op) {
  const bool wasOpen = !openPath_.empty();
  errno = 0;
  const bool result = op();
  const int err = errno;  // the system's reason for a failed open or write, before anything else
  const bool open = writer_.isOpen();
  const std::filesystem::path now = open ? dir_ / writer_.outputFileName() : std::filesystem::path();
  if (wasOpen && (!open || now != openPath_)) {
    std::error_code ec;
    const auto size = std::filesystem::file_size(openPath_, ec);
    if (listener_) listener_->fileClosed(openPath_, ec ? 0 : size);
    openPath_.clear();
  }
  if (open && openPath_.empty()) {
    openPath_ = now;
    failReported_ = false;
    noteOpened(writer_.header().fname(), lastBase_, baseCount_);
    if (listener_) listener_->fileOpened(now);
  }
  if (writer_.errorCode() != 0) {
    if (listener_) listener_->error(writer_.errorCode(), storageErrorText(kOpenErrorText, dir_ / writer_.outputFileName(), err));
    writer_.clearErr();
    failReported_ = true;  // the stream of a file that did not open fails as well
  } else if (writer_.fail() && !failReported_) {
    // The writer itself reports only opening; a failed write leaves its stream failed (the
    // rest of that file's lines are dropped) and the host must hear of it once.
    if (listener_) listener_->error(kWriteError, storageErrorText(kWriteErrorText, openPath_, err));
    failReported_ = true;
  }
  return result;
}

void SpectrumRecorder::onHeader(const VelStreamEventHeaderPayload& hdr) {
  std::unique_ptr<MavSpectrumFileHeader> h(MavSpectrumFileHeader::fromEventHdr(hdr, std::dynamic_pointer_cast<VelDevice>(device_)));
  if (!h) return;  // not a spectrum header (the warning is logged)
  if (!text_.computerName().empty()) h->setComputerName(text_.computerName());
  if (!text_.userName().empty()) h->setUserName(text_.userName());
  if (!text_.clientName().empty()) h->setClientName(text_.clientName());
  if (!text_.jobName().empty()) h->setJobName(text_.jobName());
  if (!text_.personnel().empty()) h->setPersonnel(text_.personnel());
  if (!text_.author().empty()) h->setAuthor(text_.author());
  h->setFname(freshName(dir_, ".txt", prefix_, h->startDt(), lastBase_, baseCount_));
  if (!hdr.streamStatusChunks().empty()) {
    // Tenths of a degree and of a percent on the wire.
    temperature_ = static_cast<float>(hdr.streamStatusChunks().front()->temperature()) / 10.0f;
    humidity_ = static_cast<float>(hdr.streamStatusChunks().front()->humidity()) / 10.0f;
  }
  header_ = std::move(h);
  if (period_ > 0 && writer_.isOpen() && static_cast<uint32>(header_->startDt()) % static_cast<uint32>(period_) == 0) {
    // The writer would close the file on this boundary and open the next at once, and the
    // failure of that close would go unseen: close it here, where its outcome is reported.
    tracked([&] {
      writer_.finishFile();
      return true;
    });
  }
  tracked([&] { return writer_.feed(*header_); });
  if (writer_.isFinishFile()) {
    // A new setup: the writer would close the file on the next record and drop that record.
    // Close it now and open the next file on this header instead.
    tracked([&] {
      writer_.finishFile();
      return true;
    });
    header_->setFname(freshName(dir_, ".txt", prefix_, header_->startDt(), lastBase_, baseCount_));
    tracked([&] { return writer_.feed(*header_); });
  }
}

void SpectrumRecorder::onData(const VelStreamDataPayload& payload) {
  if (!header_ || !writer_.isOpen()) return;  // no file to write to
  MavSpectrumFileData d = MavSpectrumFileData::fromStreamData(payload);
  d.setTemperature(temperature_);
  d.setHumidity(humidity_);
  if (tracked([&] { return writer_.feed(d); })) {
    ++lines_;
    if (listener_) listener_->bytesWritten(lines_);
  }
}

void SpectrumRecorder::finish() {
  tracked([&] {
    writer_.finishFile();
    return true;
  });
}

}  // namespace veliface::record
