#include <veliface/record/WavSidecar.h>

#include <veliface/record/JsonText.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace veliface::record {

namespace {

std::string number(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.6g", v);
  return buf;
}

// Appends `"key":value` with the separator the object needs.
struct ObjectWriter {
  std::string& out;
  bool first = true;
  ObjectWriter& raw(const char* key, const std::string& value) {
    out += first ? "" : ",";
    first = false;
    out += jsonString(key) + ":" + value;
    return *this;
  }
  ObjectWriter& text(const char* key, const std::string& value) { return raw(key, jsonString(value)); }
  template <typename T>
  ObjectWriter& integer(const char* key, T value) { return raw(key, std::to_string(value)); }
};

}  // namespace

std::string sidecarJson(const WavFileFacts& f) {
  std::string out = "{";
  ObjectWriter top{out};
  top.text("file", f.file)
      .text("start_time", isoTimeMicros(f.startMicros))
      .text("start_time_source", f.startFromClock ? "device clock, to one sample" : "second of the first event header")
      .integer("sample_rate", f.sampleRate)
      .integer("channels", f.channels)
      .integer("bits", f.bits)
      .integer("frames", f.frames);
  std::string gaps = "[";
  uint64 gapFrames = 0;
  for (std::size_t i = 0; i < f.gaps.size(); ++i) {
    gaps += (i ? "," : "") + std::string("{\"start_frame\":") + std::to_string(f.gaps[i].startFrame) +
            ",\"frames\":" + std::to_string(f.gaps[i].frames) + "}";
    gapFrames += f.gaps[i].frames;
  }
  top.raw("gaps", gaps + "]").integer("gap_frames", gapFrames).integer("sequence_number", f.sequenceNumber);

  std::string device = "{";
  ObjectWriter dev{device};
  dev.integer("type", f.deviceType).text("type_text", f.deviceTypeText).integer("serial", f.serial).text("firmware", f.firmware);
  std::string members = "[";
  for (std::size_t i = 0; i < f.members.size(); ++i) {
    const ChannelDevice& m = f.members[i];
    std::string one = "{";
    ObjectWriter mw{one};
    mw.integer("channel", m.channel).integer("type", m.type).text("type_text", m.typeText).integer("serial", m.serial)
        .raw("sensitivity_db", number(m.sensitivityDb));
    members += (i ? "," : "") + one + "}";
  }
  dev.raw("members", members + "]");
  top.raw("device", device + "}");

  std::string cal = "{";
  ObjectWriter cw{cal};
  cw.raw("sensitivity_db", number(f.sensitivityDb))
      .text("sensitivity_unit", "dB re 1 V/uPa")
      .text("sensitivity_convention", "20 log10 of the volts out per micropascal in; negative for a hydrophone")
      .raw("full_scale_volts", number(f.fullScaleVolts))
      .integer("max_count", f.maxCount)
      .integer("gain", f.gain);
  top.raw("calibration", cal + "}");

  std::string clock = "{";
  ObjectWriter kw{clock};
  kw.text("source", f.clockSource).text("sync_status", f.syncStatus);
  top.raw("clock", clock + "}");

  std::string deployment = "{";
  ObjectWriter pw{deployment};
  for (const auto& [key, value] : f.deployment) pw.text(key.c_str(), value);
  top.raw("deployment", deployment + "}").text("creator", f.creator);
  return out + "}\n";
}

std::filesystem::path sidecarPath(const std::filesystem::path& wavPath) {
  std::filesystem::path p = wavPath;
  return p.replace_extension(".json");
}

bool writeSidecar(const std::filesystem::path& wavPath, const WavFileFacts& facts, std::string& error) {
  const std::filesystem::path path = sidecarPath(wavPath);
  const std::filesystem::path tmp = path.string() + ".tmp";
  const std::string text = sidecarJson(facts);
  std::FILE* f = std::fopen(tmp.c_str(), "wb");
  const auto failed = [&](const std::filesystem::path& which) {
    error = which.string() + ": " + std::strerror(errno);
    return false;
  };
  if (f == nullptr) return failed(tmp);
  const bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size();
  const int saved = errno;
  if (std::fclose(f) != 0 || !written) {
    if (!written) errno = saved;
    const bool result = failed(tmp);
    std::remove(tmp.c_str());
    return result;
  }
  if (std::rename(tmp.c_str(), path.c_str()) != 0) {
    const bool result = failed(path);
    std::remove(tmp.c_str());
    return result;
  }
  return true;
}

void addGap(std::vector<FilledGap>& gaps, uint64 startFrame, uint64 frames) {
  if (frames == 0) return;
  if (!gaps.empty() && gaps.back().startFrame + gaps.back().frames == startFrame) {
    gaps.back().frames += frames;
  } else {
    gaps.push_back({startFrame, frames});
  }
}

}  // namespace veliface::record
