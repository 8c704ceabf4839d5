#include <veliface/record/WavRecorder.h>

#include <veliface/common/VelLog.h>
#include <veliface/files/VelDateStamp.h>
#include <veliface/files/DeviceFacts.h>
#include <veliface/record/CutChunks.h>
#include <veliface/record/internal/FileNames.h>
#include <veliface/record/internal/WavInfo.h>
#include <veliface/record/internal/PayloadDispatch.h>
#include <veliface/record/internal/StorageError.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fstream>

namespace veliface::record {

namespace {

// After a refused block: the writer counted it and, if the rest of the file did reach the
// disk, patched sizes that include it. When the file holds exactly its header and the blocks
// that were written well, its sizes are set to those; otherwise the last patch the writer
// managed is left, which never claims more than the disk holds.
bool patchWavSizes(const std::filesystem::path& path, uint64 headerBytes, uint32 dataBytes) {
  std::error_code ec;
  if (std::filesystem::file_size(path, ec) != headerBytes + dataBytes || ec) return true;
  std::fstream f(path, std::ios::in | std::ios::out | std::ios::binary);
  const auto put32 = [&](uint64 at, uint64 v) {
    const char le[4] = {static_cast<char>(v), static_cast<char>(v >> 8), static_cast<char>(v >> 16),
                        static_cast<char>(v >> 24)};
    f.seekp(static_cast<std::streamoff>(at));
    f.write(le, 4);
  };
  put32(4, headerBytes - 8 + dataBytes);  // RIFF size: everything after its own 8 bytes
  put32(headerBytes - 4, dataBytes);      // the data chunk's size ends the header
  f.flush();
  return static_cast<bool>(f);
}

}  // namespace

WavRecorder::WavRecorder(std::filesystem::path dir, std::string prefix, int periodSeconds,
                         std::shared_ptr<MavDevice> device, RecordListener* listener)
    : dir_(directoryOrHere(std::move(dir))),
      period_(periodSeconds),
      prefix_(std::move(prefix)),
      device_(std::move(device)),
      listener_(listener) {
  writer_ = makeWriter();
}

std::unique_ptr<MavWavWriter> WavRecorder::makeWriter() const {
  auto writer = std::make_unique<MavWavWriter>(static_cast<unsigned>(period_), dir_.wstring());
  // Every finish closes the finished file at once (the writer would otherwise keep each one
  // open until logging stops): one open file however many periods go by.
  writer->setStopLogging(true);
  return writer;
}

void WavRecorder::continueInNewFile() {
  // Finish the file and go on in a new one named after the last header.
  finishFile();
  if (!info_) return;
  info_->setFilename(freshName(dir_, ".wav", prefix_, info_->timestamp(), lastBase_, baseCount_));
  feed(*info_);
  feed(setup_);
}

void WavRecorder::finishFile() {
  tracked([&] {
    writer_->finishFile();
    return true;
  });
}

WavRecorder::~WavRecorder() { finish(); }

uint64 WavRecorder::longestPeriod(uint32 rate, unsigned channels, unsigned bytesPerSample) {
  const uint64 perSecond = uint64{rate} * channels * bytesPerSample;
  // Room for the header, whose metadata grows with the channels of an array.
  constexpr uint64 kHeaderRoom = 64 * 1024;
  return perSecond == 0 ? UINT64_MAX : (kRiffLimit - kHeaderRoom) / perSecond;
}

void WavRecorder::take(const VelStreamMessage& message) { dispatchPayload(*this, message); }

template <typename Op>
bool WavRecorder::tracked(Op&& op) {
  const bool wasOpen = !openPath_.empty();
  const uint64 sizeBefore = uint64{writer_->riffChunkSize()} + 8;
  errno = 0;
  const bool result = op();
  const int err = errno;  // the system's reason for a failed open or write, before anything else
  const std::filesystem::path attempted = dir_ / writer_->outputFileName();
  const bool open = !writer_->isInitFile();
  const std::filesystem::path now = open ? dir_ / writer_->outputFileName() : std::filesystem::path();
  if (wasOpen && (!open || now != openPath_)) {
    writeSidecar();
    // What is on disk, which is what the header says unless a write failed part-way.
    std::error_code ec;
    const uint64 onDisk = std::filesystem::file_size(openPath_, ec);
    if (listener_) listener_->fileClosed(openPath_, ec ? sizeBefore : onDisk);
    openPath_.clear();
  }
  if (open && openPath_.empty()) {
    openPath_ = now;
    noteOpened(info_->filename(), lastBase_, baseCount_);
    openFileFacts();
    if (listener_) listener_->fileOpened(now);
  }
  if (writer_->errorCode() != WAV_NO_ERROR) {
    if (listener_)
      listener_->error(writer_->errorCode(),
                       storageErrorText(MavWavWriter::errorStr(writer_->errorCode()), attempted, err));
    writer_->clearErr();
  }
  return result;
}

bool WavRecorder::feed(MavWavEventData& record) {
  return tracked([&] { return writer_->feed(record); });
}

void WavRecorder::openFileFacts() {
  facts_ = WavFileFacts();
  sidecarFailed_ = false;
  facts_.file = openPath_.filename().string();
  facts_.sampleRate = setup_.sampleRate();
  facts_.channels = channels_;
  facts_.bits = setup_.bitDepth();
  facts_.sequenceNumber = timeline_.expected();
  if (lastHeader_) describeDevice(*lastHeader_, device_, channels_, facts_);
  facts_.deployment = deployment_;
  facts_.creator = creator_;
  fileFirst_ = timeline_.expected();
  anchored_ = false;
  openSecond_ = timeline_.lastSecond();
  openSeq_ = timeline_.lastSeq();
}

void WavRecorder::writeSidecar() {
  if (openPath_.empty() || facts_.sampleRate == 0) return;
  // Sample s of a stream was taken at T + (s - S) / rate, where T is the second of a header
  // that came on the whole second and S its first sample: to one sample, as the device counts.
  // Until such a header is known, the second of the header that opened the file stands in.
  const auto micros = [&](int64 second, uint64 seq) {
    const auto delta = static_cast<long double>(static_cast<int64>(fileFirst_ - seq));
    return second * 1000000 + static_cast<int64>(std::llround(delta * 1e6L / facts_.sampleRate));
  };
  facts_.startFromClock = anchored_;
  facts_.startMicros = anchored_ ? micros(anchorSecond_, anchorSeq_) : micros(openSecond_, openSeq_);
  std::string error;
  if (!veliface::record::writeSidecar(openPath_, facts_, error) && !sidecarFailed_) {
    sidecarFailed_ = true;  // once per file: the disk that refused it will refuse it each second
    VelLog::write("cannot write the sidecar " + error);
  }
}

void WavRecorder::setChannels(unsigned channels) {
  channels_ = channels;
  if (!lastHeader_ || !info_) return;
  auto info = makeWavInfo(*lastHeader_, device_, channels_, creator_);
  info->setTime(info_->timestamp());
  info->setSeqNum(info_->seqNum());
  info->setFilename(info_->filename());
  info_ = std::move(info);
}

void WavRecorder::onHeader(const VelStreamEventHeaderPayload& hdr) {
  const auto key = hdr.eventKey();
  const auto wav = hdr.streamSetupChunk().wavSetup();
  if (!key || !wav) return;  // nothing to name or describe a file by

  const uint64 lastSeq = timeline_.lastSeq();
  const auto step = timeline_.header(key->timeStamp(), key->seqNum(), wav->sampleRate());
  if (step == StreamTimeline::Step::Restart) {
    // Nothing is filled across a restart: the file ends with the old stream. Blocks still
    // waiting for the next file belong to the old stream, whose time is gone.
    VelLog::write("waveform stream started over (" + timeline_.restartReason() + "); a new file starts");
    dropHeld();
    finishFile();
    if (listener_) {
      listener_->sequenceLoss(lastSeq, key->seqNum());
      listener_->streamRestarted(timeline_.restartReason());
    }
  } else if (step == StreamTimeline::Step::Continue) {
    // Event headers come once a second and count samples, so they differ by the rate.
    // The stream's first header comes whenever the stream starts, often mid-second, so the
    // interval after it is short by design; only the intervals after it are whole seconds.
    if (!firstInterval_ && key->seqNum() - lastSeq != wav->sampleRate() && listener_)
      listener_->sequenceLoss(lastSeq, key->seqNum());
    // Samples missing at the end of the second belong to the file they end.
    const uint64 gap = timeline_.gapBeforeHeader();
    if (gap > 0 && !writer_->isInitFile() && !writer_->isFinishFile())
      fillGap(gap, channels_, setup_.bytesPerSample());
  }
  firstInterval_ = step != StreamTimeline::Step::Continue;

  setup_.setSampleRate(wav->sampleRate());
  setup_.setGain(static_cast<short>(wav->gain()));
  // The chunk's bit depth counts the byte-order bit as well; the 8-bit field drops it again.
  setup_.setBitDepth(static_cast<uint8>(wav->bitDepth()));
  setup_.setBigEndian(wav->isBigEndian());
  haveHeader_ = true;
  writer_->setCrashSafety(uint64{setup_.sampleRate()} * setup_.bytesPerSample() * channels_, forceToStorage_);

  lastHeader_ = std::make_shared<VelStreamEventHeaderPayload>(hdr);
  // The blocks tell the channel count for sure; until one came, the header's channels do.
  if (!channelsFromBlocks_) channels_ = std::max(1u, unsigned{hdr.numChannels()});
  info_ = makeWavInfo(hdr, device_, channels_, creator_);
  info_->setTime(key->timeStamp());
  info_->setSeqNum(key->seqNum());
  info_->setFilename(freshName(dir_, ".wav", prefix_, key->timeStamp(), lastBase_, baseCount_));

  if (writer_->isFinishFile()) {
    // The last block filled the file. The writer would end this record with the file, so
    // the file is finished first and the record opens the next one: no second is lost and
    // files still start on whole multiples of the period.
    finishFile();
  }
  const std::filesystem::path before = openPath_;
  feed(*info_);
  if (writer_->isInitFile()) return;  // the file could not be opened (reported)
  // A metadata record within a file makes the writer forget which sample it expects next.
  if (openPath_ == before) nextNum_ = 0;
  const bool wasOpen = !openPath_.empty();
  feed(setup_);
  if (wasOpen && writer_->isInitFile()) {
    // A new setup finished the file and took the setup record with it: open the next file
    // now, on this header, so that no block of this second is lost.
    info_->setFilename(freshName(dir_, ".wav", prefix_, key->timeStamp(), lastBase_, baseCount_));
    feed(*info_);
    feed(setup_);
  }
  if (step == StreamTimeline::Step::Continue && !anchored_ && !openPath_.empty()) {
    anchored_ = true;
    anchorSecond_ = key->timeStamp();
    anchorSeq_ = key->seqNum();
  }
  releaseHeld(false);
  writeSidecar();
}

void WavRecorder::onData(const VelStreamDataPayload& payload) {
  const auto chunk = payload.data();
  if (!chunk || !haveHeader_) return;  // before the first header there is nothing to describe it
  if (writer_->isFinishFile() || !held_.empty() || !writeBlock(chunk)) hold(chunk);
}

void WavRecorder::hold(const std::shared_ptr<const VelStreamDataChunk>& chunk) {
  held_.push_back(chunk);
  heldBytes_ += chunk->dataSize();
  // Normally the next header arrives within the second; a stream that stops sending them
  // must not pile up blocks.
  if (heldBytes_ >= uint64{setup_.sampleRate()} * setup_.bytesPerSample() * channels_) releaseHeld(true);
}

bool WavRecorder::writeBlock(const std::shared_ptr<const VelStreamDataChunk>& chunk) {
  if (!dataHeadIsWhole(*chunk)) return true;  // nothing known of where it belongs or how long it is
  if (frameLimit_ > 0 && framesTotal_ >= frameLimit_) return true;  // the recording is complete

  // A sample of 32 bytes or more has no bit depth a WAV file can state (8 bits): such a
  // format is not recorded, rather than written under a width the file does not have.
  const auto bitDepth = static_cast<uint8>(chunk->bitDepth());
  const bool representable = uint32{bitDepth} == uint32{chunk->bytesPerSamp()} * 8u;
  const uint64 frameBytes = uint64{chunk->numChannels()} * chunk->bytesPerSamp();
  if (chunk->isCorrupted() || !chunk->data() || !representable || chunk->numChannels() == 0 ||
      frameBytes * chunk->numSamples() > chunk->dataSize()) {
    // Damaged, or a frame wider than the stream can carry: the writer must not read past it.
    // Its place stays open, so the next block fills it with zeros.
    if (listener_) listener_->missedSamples(chunk->numSamples());
    return true;
  }

  if (chunk->numChannels() != channels_ || !channelsFromBlocks_) {
    const bool change = chunk->numChannels() != channels_;
    channelsFromBlocks_ = true;
    if (change) {
      // Another channel count: another format, so another file, as a setup change.
      setChannels(chunk->numChannels());
      if (!writer_->isInitFile()) continueInNewFile();
    }
  }

  const StreamTimeline::Placement at = timeline_.place(chunk->sampleNum());
  if (at.gap < 0) {
    VelLog::write("a waveform block repeats " + std::to_string(-at.gap) + " samples already written; passed over");
    if (listener_) listener_->missedSamples(chunk->numSamples());
    return true;
  }
  if (writer_->isInitFile()) {
    // No file (an open failure was reported): these samples are lost to the disk, and the
    // next file starts where the samples go on.
    timeline_.advance(static_cast<uint64>(at.gap) + chunk->numSamples());
    return true;
  }
  if (at.gap > 0) {
    const uint64 gap = static_cast<uint64>(at.gap);
    if (gap > uint64{setup_.sampleRate()} * 2 + 0xFFFF) {
      // More than a second or two missing between blocks of one stream is no gap to fill
      // with silence: the samples after it start a new file, timed by the next header.
      VelLog::write("the waveform sample count jumped by " + std::to_string(gap) + "; a new file starts");
      timeline_.advance(gap);
      if (listener_) listener_->missedSamples(gap);
      continueInNewFile();
    } else if (!fillGap(gap, chunk->numChannels(), chunk->bytesPerSamp())) {
      return writer_->isInitFile();  // the file is full: the block waits for the next one
    }
  }
  if (writer_->isInitFile()) return true;  // no file (an open failure was reported)
  if (writer_->isFinishFile()) return false;

  uint64 frames = chunk->numSamples();
  if (frameLimit_ > 0) frames = std::min(frames, frameLimit_ - framesTotal_);
  MavWavDataChunk block;
  block.setNumChannels(chunk->numChannels());
  block.setBigEndian(chunk->isBigEndian());
  block.setBitDepth(bitDepth);
  block.setNumSamples(static_cast<uint16>(frames));
  block.setData(chunk->data().get());  // the writer copies from the stream's own buffer
  if (chunk->isBigEndian() && chunk->bytesPerSamp() > 1) {
    const std::size_t width = chunk->bytesPerSamp();
    const std::size_t size = block.dataSize();
    const uint8* from = chunk->data().get();
    swapped_.resize(size);
    for (std::size_t i = 0; i + width <= size; i += width) std::reverse_copy(from + i, from + i + width, &swapped_[i]);
    block.setData(swapped_.data());
    block.setBigEndian(false);
  }
  writeFrames(block, false);
  return true;
}

bool WavRecorder::fillGap(uint64 frames, unsigned channels, unsigned bytesPerSample) {
  constexpr uint64 kMostPerBlock = 4096;
  const uint64 frameBytes = uint64{channels} * bytesPerSample;
  if (frameBytes == 0) return true;
  while (frames > 0) {
    if (frameLimit_ > 0 && framesTotal_ >= frameLimit_) return true;
    if (writer_->isInitFile() || writer_->isFinishFile()) return false;
    uint64 n = std::min(frames, kMostPerBlock);
    if (frameLimit_ > 0) n = std::min(n, frameLimit_ - framesTotal_);
    if (zeros_.size() < n * frameBytes) zeros_.resize(n * frameBytes);
    MavWavDataChunk block;
    block.setNumChannels(static_cast<uint8>(channels));
    block.setBitDepth(static_cast<uint8>(bytesPerSample * 8));
    block.setNumSamples(static_cast<uint16>(n));
    block.setData(zeros_.data());
    if (!writeFrames(block, true)) return false;
    frames -= n;
  }
  return true;
}

bool WavRecorder::writeFrames(MavWavDataChunk& block, bool zeros) {
  if (uint64{writer_->riffChunkSize()} + 8 + block.dataSize() > sizeLimit_) {
    // The sizes of a WAV file are 32 bits: rather than let them wrap, the file ends here and
    // the block opens the next one, named after the last header.
    VelLog::write("WAV file " + openPath_.filename().string() +
                  " reached the largest size a WAV file can state; continuing in a new file");
    continueInNewFile();
    if (writer_->isInitFile()) return false;  // the new file could not be opened (reported)
  }
  // The writer checks that each block follows the one before. Ours follow by construction
  // (gaps are filled), so they are numbered afresh after each metadata record, where the
  // writer stops checking: the numbers never wrap, whatever the stream's own count does.
  block.setSampleNum(nextNum_);
  nextNum_ += block.numSamples();
  // Only a block the writer took without an error counts as written: the figures a host
  // shows must be what the file holds.
  const uint32 goodBytes = writer_->dataWritten();
  const uint64 headerBytes = uint64{writer_->riffChunkSize()} + 8 - goodBytes;
  bool clean = false;
  const bool consumed = tracked([&] {
    const bool taken = writer_->feed(block);
    clean = writer_->errorCode() == WAV_NO_ERROR;
    return taken;
  });
  if (!clean && !writer_->isInitFile() && writer_->dataWritten() != goodBytes) {
    // The block did not reach the file, but the writer counts it all the same. The file is
    // finished now, its sizes set to what was written well, so that it never claims samples
    // it does not hold and no later block lands behind the hole; the next second opens a
    // new file.
    const std::filesystem::path path = openPath_;
    tracked([&] {
      writer_->finishFile();
      if (!patchWavSizes(path, headerBytes, goodBytes) && listener_)
        listener_->error(WAV_FINISH_ERROR, MavWavWriter::errorStr(WAV_FINISH_ERROR));
      return true;
    });
  }
  const uint64 frames = block.numSamples();
  if (!consumed || !clean) {
    // Lost to the disk, not to the stream: the next file starts where the samples go on,
    // without zeros for what could not be written here.
    timeline_.advance(frames);
    return false;
  }
  const uint64 atFrame = facts_.frames;
  totalBytes_ += block.dataSize();
  framesTotal_ += frames;
  facts_.frames += frames;
  timeline_.advance(frames);
  if (zeros) addGap(facts_.gaps, atFrame, frames);
  if (listener_) {
    if (zeros) {
      listener_->gapFilled(openPath_, atFrame, frames);
    } else {
      listener_->samplesWritten(block.data(), block.dataSize(), block.numSamples());
    }
    listener_->bytesWritten(totalBytes_);
  }
  return true;
}

void WavRecorder::releaseHeld(bool force) {
  if (held_.empty()) return;
  if (force) continueInNewFile();
  while (!held_.empty() && !writer_->isFinishFile() && !writer_->isInitFile()) {
    if (!writeBlock(held_.front())) break;
    heldBytes_ -= held_.front()->dataSize();
    held_.pop_front();
  }
  if (writer_->isInitFile()) dropHeld();  // no file to put them in
}

void WavRecorder::dropHeld() {
  if (held_.empty()) return;
  uint64 samples = 0;
  for (const auto& chunk : held_) samples += chunk->numSamples();
  held_.clear();
  heldBytes_ = 0;
  if (listener_) listener_->missedSamples(samples);
}

void WavRecorder::streamRestarted() {
  finish();
  writer_ = makeWriter();
  nextNum_ = 0;
  haveHeader_ = false;
  firstInterval_ = false;
  channelsFromBlocks_ = false;
  timeline_.reset();
}

void WavRecorder::finish() {
  if (!held_.empty()) releaseHeld(true);
  finishFile();
  dropHeld();
}

}  // namespace veliface::record
