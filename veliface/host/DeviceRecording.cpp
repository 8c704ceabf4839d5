#include <veliface/host/DeviceRecording.h>

#include <veliface/record/CutChunks.h>

#include <veliface/device/VelDevice.h>
#include <veliface/stream/VelStreamChunk.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <algorithm>
#include <cmath>
#include <system_error>

namespace veliface::host {

namespace fs = std::filesystem;

const char* streamPortName(StreamPort port) {
  return port == StreamPort::Waveform ? "waveform" : "spectrum";
}

DeviceRecording::DeviceRecording(RecordingSettings settings, std::shared_ptr<VelDevice> device)
    : settings_(std::move(settings)),
      wav_(settings_.outDir, settings_.prefix, settings_.period, device, &wavTap_),
      spec_(settings_.outDir, settings_.prefix, settings_.period, device, &specTap_),
      wave_(VEL_STREAM_WAVEFORM, settings_.stream),
      spectrum_(VEL_STREAM_SPECTRUM, settings_.stream) {
  wav_.setCreator(settings_.creator);
  wav_.setForceToStorage(settings_.sync);
  wav_.setDeployment(settings_.deployment);
  wave_.setSink([this](const VelStreamMessage& m) { takeWave(m); });
  spectrum_.setSink([this](const VelStreamMessage& m) { takeSpectrum(m); });
}

DeviceRecording::~DeviceRecording() { finish(); }

StreamSession& DeviceRecording::session(StreamPort port) {
  return port == StreamPort::Waveform ? wave_ : spectrum_;
}

const StreamSession& DeviceRecording::stream(StreamPort port) const {
  return port == StreamPort::Waveform ? wave_ : spectrum_;
}

void DeviceRecording::opened(StreamPort port, HostTime now) { session(port).opened(now); }

void DeviceRecording::receive(StreamPort port, const uint8* data, std::size_t n, HostTime now) {
  if (finished_) return;
  session(port).receive(data, n, now);
  collect(port);
}

void DeviceRecording::tick(HostTime now) {
  for (StreamPort port : {StreamPort::Waveform, StreamPort::Spectrum}) {
    session(port).tick(now);
    collect(port);
  }
}

void DeviceRecording::collect(StreamPort port) {
  for (StreamEvent& e : session(port).takeEvents()) {
    const auto kind = e.kind == StreamEvent::Kind::Started ? RecordingEvent::Kind::StreamStarted
                      : e.kind == StreamEvent::Kind::Notice ? RecordingEvent::Kind::StreamNotice
                                                            : RecordingEvent::Kind::Stalled;
    events_.push_back({kind, port, {}, std::move(e.text), e.code});
  }
}

void DeviceRecording::takeWave(const VelStreamMessage& msg) {
  const auto& payload = msg.payload();
  if (const auto* hdr = dynamic_cast<const VelStreamEventHeaderPayload*>(payload.get())) {
    if (!record::headerIsWhole(*hdr)) return;  // cut short: the recorder passes it over too
    if (const auto wav = hdr->streamSetupChunk().wavSetup()) {
      counters_.sampleRate = wav->sampleRate();
      const unsigned channels = std::max(1u, unsigned{hdr->numChannels()});
      const unsigned width = (wav->bitDepth() & 0x3FFu) / 8;
      const uint64 longest = record::WavRecorder::longestPeriod(wav->sampleRate(), channels, width);
      if (uint64(settings_.period) > longest) {
        fail("a period of " + std::to_string(settings_.period) + " s does not fit a WAV file at " +
             std::to_string(wav->sampleRate()) + " Hz, " + std::to_string(channels) + " channel(s) of " +
             std::to_string(width * 8) + " bits (its sizes are 32 bits, 4 GiB at most): the longest period that fits is " +
             std::to_string(longest) + " s");
        finish();
        return;
      }
      if (settings_.duration > 0) {
        wave_.setSampleLimit(limitSamples());
        wav_.setFrameLimit(limitSamples());
      }
      const std::string format = std::to_string(wav->sampleRate()) + " Hz, " + std::to_string(width * 8) + " bits, " +
                                 std::to_string(channels) + (channels == 1 ? " channel" : " channels");
      if (format != format_) {
        format_ = format;
        events_.push_back({RecordingEvent::Kind::Format, StreamPort::Waveform, {}, format});
      }
    }
    if (limitReached()) {  // the header of the second after the end opens no file
      wave_.stop();
      return;
    }
  }
  wav_.take(msg);
  // Past the limit nothing more is recorded, so that N seconds hold exactly N seconds.
  if (limitReached()) wave_.stop();
}

void DeviceRecording::takeSpectrum(const VelStreamMessage& msg) {
  if (specDone_) return;
  const auto& payload = msg.payload();
  if (const auto* hdr = dynamic_cast<const VelStreamEventHeaderPayload*>(payload.get())) {
    if (!record::headerIsWhole(*hdr)) return;
    const auto fft = hdr->streamSetupChunk().fftSetup();
    const auto key = hdr->eventKey();
    if (fft) specRate_ = fft->sampleRate();
    if (key && specRate_ > 0) {
      specTime_ = static_cast<double>(key->seqNum()) / specRate_;
      if (settings_.duration > 0 && specBase_ + specTime_ >= settings_.duration) {
        specDone_ = true;  // as for the waveform, the header after the end opens no file
        spectrum_.stop();
        return;
      }
    }
  }
  if (const auto* d = dynamic_cast<const VelStreamDataPayload*>(payload.get())) {
    const auto key = d->eventKey();
    if (key && key->typecode() != 0 && specRate_ > 0) {
      specTime_ = std::max(specTime_, static_cast<double>(key->seqNum()) / specRate_);
      // A spectrum that starts at or past the end is the waveform's next second's business.
      if (settings_.duration > 0 && specBase_ + specTime_ >= settings_.duration) {
        specDone_ = true;
        spectrum_.stop();
        return;
      }
    }
  }
  spec_.take(msg);
}

uint64 DeviceRecording::limitSamples() const {
  return static_cast<uint64>(std::llround(settings_.duration * counters_.sampleRate));
}

bool DeviceRecording::limitReached() const {
  if (settings_.duration <= 0 || counters_.sampleRate == 0) return false;
  return wav_.framesWritten() >= limitSamples();
}

void DeviceRecording::connectionLost(StreamPort port) {
  session(port).closed();
  if (port == StreamPort::Waveform) {
    wav_.finish();
    wav_.streamRestarted();
  } else {
    spec_.finish();
    specBase_ += specTime_;
    specTime_ = 0;
  }
}

void DeviceRecording::finish() {
  if (finished_) return;
  finished_ = true;
  wav_.finish();
  spec_.finish();
  wave_.stop();
  spectrum_.stop();
}

std::vector<RecordingEvent> DeviceRecording::takeEvents() {
  std::vector<RecordingEvent> out;
  out.swap(events_);
  return out;
}

void DeviceRecording::fail(const std::string& text) {
  if (failure_.empty()) failure_ = text;
  events_.push_back({RecordingEvent::Kind::Error, StreamPort::Waveform, {}, text});
}

void DeviceRecording::Tap::fileOpened(const fs::path& path) {
  ++rec_.counters_.filesOpened;
  if (wav_) {
    rec_.fileFrames_ = 0;
    rec_.fileBytes_ = 0;
    rec_.fileGaps_ = 0;
  } else {
    rec_.linesAtOpen_ = rec_.counters_.specLines;
  }
  rec_.events_.push_back({RecordingEvent::Kind::FileOpened,
                          wav_ ? StreamPort::Waveform : StreamPort::Spectrum, path, {}});
}

void DeviceRecording::Tap::fileClosed(const fs::path& path, uint64 bytes) {
  std::error_code ec;
  const auto size = fs::file_size(path, ec);
  RecordedFile file;
  file.path = path;
  file.bytes = ec ? bytes : static_cast<uint64>(size);
  file.wav = wav_;
  if (wav_) {
    file.samples = rec_.fileFrames_ + rec_.fileGaps_;
    file.dataBytes = rec_.fileBytes_;
    file.gapFrames = rec_.fileGaps_;
  } else {
    file.samples = rec_.counters_.specLines - rec_.linesAtOpen_;
  }
  rec_.files_.push_back(file);
  rec_.events_.push_back({RecordingEvent::Kind::FileFinished,
                          wav_ ? StreamPort::Waveform : StreamPort::Spectrum, path, {}});
}

void DeviceRecording::Tap::bytesWritten(uint64 total) {
  (wav_ ? rec_.counters_.wavBytes : rec_.counters_.specLines) = total;
}

void DeviceRecording::Tap::samplesWritten(const uint8* data, std::size_t bytes, uint32 frames) {
  rec_.checksum_.update(data, bytes);
  rec_.fileBytes_ += bytes;
  rec_.fileFrames_ += frames;
}

void DeviceRecording::Tap::missedSamples(uint64 count) { rec_.counters_.missedSamples += count; }

void DeviceRecording::Tap::sequenceLoss(uint64, uint64) { ++rec_.counters_.sequenceLosses; }

void DeviceRecording::Tap::gapFilled(const fs::path& file, uint64 atFrame, uint64 frames) {
  rec_.fileGaps_ += frames;
  rec_.counters_.gapFrames += frames;
  // A gap filled in several blocks (a file boundary, the writer's block size) is one gap.
  auto& events = rec_.events_;
  if (!events.empty() && events.back().kind == RecordingEvent::Kind::Gap && events.back().path == file &&
      events.back().at + events.back().count == atFrame) {
    events.back().count += frames;
    return;
  }
  ++rec_.counters_.gaps;
  RecordingEvent e{RecordingEvent::Kind::Gap, StreamPort::Waveform, file,
                   std::to_string(frames) + " frames never arrived; written as zeros"};
  e.at = atFrame;
  e.count = frames;
  events.push_back(std::move(e));
}

void DeviceRecording::Tap::streamRestarted(const std::string& reason) {
  ++rec_.counters_.restarts;
  rec_.events_.push_back({RecordingEvent::Kind::Restarted, StreamPort::Waveform, {}, reason});
}

void DeviceRecording::Tap::error(int, const std::string& text) { rec_.fail(text); }

}  // namespace veliface::host
