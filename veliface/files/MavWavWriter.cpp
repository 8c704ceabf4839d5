#include <veliface/files/MavWavWriter.h>

#include <veliface/common/VelLog.h>

#include <mavcommon/Endian.h>

#include <filesystem>
#include <sstream>
#include <system_error>
#include <thread>

namespace {

// Every diagnostic of the data state starts with the handler's own signature.
const char* const kDataState = "void MavWavWriter::st_data(WavStreamEvent*)";

// Header offsets that finishing relies on: the data-size field sits 32 bytes after the
// LIST body (fmt chunk of 24 bytes plus the "data" identifier), behind 16 bytes of RIFF
// header and LIST header.
constexpr uint32 kBeforeInfo = 16;
constexpr uint32 kAfterInfoToDataSize = 32;
// The INFO buffer holds any single-sensor body and a full array's; it grows for longer texts.
constexpr std::size_t kInfoBufferSize = 16 * 1024;

const WavStreamEvent* asWav(const StateEvent* e) { return dynamic_cast<const WavStreamEvent*>(e); }

template <typename T>
T* payload(const WavStreamEvent* e) {
  return e == nullptr ? nullptr : dynamic_cast<T*>(e->data());
}

}  // namespace

bool finishDelay(MavWavOutFile* file, uint32 riffSize, uint32 dataSizeOffset, uint32 dataSize,
                 bool closeAll, std::unique_ptr<WavFileQueue> queue) {
  bool ok = file != nullptr && file->flush();
  if (ok) {
    // Sizes only over data that reached the file: a header must never claim samples the
    // file lacks, so after a failed write the sizes of the last patch stay.
    ok = file->patch(4, riffSize);
    ok = file->patch(dataSizeOffset, dataSize) && ok;
    ok = file->flush() && ok;
  }
  if (file != nullptr) file->releaseBuffer();
  if (!closeAll || !queue) return ok;
  while (!queue->empty()) {
    std::unique_ptr<MavWavOutFile> f = std::move(queue->front());
    queue->pop();
    if (f && f->isOpen() && !f->close()) ok = false;
  }
  return ok;
}

MavWavWriter::MavWavWriter() : FiniteStateMachine<MavWavWriter>(&MavWavWriter::st_init) { initBuff(); }

MavWavWriter::MavWavWriter(unsigned int maxLength, std::wstring path)
    : FiniteStateMachine<MavWavWriter>(&MavWavWriter::st_init),
      maxLength_(static_cast<int>(maxLength)),
      path_(std::move(path)) {
  initBuff();
}

MavWavWriter::~MavWavWriter() {
  if (file_) file_->close();
  while (!queue_.empty()) {
    if (queue_.front()) queue_.front()->close();
    queue_.pop();
  }
}

void MavWavWriter::initBuff() {
  header_.clear();
  header_.reserve(256);
  infoBuff_.assign(kInfoBufferSize, 0);
  fmt_.setCompCode(1);
}

std::string MavWavWriter::errorStr(const WavWriteErr& code) {
  switch (code) {
    case WAV_NO_ERROR: return "No Error.";
    case WAV_OPEN_ERROR: return "Error opening wav file for writing.";
    case WAV_INFO_ERROR: return "Failed to write header data (INFO).";
    case WAV_FMT_ERROR: return "Failed to write header data (fmt).";
    case WAV_DATA_ERROR: return "Failed to write wav data.";
    case WAV_FINISH_ERROR: return "Failed to finish file. RIFF size may be invalid.";
  }
  return "Unknown Error.";
}

uint32 MavWavWriter::length() const {
  const uint64 perSecond = uint64{fmt_.numChannels()} * setup_.sampleRate() * setup_.bytesPerSample();
  return perSecond == 0 ? 0 : static_cast<uint32>(dataWritten_ / perSecond);
}

std::string MavWavWriter::narrowFileName() const {
  try {
    return std::filesystem::path(outputFileName_).string();
  } catch (const std::exception&) {
    return std::string();
  }
}

void MavWavWriter::logFileError(const std::string& prefix) const {
  VelLog::write(prefix + "Error logging with WAV file: " + narrowFileName());
}

void MavWavWriter::appendHeader(const void* bytes, std::size_t n) {
  const auto* b = static_cast<const uint8*>(bytes);
  header_.insert(header_.end(), b, b + n);
}

void MavWavWriter::appendHeader32(uint32 v) {
  uint8 le[4];
  mav::storeLE(le, v);
  appendHeader(le, 4);
}

void MavWavWriter::appendHeader16(uint16 v) {
  uint8 le[2];
  mav::storeLE(le, v);
  appendHeader(le, 2);
}

bool MavWavWriter::feed(const WavStreamEvent& e) {
  while (!e.isConsumed()) {
    const StateHandler before = state();
    dispatch(&e);
    if (!e.isConsumed() && state() == before) break;
  }
  return e.isConsumed();
}

bool MavWavWriter::feed(MavWavEventData& data) {
  const WavStreamEvent e(&data, 0, 0);
  return feed(e);
}

