#include "Session.h"

#include <veliface/device/VelDevice.h>
#include <veliface/files/MavWavFormat.h>
#include <veliface/files/MavWavHeader.h>
#include <veliface/stream/VelStreamNotifyPayload.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <system_error>

namespace velrec {

namespace fs = std::filesystem;

const char* channelName(Channel ch) {
  switch (ch) {
    case Channel::Control: return "control";
    case Channel::Waveform: return "waveform";
    case Channel::Spectrum: return "spectrum";
  }
  return "?";
}

Capture::Capture(const fs::path& dir, std::string& error) {
  std::error_code ec;
  fs::create_directories(dir, ec);
  for (Channel ch : {Channel::Control, Channel::Waveform, Channel::Spectrum}) {
    const fs::path p = dir / (std::string(channelName(ch)) + ".bin");
    files_[static_cast<int>(ch)] = std::fopen(p.c_str(), "wb");
    if (!files_[static_cast<int>(ch)]) {
      error = "cannot write capture file " + p.string();
      return;
    }
  }
}

Capture::~Capture() {
  for (std::FILE* f : files_)
    if (f) std::fclose(f);
}

bool Capture::write(Channel ch, const uint8* data, std::size_t n) {
  std::FILE* f = files_[static_cast<int>(ch)];
  return !f || std::fwrite(data, 1, n, f) == n;
}

Session::Session(const SessionConfig& config, std::shared_ptr<VelDevice> device, Capture* capture)
    : config_(config),
      capture_(capture),
      wav_(config.outDir, config.prefix, config.period, device, &wavTap_),
      spec_(config.outDir, config.prefix, config.period, device, &specTap_),
      wavePort_(std::make_unique<Port>(VEL_STREAM_WAVEFORM)),
      specPort_(std::make_unique<Port>(VEL_STREAM_SPECTRUM)) {
  wav_.setCreator("velrec");
  wav_.setForceToStorage(config.sync);
}

Session::~Session() = default;

void Session::receive(Channel ch, const uint8* data, std::size_t n) {
  if (ch == Channel::Waveform && limitReached()) return;  // the recording is complete
  counters_.received += n;
  if (capture_ && !capture_->write(ch, data, n) && failure_.empty()) {
    fail(std::string("cannot write the ") + channelName(ch) + " capture");
  }
  if (ch == Channel::Waveform) decode(ch, *wavePort_, data, n);
  if (ch == Channel::Spectrum) decode(ch, *specPort_, data, n);
}

void Session::decode(Channel ch, Port& port, const uint8* data, std::size_t n) {
  // The ring holds at most one read's worth of frames that are not yet complete; whatever
  // does not fit waits until the parser has taken the frames before it.
  while (n > 0 || port.ring.bytesAvailable() > 0) {
    const std::size_t put = port.ring.write(data, n);
    data += put;
    n -= put;
    for (;;) {
      if (port.atFrame) skipNoise(port);
      const std::size_t before = port.ring.bytesAvailable();
      const auto msg = port.parser.pump(port.ring);
      if (!msg) {
        // Bytes taken without a message: the parser holds a frame header and waits for its
        // payload.
        if (port.ring.bytesAvailable() != before) port.atFrame = false;
        break;
      }
      port.atFrame = true;
      take(ch, *msg);
      // Past the limit nothing more is recorded, so that a recording of N seconds holds
      // exactly N seconds of samples.
      if (ch == Channel::Waveform && limitReached()) return;
    }
    if (put == 0 && n > 0 && port.ring.freeSpace() == 0) {
      // A frame larger than the ring cannot be: frame lengths are 16-bit.
      port.ring.clear();
    }
    if (n == 0) break;
  }
}

void Session::skipNoise(Port& port) {
  // Line noise between frames never holds the marker. The parser's own search for the next
  // frame gives up the two bytes in hand when a read ends inside it, and one of them can be
  // the next frame's code: every such loss would count as a dropped frame. So the noise is
  // skipped here, up to the byte before the first marker, and a run with no marker yet keeps
  // its last byte (it may be a code). Noise longer than the window is the parser's business.
  constexpr std::size_t kWindow = 64;
  constexpr uint8 kMarker = 0x2A;
  uint8 head[kWindow];
  const std::size_t n = port.ring.peek(head, kWindow);
  if (n < 2 || head[1] == kMarker) return;
  const uint8* marker = std::find(head, head + n, kMarker);
  if (marker == head) return;  // not noise of ours: leave it to the parser
  if (marker != head + n) {
    port.ring.skip(static_cast<std::size_t>(marker - head) - 1);
  } else if (n < kWindow) {
    port.ring.skip(n - 1);
  }
}

void Session::take(Channel ch, const VelStreamMessage& msg) {
  const auto& payload = msg.payload();
  if (const auto* note = dynamic_cast<const VelStreamNotifyPayload*>(payload.get())) {
    if (notify_) notify_(ch, note->errorCode(), note->errorStr());
    return;
  }
  if (ch == Channel::Waveform) {
    // Stream time follows the sample numbers, so that frames that never came still count and
    // a recording of N seconds ends after N seconds of the stream, with or without losses.
    if (const auto* hdr = dynamic_cast<const VelStreamEventHeaderPayload*>(payload.get())) {
      if (const auto wav = hdr->streamSetupChunk().wavSetup()) counters_.sampleRate = wav->sampleRate();
      if (const auto key = hdr->eventKey()) {
        uint64 upto = key->seqNum();
        if (config_.duration > 0) upto = std::min(upto, std::max(limitSamples(), positionBase_) - positionBase_);
        countGap(upto);
        position_ = std::max(position_, key->seqNum());
      }
      counters_.streamPosition = positionBase_ + position_;
      if (limitReached()) return;  // the header of the second after the end opens no file
    } else if (const auto* d = dynamic_cast<const VelStreamDataPayload*>(payload.get())) {
      if (const auto chunk = d->data()) {
        counters_.waveSamples += chunk->numSamples();
        // The chunk carries the low 32 bits of the sample number.
        const uint64 low = position_ & 0xFFFFFFFFull;
        uint64 first = (position_ - low) + chunk->sampleNum();
        if (first + (1ull << 31) < position_) first += 1ull << 32;
        countGap(first);
        frameSize_ = std::max<uint64>(frameSize_, chunk->numSamples());
        expectKnown_ = true;
        position_ = std::max(position_, first + chunk->numSamples());
        counters_.streamPosition = positionBase_ + position_;
      }
    }
    wav_.take(msg);
  } else {
    if (specDone_) return;
    if (const auto* hdr = dynamic_cast<const VelStreamEventHeaderPayload*>(payload.get())) {
      const auto fft = hdr->streamSetupChunk().fftSetup();
      const auto key = hdr->eventKey();
      if (fft) specRate_ = fft->sampleRate();
      if (key && specRate_ > 0) {
        specTime_ = static_cast<double>(key->seqNum()) / specRate_;
        if (config_.duration > 0 && specBase_ + specTime_ >= config_.duration) {
          specDone_ = true;  // as for the waveform, the header after the end opens no file
          return;
        }
      }
    }
    if (const auto* d = dynamic_cast<const VelStreamDataPayload*>(payload.get())) {
      const auto key = d->eventKey();
      if (key && specRate_ > 0) specTime_ = std::max(specTime_, static_cast<double>(key->seqNum()) / specRate_);
    }
    spec_.take(msg);
  }
}

void Session::countGap(uint64 upto) {
  // A device cuts its data frames at whole seconds and sends them `frameSize_` samples long
  // otherwise, and event headers are never lost; so a gap within one second is
  // ceil(gap / frame size) frames. Headers split gaps at the seconds, and the header after
  // the last frame counts a loss at the very end.
  if (!expectKnown_ || frameSize_ == 0 || upto <= position_) return;
  counters_.lostFrames += (upto - position_ + frameSize_ - 1) / frameSize_;
}

uint64 Session::limitSamples() const {
  return static_cast<uint64>(std::llround(config_.duration * counters_.sampleRate));
}

bool Session::limitReached() const {
  if (config_.duration <= 0 || counters_.sampleRate == 0) return false;
  return counters_.streamPosition >= limitSamples();
}

void Session::connectionLost(Channel ch) {
  if (ch == Channel::Waveform) {
    wav_.finish();
    wav_.streamRestarted();
    // The next connection's stream counts its samples from 0 again.
    positionBase_ += position_;
    position_ = 0;
    expectKnown_ = false;
    wavePort_ = std::make_unique<Port>(VEL_STREAM_WAVEFORM);
  } else if (ch == Channel::Spectrum) {
    spec_.finish();
    specBase_ += specTime_;
    specTime_ = 0;
    specPort_ = std::make_unique<Port>(VEL_STREAM_SPECTRUM);
  }
}

void Session::finish() {
  wav_.finish();
  spec_.finish();
}

void Session::fail(const std::string& text) {
  if (failure_.empty()) failure_ = text;
}

void Session::closedWav(const fs::path& path, uint64 bytes) {
  FileRecord rec{path, bytes, 0, 0, true};
  // The sample bytes are read back from the file as it stands on disk, after its header
  // has been read by the library's own reader.
  std::ifstream in(path, std::ios::binary);
  std::vector<uint8> head(64 * 1024);
  in.read(reinterpret_cast<char*>(head.data()), static_cast<std::streamsize>(head.size()));
  const std::size_t got = static_cast<std::size_t>(in.gcount());
  CircularByteBuffer ring(head.size());
  ring.write(head.data(), got);
  MavWavHeaderProcessor reader;
  if (!reader.pump(ring) || !reader.header() || !reader.header()->fmt()) {
    // The reader wants bytes after the data chunk's header, so a file that a last event
    // header opened and no sample reached reads as incomplete: it holds no samples.
    rec.unread = true;
    files_.push_back(rec);
    return;
  }
  const auto hdr = reader.header();
  in.clear();
  in.seekg(static_cast<std::streamoff>(reader.headerSize()));
  uint64 left = hdr->dataSize();
  std::array<uint8, 64 * 1024> buf{};
  while (left > 0 && in) {
    in.read(reinterpret_cast<char*>(buf.data()),
            static_cast<std::streamsize>(std::min<uint64>(left, buf.size())));
    const auto n = static_cast<std::size_t>(in.gcount());
    if (n == 0) break;
    checksum_.update(buf.data(), n);
    left -= n;
  }
  if (left != 0) fail("sample data of " + path.string() + " is shorter than its header says");
  const uint16 align = hdr->fmt()->blockAlign();
  rec.samples = align ? hdr->dataSize() / align : 0;
  rec.dataBytes = hdr->dataSize();
  files_.push_back(rec);
}

void Session::Tap::fileOpened(const fs::path&) {
  ++session_.counters_.filesOpened;
  if (!wav_) session_.specLinesAtOpen_ = session_.counters_.specLines;
}

void Session::Tap::fileClosed(const fs::path& path, uint64 bytes) {
  if (wav_) {
    session_.closedWav(path, bytes);
  } else {
    std::error_code ec;
    const auto size = fs::file_size(path, ec);
    const uint64 lines = session_.counters_.specLines - session_.specLinesAtOpen_;
    session_.files_.push_back(FileRecord{path, ec ? bytes : size, lines, 0, false});
  }
}

void Session::Tap::bytesWritten(uint64 total) {
  (wav_ ? session_.counters_.wavBytes : session_.counters_.specLines) = total;
}

void Session::Tap::missedSamples(uint64 count) { session_.counters_.missedSamples += count; }

void Session::Tap::sequenceLoss(uint64, uint64) { ++session_.counters_.sequenceLosses; }

void Session::Tap::error(int, const std::string& text) { session_.fail(text); }

}  // namespace velrec
