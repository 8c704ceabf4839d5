#include <veliface/files/MavWavHeader.h>

#include <mavcommon/Endian.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

// Unknown chunks shorter than this are skipped; longer ones end the reading.
constexpr uint32 kMaxSkippedChunk = 500;
// The longest INFO body a recording can carry (a full array) is far below this.
constexpr uint32 kMaxInfoLength = 64 * 1024;

const WavReadEvent* asRead(const StateEvent* e) { return dynamic_cast<const WavReadEvent*>(e); }

bool isChunk(const uint8* id, WavChunkName name) { return std::memcmp(id, wavChunkNames[name], 4) == 0; }

}  // namespace

std::size_t WavReadEvent::getn(int count, unsigned char* dst) const {
  return count <= 0 ? 0 : buffer_->read(dst, static_cast<std::size_t>(count));
}

MavWavHeaderProcessor::MavWavHeaderProcessor()
    : FiniteStateMachine<MavWavHeaderProcessor>(&MavWavHeaderProcessor::st_init) {
  addEndState(&MavWavHeaderProcessor::st_endHdr);
}

void MavWavHeaderProcessor::reset() {
  header_.reset();
  fmt_.reset();
  info_.reset();
  chunkLength_ = 0;
  dataSize_ = 0;
  skip_ = 0;
  headerSize_ = 0;
  error_ = WAVREAD_OK;
  transition(&MavWavHeaderProcessor::st_init);
}

bool MavWavHeaderProcessor::take(const WavReadEvent& e, uint8* dst, std::size_t n) {
  if (e.bytesAvailable() < n) return false;
  e.getn(static_cast<int>(n), dst);
  headerSize_ += n;
  return true;
}

void MavWavHeaderProcessor::fail(int code) {
  error_ = code;
  transition(&MavWavHeaderProcessor::st_endHdr);
}

void MavWavHeaderProcessor::st_init(const StateEvent* ev) {
  const WavReadEvent* e = asRead(ev);
  if (e == nullptr) return;
  while (skip_ > 0 && e->bytesAvailable() > 0) {
    uint8 scratch[256];
    const std::size_t n = static_cast<std::size_t>(std::min<uint64>(skip_, sizeof scratch));
    const std::size_t got = std::min(n, e->bytesAvailable());
    take(*e, scratch, got);
    skip_ -= got;
  }
  if (skip_ > 0 || e->bytesAvailable() <= 19) return;

  uint8 head[8];
  take(*e, head, 8);
  const uint32 length = mav::loadLE<uint32>(head + 4);
  if (isChunk(head, WAV_RIFF)) {
    uint8 form[4];
    take(*e, form, 4);
    if (!isChunk(form, WAV_WAVE)) fail(WAVREAD_NOT_WAVE);
  } else if (isChunk(head, WAV_LIST)) {
    if (length > kMaxInfoLength) return fail(WAVREAD_BAD_LENGTH);
    chunkLength_ = length;
    transition(&MavWavHeaderProcessor::st_infoChunk);
  } else if (isChunk(head, WAV_FMT)) {
    if (length >= kMaxSkippedChunk) return fail(WAVREAD_BAD_LENGTH);
    chunkLength_ = length;
    transition(&MavWavHeaderProcessor::st_fmtChunk);
  } else if (isChunk(head, WAV_DATA)) {
    dataSize_ = length;
    transition(&MavWavHeaderProcessor::st_dataSize);
  } else if (length < kMaxSkippedChunk) {
    skip_ = length;
  } else {
    fail(WAVREAD_UNKNOWN_CHUNK);
  }
}

void MavWavHeaderProcessor::st_infoChunk(const StateEvent* ev) {
  const WavReadEvent* e = asRead(ev);
  // Nothing is allocated for a chunk until the whole of it has arrived.
  if (e == nullptr || e->bytesAvailable() < chunkLength_) return;
  std::vector<uint8> body(chunkLength_);
  if (!take(*e, body.data(), body.size())) return;
  // Array INFO bodies are read with the single-sensor reader too.
  info_.reset(MavWavInfoDataHF::create(body.data(), body.size()));
  transition(&MavWavHeaderProcessor::st_init);
}

void MavWavHeaderProcessor::st_fmtChunk(const StateEvent* ev) {
  const WavReadEvent* e = asRead(ev);
  // Nothing is allocated for a chunk until the whole of it has arrived.
  if (e == nullptr || e->bytesAvailable() < chunkLength_) return;
  std::vector<uint8> body(chunkLength_);
  if (!take(*e, body.data(), body.size())) return;
  fmt_.reset(MavWavFmtData::create(body.data(), body.size()));
  transition(&MavWavHeaderProcessor::st_init);
}

void MavWavHeaderProcessor::st_dataSize(const StateEvent*) {
  header_ = std::make_shared<MavWavHeader>();
  header_->setFmt(fmt_);
  header_->setInfo(info_);
  header_->setDataSize(dataSize_);
  transition(&MavWavHeaderProcessor::st_endHdr);
}

void MavWavHeaderProcessor::st_endHdr(const StateEvent*) {}

bool MavWavHeaderProcessor::pump(CircularByteBuffer& buffer) {
  const WavReadEvent event(buffer);
  while (!isEndState()) {
    const StateHandler before = state();
    const uint64 consumed = headerSize_;
    dispatch(&event);
    if (state() == before && headerSize_ == consumed) break;
  }
  return header_ != nullptr && error_ == WAVREAD_OK;
}
