#include <veliface/host/StreamSession.h>

#include <veliface/record/CutChunks.h>
#include <veliface/stream/VelStreamChunk.h>
#include <veliface/stream/VelStreamNotifyPayload.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <algorithm>
#include <cstdio>

namespace veliface::host {

namespace {

constexpr uint8 kMarker = 0x2A;
// A stream frame is at most a 16-bit payload and its header; the ring holds a few.
constexpr std::size_t kRing = 1 << 20;

}  // namespace

StreamSession::StreamSession(VelStreamType type, Settings settings)
    : type_(type), settings_(settings), parser_(type), ring_(kRing) {}

std::vector<uint8> StreamSession::startMessage() { return {0x53, kMarker, 0x00, 0x00}; }

void StreamSession::opened(HostTime now) {
  if (open_ || counters_.bytes > 0) ++counters_.restarts;
  // The new connection's stream counts its samples from 0 again.
  base_ += connPos_;
  connPos_ = 0;
  expectKnown_ = false;
  haveSecond_ = false;
  parser_ = VelStreamProcessor(type_);
  ring_.clear();
  atFrame_ = true;
  open_ = true;
  started_ = false;
  stalled_ = false;
  lastData_ = now;
}

void StreamSession::closed() { open_ = false; }

std::vector<StreamEvent> StreamSession::takeEvents() {
  std::vector<StreamEvent> out;
  out.swap(events_);
  return out;
}

void StreamSession::tick(HostTime now) {
  if (!open_ || stalled_ || stopped_ || now - lastData_ < settings_.stallAfter) return;
  stalled_ = true;
  ++counters_.stalls;
  char text[64];
  std::snprintf(text, sizeof text, "no data for %.1f s", static_cast<double>((now - lastData_).count()) / 1000.0);
  events_.push_back({StreamEvent::Kind::Stalled, 0, text});
}

void StreamSession::receive(const uint8* data, std::size_t n, HostTime now) {
  if (stopped_ || n == 0) return;
  counters_.bytes += n;
  lastData_ = now;
  stalled_ = false;
  // The ring holds at most a read's worth of frames not yet complete; whatever does not fit
  // waits until the parser has taken the frames before it.
  while (n > 0 || ring_.bytesAvailable() > 0) {
    const std::size_t put = ring_.write(data, n);
    data += put;
    n -= put;
    for (;;) {
      if (atFrame_) skipNoise();
      const std::size_t before = ring_.bytesAvailable();
      const auto msg = parser_.pump(ring_);
      if (!msg) {
        // Bytes taken without a message: the parser holds a frame header and waits for its
        // payload.
        if (ring_.bytesAvailable() != before) atFrame_ = false;
        break;
      }
      atFrame_ = true;
      ++counters_.messages;
      follow(*msg);
      if (sink_) sink_(*msg);
      if (stopped_) return;
    }
    if (put == 0 && n > 0 && ring_.freeSpace() == 0) ring_.clear();  // cannot be: frames are 16-bit
    if (n == 0) break;
  }
}

void StreamSession::skipNoise() {
  // Line noise between frames never holds the marker. The parser's own search for the next
  // frame gives up the two bytes in hand when a read ends inside it, and one of them can be
  // the next frame's code: every such loss would cost a frame. So the noise is skipped here,
  // up to the byte before the first marker, and a run with no marker yet keeps its last byte
  // (it may be a code). Noise longer than the window is the parser's business.
  constexpr std::size_t kWindow = 64;
  uint8 head[kWindow];
  const std::size_t n = ring_.peek(head, kWindow);
  if (n < 2 || head[1] == kMarker) return;
  const uint8* marker = std::find(head, head + n, kMarker);
  if (marker == head) return;  // not noise of ours: leave it to the parser
  if (marker != head + n) {
    ring_.skip(static_cast<std::size_t>(marker - head) - 1);
  } else if (n < kWindow) {
    ring_.skip(n - 1);
  }
}

void StreamSession::follow(const VelStreamMessage& msg) {
  const auto& payload = msg.payload();
  if (const auto* note = dynamic_cast<const VelStreamNotifyPayload*>(payload.get())) {
    if (note->errorCode() == 0) {
      started_ = true;
      events_.push_back({StreamEvent::Kind::Started, 0, note->errorStr()});
    } else {
      events_.push_back({StreamEvent::Kind::Notice, note->errorCode(), note->errorStr()});
    }
    return;
  }
  if (type_ != VEL_STREAM_WAVEFORM) return;
  // Stream time follows the sample numbers, so that frames that never came still count and
  // a recording of N seconds ends after N seconds of the stream, with or without losses.
  if (const auto* hdr = dynamic_cast<const VelStreamEventHeaderPayload*>(payload.get())) {
    if (const auto key = hdr->eventKey(); key && veliface::record::headerIsWhole(*hdr)) {
      // Headers come every second; one that skips seconds ends a pause (a duty cycle), whose
      // samples were never meant to be sent: nothing of it is lost.
      const bool pause = haveSecond_ && key->timeStamp() != lastSecond_ + 1;
      haveSecond_ = true;
      lastSecond_ = key->timeStamp();
      uint64 upto = key->seqNum();
      if (limit_ > 0) upto = std::min(upto, std::max(limit_, base_) - base_);
      if (!pause) countGap(upto);
      connPos_ = std::max(connPos_, key->seqNum());
    }
  } else if (const auto* d = dynamic_cast<const VelStreamDataPayload*>(payload.get())) {
    if (const auto chunk = d->data(); chunk && veliface::record::dataHeadIsWhole(*chunk)) {
      if (!chunk->isCorrupted()) counters_.samples += chunk->numSamples();
      // The chunk carries the low 32 bits of the sample number.
      const uint64 low = connPos_ & 0xFFFFFFFFull;
      uint64 first = (connPos_ - low) + chunk->sampleNum();
      if (first + (1ull << 31) < connPos_) first += 1ull << 32;
      countGap(first);
      frameSize_ = std::max<uint64>(frameSize_, chunk->numSamples());
      expectKnown_ = true;
      connPos_ = std::max(connPos_, first + chunk->numSamples());
    }
  }
  counters_.position = base_ + connPos_;
}

void StreamSession::countGap(uint64 upto) {
  // A device cuts its data frames at whole seconds and sends them `frameSize_` samples long
  // otherwise, and event headers are never lost; so a gap within one second is
  // ceil(gap / frame size) frames. Headers split gaps at the seconds, and the header after
  // the last frame counts a loss at the very end.
  if (!expectKnown_ || frameSize_ == 0 || upto <= connPos_) return;
  counters_.lostFrames += (upto - connPos_ + frameSize_ - 1) / frameSize_;
}

}  // namespace veliface::host
