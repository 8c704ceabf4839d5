#include "Reporter.h"

#include <cstdio>

namespace velrec {

using veliface::host::RecordingEvent;

namespace {

// `v` with `decimals` digits after the point.
std::string fixed(int decimals, double v) {
  char b[64];
  std::snprintf(b, sizeof b, "%.*f", decimals, v);
  return b;
}

const char* kindOf(bool wav) { return wav ? "wav" : "spectrum"; }

}  // namespace

void Reporter::attach(Session& session) {
  session.setEventSink([this, &session](const RecordingEvent& e) { event(session, e); });
}

void Reporter::event(const Session& session, const RecordingEvent& e) {
  using Kind = RecordingEvent::Kind;
  const char* port = veliface::host::streamPortName(e.port);
  switch (e.kind) {
    case Kind::FileOpened:
      json_.event("file_opened", {{"path", e.path.string()}});
      break;
    case Kind::FileFinished: {
      const auto& files = session.files();
      nlohmann::ordered_json f = {{"path", e.path.string()}};
      if (!files.empty() && files.back().path == e.path) {
        const FileRecord& r = files.back();
        f["kind"] = kindOf(r.wav);
        f["bytes"] = r.bytes;
        f[r.wav ? "frames" : "lines"] = r.samples;
        if (r.wav) f["gap_frames"] = r.gapFrames;
      }
      json_.event("file_finished", f);
      break;
    }
    case Kind::Format:
      console_.out("recording " + e.text + ", files of " + std::to_string(period_) + " s into " + outDir_);
      json_.event("format", {{"format", e.text}, {"period_s", period_}, {"out", outDir_}});
      break;
    case Kind::Gap:
      // At a few percent of lost frames these come many a second: the log keeps them.
      console_.diagnostic(std::to_string(e.count) + " frames never arrived; written as zeros at frame " +
                              std::to_string(e.at) + " of " + e.path.filename().string(),
                          verbose_);
      json_.event("gap", {{"file", e.path.string()}, {"start_frame", e.at}, {"frames", e.count}});
      break;
    case Kind::Restarted:
      console_.log("the waveform stream started over (" + e.text + "); the next file starts at its new time");
      json_.event("restart", {{"reason", e.text}});
      break;
    case Kind::StreamStarted:
    case Kind::StreamNotice:
    case Kind::Stalled:
      json_.event("stream", {{"port", port}, {"code", e.code}, {"text", e.text}});
      break;
    case Kind::Error:
      json_.event("error", {{"message", e.text}});
      break;
  }
}

nlohmann::ordered_json Reporter::figures(const Session& session) const {
  const Counters c = session.counters();
  const double audio = c.sampleRate ? static_cast<double>(c.wavFrames) / c.sampleRate : 0.0;
  return {{"elapsed_s", std::chrono::duration<double>(Clock::now() - start_).count()},
          {"audio_s", audio},
          {"files", c.filesOpened},
          {"wav_bytes", c.wavBytes},
          {"lost_frames", c.lostFrames},
          {"gap_frames", c.gapFrames},
          {"missed_samples", c.missedSamples},
          {"sequence_losses", c.sequenceLosses},
          {"restarts", c.restarts},
          {"reconnects", c.reconnects}};
}

void Reporter::tick(const Session& session, bool force) {
  const auto now = Clock::now();
  if (force || now - lastJson_ >= std::chrono::seconds(5)) {
    json_.event("status", figures(session));
    lastJson_ = now;
  }
  const auto every = console_.tty() ? std::chrono::milliseconds(500) : std::chrono::milliseconds(10000);
  if (!force && now - lastLine_ < every) return;
  const auto f = figures(session);
  const Counters c = session.counters();
  const double dt = std::chrono::duration<double>(now - lastLine_).count();
  const double rate = dt > 0 ? static_cast<double>(c.received - lastReceived_) / dt / 1000.0 : 0.0;
  console_.status("elapsed " + fixed(0, f["elapsed_s"].get<double>()) + " s | audio " +
                  fixed(1, f["audio_s"].get<double>()) + " s | " + fixed(2, static_cast<double>(c.wavBytes) / 1e6) +
                  " MB | files " + std::to_string(c.filesOpened) + " | lost frames " + std::to_string(c.lostFrames) +
                  " | missed samples " + std::to_string(c.missedSamples) + " | gaps " + std::to_string(c.gapFrames) +
                  " frames | " + fixed(1, rate) + " kB/s");
  lastLine_ = now;
  lastReceived_ = c.received;
}

void Reporter::connection(const std::string& event, const std::string& text) {
  console_.log(text);
  json_.event(event, {{"message", text}});
}

void Reporter::end(const Session& session, int exitCode) {
  auto f = figures(session);
  f["exit_code"] = exitCode;
  json_.event("end", f);
}

}  // namespace velrec
