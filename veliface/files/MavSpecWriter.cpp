#include <veliface/files/MavSpecWriter.h>

#include <veliface/common/VelLog.h>
#include <veliface/files/internal/SpecLine.h>
#include <veliface/files/internal/Utf8FileBuf.h>
#include <veliface/files/VelWideText.h>

#include <filesystem>

namespace {

template <typename T>
T* record(const StateEvent* e) {
  const auto* spec = dynamic_cast<const SpecStreamEvent*>(e);
  return spec == nullptr ? nullptr : dynamic_cast<T*>(spec->data());
}

void consume(const StateEvent* e) {
  if (const auto* spec = dynamic_cast<const SpecStreamEvent*>(e)) spec->consume();
}

}  // namespace

MavSpecWriter::MavSpecWriter(int maxLength, std::wstring path)
    : FiniteStateMachine<MavSpecWriter>(&MavSpecWriter::st_init),
      buf_(std::make_unique<veliface::files::Utf8FileBuf>()),
      file_(buf_.get()),
      path_(std::move(path)),
      maxLength_(static_cast<uint32>(maxLength)) {}

MavSpecWriter::~MavSpecWriter() { buf_->close(); }

bool MavSpecWriter::isOpen() const { return buf_->isOpen(); }

bool MavSpecWriter::feed(const SpecStreamEvent& e) {
  while (!e.isConsumed()) {
    const StateHandler before = state();
    dispatch(&e);
    if (!e.isConsumed() && state() == before) break;
  }
  return e.isConsumed();
}

bool MavSpecWriter::feed(MavSpectrumEventData& data) {
  const SpecStreamEvent e(&data);
  return feed(e);
}

void MavSpecWriter::st_init(const StateEvent* e) {
  const MavSpectrumFileHeader* hdr = record<MavSpectrumFileHeader>(e);
  if (hdr == nullptr) return;
  header_ = *hdr;
  device_ = hdr->devId();
  outputFileName_ = veliface::files::toWide(hdr->fname() + ".txt");
  const std::filesystem::path target =
      std::filesystem::path(path_ + L"/" + outputFileName_);  // an empty directory is the root
  // Append, not replace: a recording restarted under the same name continues its file with
  // a second header block instead of destroying what was recorded.
  file_.clear();
  if (!buf_->openAppend(target)) {
    errorCode_ = 1;
    file_.setstate(std::ios_base::badbit);  // nothing reaches a file that is not open
  }
  numRecs_ = 0;
  transition(&MavSpecWriter::st_newfile);
}

void MavSpecWriter::st_newfile(const StateEvent*) { transition(&MavSpecWriter::st_header); }

void MavSpecWriter::st_header(const StateEvent* e) {
  if (record<MavSpectrumFileHeader>(e) == nullptr) {
    consume(e);  // a data record before the header block has nowhere to go
    return;
  }
  file_ << header_;
  consume(e);
  transition(&MavSpecWriter::st_data);
}

bool MavSpecWriter::isSetupChanged(const MavSpectrumFileHeader* hdr) const {
  return hdr->refLevelVolts() != header_.refLevelVolts() || hdr->sampleRate() != header_.sampleRate() ||
         hdr->accums() != header_.accums() || hdr->numPts() != header_.numPts() ||
         hdr->numPtsBtw() != header_.numPtsBtw() || hdr->powerCalc() != header_.powerCalc();
}

void MavSpecWriter::st_data(const StateEvent* e) {
  if (const MavSpectrumFileHeader* hdr = record<MavSpectrumFileHeader>(e)) {
    const uint32 start = static_cast<uint32>(hdr->startDt());
    if (maxLength_ == 0 || start % maxLength_ != 0) {
      if (isSetupChanged(hdr)) transition(&MavSpecWriter::st_finish);
      // Copied also on a setup change, before st_finish closes the file: the closing file
      // then already carries the new values in memory. Deliberate; the host sees the new
      // setup through header() at once.
      header_ = *hdr;
      device_ = hdr->devId();
      consume(e);
      return;
    }
    // Files start on whole multiples of the period on the clock: the header record that
    // lands on a boundary closes this file and opens the next.
    finishFile();
    return;
  }
  const MavSpectrumFileData* data = record<MavSpectrumFileData>(e);
  if (data == nullptr) return;
  if (numRecs_ == 0) {
    // Bin frequencies with two decimals; only the precision is set here, the fixed notation
    // is the one the header block left on the stream.
    file_.precision(2);
    const float width = header_.binWidth();
    for (int i = 0; i < data->numBins(); ++i) {
      file_ << static_cast<double>(static_cast<float>(i) * width) << L"\t";
    }
    file_ << L"\n";
    file_.flush();
  }
  writeDataLine(*data);
  ++numRecs_;
  consume(e);
}

void MavSpecWriter::writeDataLine(const MavSpectrumFileData& d) {
  // The line is formatted in the stream's own state (the float settings earlier lines left on
  // it) but straight into bytes, and goes to the file in one write, as the stream's flush at
  // the end of the line would send it.
  line_.clear();
  if (!veliface::files::appendDataLine(line_, d, file_)) {
    file_ << d;  // a state only the stream itself reproduces
    return;
  }
  if (!file_.good()) {
    file_.setstate(std::ios_base::failbit);  // as the stream's sentry: nothing more is written
    return;
  }
  if (!buf_->writeBytes(line_)) file_.setstate(std::ios_base::badbit);
}

void MavSpecWriter::st_finish(const StateEvent* e) {
  finishFile();
  consume(e);
}

void MavSpecWriter::finishFile() {
  if (buf_->isOpen()) {
    VelLog::write("closing spectrum file");
    if (!buf_->close()) file_.setstate(std::ios_base::failbit);
  }
  transition(&MavSpecWriter::st_init);
}
