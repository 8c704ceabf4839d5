#include <veliface/record/WavRecorder.h>

#include <veliface/common/VelLog.h>
#include <veliface/files/VelDateStamp.h>
#include <veliface/files/DeviceFacts.h>
#include <veliface/record/CutChunks.h>
#include <veliface/record/internal/FileNames.h>
#include <veliface/record/internal/PayloadDispatch.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <algorithm>
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
  info_.setFilename(freshName(dir_, ".wav", prefix_, info_.timestamp(), lastBase_, baseCount_));
  feed(info_);
  feed(setup_);
}

void WavRecorder::finishFile() {
  tracked([&] {
    writer_->finishFile();
    return true;
  });
}

WavRecorder::~WavRecorder() { finish(); }

void WavRecorder::take(const VelStreamMessage& message) { dispatchPayload(*this, message); }

template <typename Op>
bool WavRecorder::tracked(Op&& op) {
  const bool wasOpen = !openPath_.empty();
  const uint64 sizeBefore = uint64{writer_->riffChunkSize()} + 8;
  const bool result = op();
  const bool open = !writer_->isInitFile();
  const std::filesystem::path now = open ? dir_ / writer_->outputFileName() : std::filesystem::path();
  if (wasOpen && (!open || now != openPath_)) {
    // What is on disk, which is what the header says unless a write failed part-way.
    std::error_code ec;
    const uint64 onDisk = std::filesystem::file_size(openPath_, ec);
    if (listener_) listener_->fileClosed(openPath_, ec ? sizeBefore : onDisk);
    openPath_.clear();
  }
  if (open && openPath_.empty()) {
    openPath_ = now;
    noteOpened(info_.filename(), lastBase_, baseCount_);
    if (listener_) listener_->fileOpened(now);
  }
  if (writer_->errorCode() != WAV_NO_ERROR) {
    if (listener_) listener_->error(writer_->errorCode(), MavWavWriter::errorStr(writer_->errorCode()));
    writer_->clearErr();
  }
  return result;
}

bool WavRecorder::feed(MavWavEventData& record) {
  return tracked([&] { return writer_->feed(record); });
}

void WavRecorder::onHeader(const VelStreamEventHeaderPayload& hdr) {
  const auto key = hdr.eventKey();
  const auto wav = hdr.streamSetupChunk().wavSetup();
  if (!key || !wav) return;  // nothing to name or describe a file by

  setup_.setSampleRate(wav->sampleRate());
  setup_.setGain(static_cast<short>(wav->gain()));
  // The chunk's bit depth counts the byte-order bit as well; the 8-bit field drops it again.
  setup_.setBitDepth(static_cast<uint8>(wav->bitDepth()));
  setup_.setBigEndian(wav->isBigEndian());

  const auto& infos = hdr.deviceInfoChunks();
  const veliface::files::DeviceFacts facts = veliface::files::deviceFacts(device_, infos.empty() ? nullptr : infos.front().get());
  info_.setDeviceType(facts.type, 0);
  info_.setSerialNo(facts.serial, 0);
  info_.setSensitivity(static_cast<short>(std::lround(facts.sensitivity)), 0);
  info_.setHwVersion(facts.firmware);
  info_.setCreator(creator_);
  if (!hdr.streamStatusChunks().empty()) {
    // The status chunk reports tenths of a degree and of a percent, as the metadata keeps them.
    const auto& status = hdr.streamStatusChunks().front();
    info_.setTemperature(static_cast<short>(status->temperature()), 0);
    info_.setHumidity(status->humidity(), 0);
  }
  if (!hdr.amplScalingChunks().empty()) {
    const auto& scaling = hdr.amplScalingChunks().front();
    info_.setVoltsPk(static_cast<float>(scaling->maxAmplitude()));
    info_.setMaxCount(scaling->maxCount());
  }
  info_.setTime(key->timeStamp());
  info_.setSeqNum(key->seqNum());
  info_.setFilename(freshName(dir_, ".wav", prefix_, key->timeStamp(), lastBase_, baseCount_));

  // Event headers come once a second and count samples, so they differ by the rate.
  // The stream's first header comes whenever the stream starts, often mid-second, so the
  // interval after it is short by design; only the intervals after it are whole seconds.
  if (haveSeq_ && !firstInterval_ && key->seqNum() - lastSeq_ != setup_.sampleRate() && listener_) {
    listener_->sequenceLoss(lastSeq_, key->seqNum());
  }
  firstInterval_ = !haveSeq_;
  haveSeq_ = true;
  lastSeq_ = key->seqNum();
  haveHeader_ = true;
  writer_->setCrashSafety(uint64{setup_.sampleRate()} * setup_.bytesPerSample(), forceToStorage_);

  if (writer_->isFinishFile()) {
    // The last block filled the file. The writer would end this record with the file, so
    // the file is finished first and the record opens the next one: no second is lost and
    // files still start on whole multiples of the period.
    finishFile();
  }
  feed(info_);
  if (writer_->isInitFile()) return;  // the file could not be opened (reported)
  const bool wasOpen = !openPath_.empty();
  feed(setup_);
  if (wasOpen && writer_->isInitFile()) {
    // A new setup finished the file and took the setup record with it: open the next file
    // now, on this header, so that no block of this second is lost.
    info_.setFilename(freshName(dir_, ".wav", prefix_, key->timeStamp(), lastBase_, baseCount_));
    feed(info_);
    feed(setup_);
  }
  releaseHeld(false);
}