void MavWavWriter::st_init(const StateEvent* ev) {
  const MavWavInfoData* info = payload<MavWavInfoData>(asWav(ev));
  if (info == nullptr) return;
  std::filesystem::path target;
  try {
    outputFileName_ = std::filesystem::path(info->filename() + ".wav").wstring();
    // Directory and name joined with "/" as they are: an empty directory is the root.
    target = std::filesystem::path(path_ + L"/" + outputFileName_);
  } catch (const std::exception&) {
    error_ = WAV_OPEN_ERROR;  // a name that cannot be expressed as a path cannot be opened
    return;
  }
  auto file = std::make_unique<MavWavOutFile>();
  if (!file->open(target)) {
    error_ = WAV_OPEN_ERROR;
    return;
  }
  file_ = std::move(file);
  dataWritten_ = 0;
  infoLength_ = 0;
  lastPatch_ = 0;
  header_.clear();
  appendHeader(wavChunkNames[WAV_RIFF], 4);
  appendHeader32(0);  // patched when the file is finished
  appendHeader(wavChunkNames[WAV_WAVE], 4);
  if (!file_->append(header_.data(), header_.size())) {
    // A file that cannot take its first twelve bytes is a file that could not be opened.
    logFileError("");
    file_.reset();
    error_ = WAV_OPEN_ERROR;
    return;
  }
  header_.clear();
  transition(&MavWavWriter::st_newfile);
}

void MavWavWriter::st_newfile(const StateEvent*) { transition(&MavWavWriter::st_infoChunk); }

void MavWavWriter::st_infoChunk(const StateEvent* ev) {
  const MavWavInfoData* info = payload<MavWavInfoData>(asWav(ev));
  if (info == nullptr) return;
  if (!file_) {
    // Reported with the fmt code, as the host tools have always shown it.
    logFileError("");
    error_ = WAV_FMT_ERROR;
    return;
  }
  const uint64 size = info->serializedSize();
  if (infoBuff_.size() < size) infoBuff_.resize(static_cast<std::size_t>(size));
  uint64 len = 0;
  info->serialize(&len, infoBuff_.data());
  appendHeader(wavChunkNames[WAV_LIST], 4);
  appendHeader32(static_cast<uint32>(len));
  appendHeader(infoBuff_.data(), static_cast<std::size_t>(len));
  infoLength_ += static_cast<uint32>(len);
  lastSeq_ = info->seqNum();
  transition(&MavWavWriter::st_fmtChunk);
}

void MavWavWriter::st_fmtChunk(const StateEvent* ev) {
  const WavStreamEvent* e = asWav(ev);
  if (const MavWavInfoData* info = payload<MavWavInfoData>(e)) {
    fmt_.setNumChannels(info->numChannels());
    e->consume();
    return;
  }
  const MavWavSetupData* setup = payload<MavWavSetupData>(e);
  if (setup == nullptr) return;
  if (!file_) {
    logFileError("");
    error_ = WAV_FMT_ERROR;
    return;
  }
  setup_.setBitDepth(setup->bitDepth());
  setup_.setGain(setup->gain());
  setup_.setSampleRate(setup->sampleRate());
  setup_.setBigEndian(setup->bigEndian());
  fmt_.applySetup(setup_);

  const std::size_t mark = header_.size();
  appendHeader(wavChunkNames[WAV_FMT], 4);
  appendHeader32(16);
  appendHeader16(fmt_.compCode());
  appendHeader16(fmt_.numChannels());
  appendHeader32(fmt_.sampleRate());
  appendHeader32(fmt_.bytesPerSec());
  appendHeader16(fmt_.blockAlign());
  appendHeader16(fmt_.bitsPerSamp());
  appendHeader(wavChunkNames[WAV_DATA], 4);
  appendHeader32(0);  // patched when the file is finished
  if (!file_->append(header_.data(), header_.size())) {
    header_.resize(mark);  // the setup record may be offered again
    logFileError("");
    error_ = WAV_FMT_ERROR;
    return;
  }
  header_.clear();
  if (patchEvery_ != 0) patchSizes();  // an empty but valid file from the start
  e->consume();
  transition(&MavWavWriter::st_data);
}

bool MavWavWriter::patchSizes() {
  // Data first, and only then the sizes that cover it, so the header never claims more
  // samples than the file holds. Against a cut process (killed, crashed, its host gone) the
  // order of the writes is all it takes: the kernel keeps one image of the file that outlives
  // the process and already holds every sample written before the patch. Only a power cut can
  // lose that image, and then in any order, the sizes before the samples; forcing the data to
  // the device before each patch guards against that, but costs a disk round trip on every
  // patch (several ms, some times what writing that second of audio to the page cache took),
  // so it is the host's choice. The flush here is one short write at most; the batches before
  // it stay 1 MiB each.
  if (!file_->flush() || (forceToStorage_ && !file_->sync())) {
    logFileError(kDataState);
    error_ = WAV_DATA_ERROR;
    return false;
  }
  if (!file_->patch(4, riffChunkSize()) ||
      !file_->patch(kBeforeInfo + infoLength_ + kAfterInfoToDataSize, dataWritten_)) {
    error_ = WAV_FINISH_ERROR;
    return false;
  }
  lastPatch_ = dataWritten_;
  return true;
}

