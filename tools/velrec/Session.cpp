#include "Session.h"

#include <common/CaptureName.h>

#include <cerrno>
#include <chrono>
#include <cstring>
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

Capture::Capture(const fs::path& dir, std::string& error) : dir_(dir) {
  std::error_code ec;
  fs::create_directories(dir, ec);
  // The first connection's files are opened now, so that an unusable directory is said at once.
  for (Channel ch : {Channel::Control, Channel::Waveform, Channel::Spectrum}) {
    const fs::path p = dir / fileName(ch, 1);
    files_[static_cast<int>(ch)] = std::fopen(p.c_str(), "wb");
    if (!files_[static_cast<int>(ch)]) {
      error = "cannot write capture file " + p.string() + ": " + std::strerror(errno);
      return;
    }
  }
}

Capture::~Capture() { closeAll(); }

void Capture::closeAll() {
  for (std::FILE*& f : files_) {
    if (f) std::fclose(f);
    f = nullptr;
  }
}

std::string Capture::fileName(Channel ch, int number) {
  return tools::captureFileName(channelName(ch), number);
}

void Capture::nextConnection() {
  if (dir_.empty()) return;
  closeAll();
  ++connection_;
}

bool Capture::write(Channel ch, const uint8* data, std::size_t n) {
  if (dir_.empty()) return true;
  std::FILE*& f = files_[static_cast<int>(ch)];
  if (!f) f = std::fopen((dir_ / fileName(ch, connection_)).c_str(), "wb");
  return f && std::fwrite(data, 1, n, f) == n;
}

namespace {

using veliface::host::HostTime;
using veliface::host::RecordingEvent;
using veliface::host::StreamPort;

HostTime now() {
  return std::chrono::duration_cast<HostTime>(std::chrono::steady_clock::now().time_since_epoch());
}

veliface::host::RecordingSettings recordingSettings(const SessionConfig& c) {
  veliface::host::RecordingSettings s;
  s.outDir = c.outDir;
  s.prefix = c.prefix;
  s.period = c.period;
  s.duration = c.duration;
  s.sync = c.sync;
  s.creator = "velrec";
  s.deployment = c.deployment;
  return s;
}

StreamPort portOf(Channel ch) { return ch == Channel::Waveform ? StreamPort::Waveform : StreamPort::Spectrum; }
Channel channelOf(StreamPort port) { return port == StreamPort::Waveform ? Channel::Waveform : Channel::Spectrum; }

}  // namespace

Session::Session(const SessionConfig& config, std::shared_ptr<VelDevice> device, Capture* capture)
    : capture_(capture), recording_(recordingSettings(config), std::move(device)) {
  recording_.opened(StreamPort::Waveform, now());
  recording_.opened(StreamPort::Spectrum, now());
}

Session::~Session() = default;

void Session::receive(Channel ch, const uint8* data, std::size_t n) {
  if (ch == Channel::Waveform && limitReached()) return;  // the recording is complete
  received_ += n;
  if (capture_ && !capture_->write(ch, data, n)) {
    fail(std::string("cannot write the ") + channelName(ch) + " capture");
  }
  if (ch != Channel::Control) recording_.receive(portOf(ch), data, n, now());
  report();
}

void Session::report() {
  for (const RecordingEvent& e : recording_.takeEvents()) {
    if (events_) events_(e);
    if (e.kind == RecordingEvent::Kind::Stalled && stalled_.empty())
      stalled_ = std::string(channelName(channelOf(e.port))) + " stream stalled: " + e.text;
    if (!notify_) continue;
    if (e.kind == RecordingEvent::Kind::StreamStarted) notify_(channelOf(e.port), 0, e.text);
    if (e.kind == RecordingEvent::Kind::StreamNotice) notify_(channelOf(e.port), e.code, e.text);
  }
}

Counters Session::counters() const {
  const auto& r = recording_.counters();
  const auto& w = recording_.stream(StreamPort::Waveform).counters();
  Counters c;
  c.received = received_;
  c.wavBytes = r.wavBytes;
  c.specLines = r.specLines;
  c.filesOpened = r.filesOpened;
  c.sequenceLosses = r.sequenceLosses;
  c.missedSamples = r.missedSamples;
  c.gapFrames = r.gapFrames;
  c.restarts = r.restarts;
  c.waveSamples = w.samples;
  c.wavFrames = recording_.framesWritten();
  c.streamPosition = w.position;
  c.lostFrames = w.lostFrames;
  c.reconnects = reconnects_;
  c.sampleRate = r.sampleRate;
  return c;
}

void Session::connectionLost(Channel ch) {
  if (ch == Channel::Control) return;
  recording_.connectionLost(portOf(ch));
  // The next connection starts a clean stream.
  recording_.opened(portOf(ch), now());
  stalled_.clear();
  report();
}

void Session::tick() {
  recording_.tick(now());
  report();
}

void Session::finish() {
  recording_.finish();
  report();
}

void Session::fail(const std::string& text) {
  if (failure_.empty()) failure_ = text;
}

}  // namespace velrec