void WavRecorder::onData(const VelStreamDataPayload& payload) {
  const auto chunk = payload.data();
  if (!chunk || !haveHeader_) return;  // before the first header there is nothing to describe it
  if (writer_->isFinishFile() || !held_.empty()) {
    held_.push_back(chunk);
    heldBytes_ += chunk->dataSize();
    // Normally the next header arrives within the second; a stream that stops sending them
    // must not pile up blocks.
    if (heldBytes_ >= uint64{setup_.sampleRate()} * setup_.bytesPerSample()) releaseHeld(true);
    return;
  }
  writeBlock(chunk);
}

void WavRecorder::writeBlock(const std::shared_ptr<const VelStreamDataChunk>& chunk) {
  if (!dataHeadIsWhole(*chunk)) return;  // nothing known of where it belongs or how long it is
  MavWavDataChunk block;
  block.setSampleNum(chunk->sampleNum());
  block.setNumChannels(chunk->numChannels());
  block.setBigEndian(chunk->isBigEndian());
  block.setBitDepth(static_cast<uint8>(chunk->bitDepth()));
  block.setNumSamples(chunk->numSamples());
  block.setData(chunk->data().get());  // the writer copies from the stream's own buffer

  // Samples are counted over header boundaries too (uint32, as the chunk counts them).
  if (expectKnown_ && chunk->sampleNum() != expectedSample_ && listener_) {
    listener_->missedSamples(static_cast<uint32>(chunk->sampleNum() - expectedSample_));
  }
  expectKnown_ = true;
  expectedSample_ = chunk->sampleNum() + chunk->numSamples();

  // A sample of 32 bytes or more has no bit depth a WAV file can state (8 bits): such a
  // format is not recorded, rather than written under a width the file does not have.
  const bool representable = uint32{block.bitDepth()} == uint32{chunk->bytesPerSamp()} * 8u;
  if (chunk->isCorrupted() || !chunk->data() || !representable || block.dataSize() > chunk->dataSize()) {
    // Damaged, or a frame wider than the stream can carry: the writer must not read past it.
    if (listener_) listener_->missedSamples(chunk->numSamples());
    return;
  }
  if (writer_->isInitFile()) return;  // no file (an open failure was reported)
  if (chunk->isBigEndian() && chunk->bytesPerSamp() > 1) {
    // The converted copy is as long as the block the writer reads, whatever the width.
    const std::size_t width = chunk->bytesPerSamp();
    const std::size_t size = block.dataSize();
    const std::size_t whole = size / width * width;
    const uint8* from = chunk->data().get();
    swapped_.resize(size);
    for (std::size_t i = 0; i < whole; i += width) std::reverse_copy(from + i, from + i + width, &swapped_[i]);
    std::copy(from + whole, from + size, swapped_.begin() + static_cast<std::ptrdiff_t>(whole));
    block.setData(swapped_.data());
    block.setBigEndian(false);
  }
  if (uint64{writer_->riffChunkSize()} + 8 + block.dataSize() > sizeLimit_) {
    // The sizes of a WAV file are 32 bits: rather than let them wrap, the file ends here and
    // the block opens the next one, named after the last header.
    VelLog::write("WAV file " + openPath_.filename().string() +
                  " reached the largest size a WAV file can state; continuing in a new file");
    continueInNewFile();
    if (writer_->isInitFile()) return;  // the new file could not be opened (reported)
  }
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
  if (consumed && clean) {
    totalBytes_ += block.dataSize();
    if (listener_) {
      listener_->samplesWritten(block.data(), block.dataSize(), block.numSamples());
      listener_->bytesWritten(totalBytes_);
    }
  }
}

void WavRecorder::releaseHeld(bool force) {
  if (held_.empty()) return;
  if (force) continueInNewFile();
  while (!held_.empty() && !writer_->isFinishFile() && !writer_->isInitFile()) {
    const auto chunk = held_.front();
    held_.pop_front();
    heldBytes_ -= chunk->dataSize();
    writeBlock(chunk);
  }
  if (writer_->isInitFile()) {  // no file to put them in
    held_.clear();
    heldBytes_ = 0;
  }
}

void WavRecorder::streamRestarted() {
  finish();
  writer_ = makeWriter();
  haveHeader_ = false;
  haveSeq_ = false;
  firstInterval_ = false;
  expectKnown_ = false;
}

void WavRecorder::finish() {
  if (!held_.empty()) releaseHeld(true);
  finishFile();
  // Blocks whose channel count no file of this stream can take: a file each would not
  // hold them either.
  if (!held_.empty()) {
    uint64 samples = 0;
    for (const auto& chunk : held_) samples += chunk->numSamples();
    held_.clear();
    heldBytes_ = 0;
    if (listener_) listener_->missedSamples(samples);
  }
}

}  // namespace veliface::record