void MavWavWriter::st_data(const StateEvent* ev) {
  const WavStreamEvent* e = asWav(ev);
  if (const MavWavDataChunk* block = payload<MavWavDataChunk>(e)) {
    const uint32 size = block->dataSize();
    if (size > 0 && (!file_ || block->data() == nullptr || !file_->append(block->data(), size))) {
      // Reported, and then counted like a block that was written: the sample count runs on,
      // so the next block is not taken for a gap. The sizes now claim bytes the file may not
      // hold; a host that must keep the header true finishes the file on this error.
      logFileError(kDataState);
      error_ = WAV_DATA_ERROR;
    }
    if (expectedSample_ != 0 && block->sampleNum() != expectedSample_) {
      const uint64 missed = block->sampleNum() - expectedSample_;
      std::ostringstream os;
      os << block->sampleNum() << " EXPECTED: " << expectedSample_ << " NUMSAMPLES: "
         << block->numSamples() << " MISSED : " << missed;
      VelLog::write(os.str());
      missedSamples_ += static_cast<uint32>(missed);
    }
    expectedSample_ = uint64{block->sampleNum()} + block->numSamples();
    dataWritten_ += size;
    if (patchEvery_ != 0 && dataWritten_ - lastPatch_ >= patchEvery_) patchSizes();
    if (!(static_cast<int64>(length()) < maxLength_ && block->numChannels() == fmt_.numChannels())) {
      transition(&MavWavWriter::st_finish);
    }
    e->consume();
    return;
  }

  if (const MavWavInfoData* info = payload<MavWavInfoData>(e)) {
    // Files start on whole multiples of the period on the clock, not a period after the
    // first sample: the record that lands on the boundary opens the next file.
    if (maxLength_ > 0 && info->timestamp() % maxLength_ == 0) {
      finishFile();
      return;
    }
    if (missedSamples_ != 0) {
      // Relative to one second of samples and never reset: the figure the hosts have shown.
      const double percent = setup_.sampleRate() == 0
                                 ? 0.0
                                 : static_cast<double>(missedSamples_) / setup_.sampleRate() * 100;
      std::ostringstream os;
      os << kDataState << ": MISSED SAMPLES: " << missedSamples_ << "(" << percent << "%)";
      VelLog::write(os.str());
    }
    expectedSample_ = 0;
    // Metadata records come once a second and count samples, so they differ by the rate.
    const uint64 delta = info->seqNum() - lastSeq_;
    if (delta != setup_.sampleRate() && info->seqNum() != 0) {
      std::ostringstream os;
      os << kDataState << ": Warning! Data missed!! " << " SEQUENCE: " << info->seqNum()
         << " Last: " << lastSeq_ << " DELTA: " << delta;
      VelLog::write(os.str());
    }
    lastSeq_ = info->seqNum();
    e->consume();
    return;
  }

  if (const MavWavSetupData* setup = payload<MavWavSetupData>(e)) {
    if (setup->sampleRate() == setup_.sampleRate() && setup->bitDepth() == setup_.bitDepth() &&
        setup->gain() == setup_.gain() && setup->bigEndian() == setup_.bigEndian()) {
      e->consume();
      return;
    }
    setup_.setSampleRate(setup->sampleRate());
    setup_.setBitDepth(setup->bitDepth());
    setup_.setGain(setup->gain());
    setup_.setBigEndian(setup->bigEndian());
    transition(&MavWavWriter::st_finish);
  }
}

void MavWavWriter::st_finish(const StateEvent* ev) {
  const WavStreamEvent* e = asWav(ev);
  finishFile();
  // Whatever the event is, it ends here: a metadata record that arrives now does not open
  // the next file. A host that wants that second finishes the file itself before it hands
  // the record over.
  if (e != nullptr) e->consume();
}

void MavWavWriter::finishFile() {
  if (file_) {
    VelLog::write("closing wav file");
    const uint32 riffSize = riffChunkSize();
    const uint32 dataSizeOffset = kBeforeInfo + infoLength_ + kAfterInfoToDataSize;
    const uint32 dataSize = dataWritten_;
    MavWavOutFile* file = file_.get();
    queue_.push(std::move(file_));
    previousFile_ = file;

    const bool closeAll = stopLogging_;
    std::unique_ptr<WavFileQueue> all;
    if (closeAll) {
      all = std::make_unique<WavFileQueue>(std::move(queue_));
      queue_ = WavFileQueue();
      previousFile_ = nullptr;
    }
    bool ok = false;
    auto job = [&] { ok = finishDelay(file, riffSize, dataSizeOffset, dataSize, closeAll, std::move(all)); };
    try {
      std::thread finisher(job);
      finisher.join();  // the sizes are patched when finishFile returns
    } catch (const std::system_error&) {
      job();  // no thread to be had: finish on this one
    }
    if (!ok) error_ = WAV_FINISH_ERROR;
  }
  transition(&MavWavWriter::st_init);
}
