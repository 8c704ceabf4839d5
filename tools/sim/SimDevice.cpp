#include <sim/SimDevice.h>

#include <sim/SpectrumComputer.h>

#include <mavcommon/ByteStream.h>
#include <mavcommon/Endian.h>
#include <mavcommon/MavMacAddr.h>
#include <veliface/common/VelCommandCode.h>
#include <veliface/settings/VelJobSetup.h>
#include <veliface/trigger/VelTrigger.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace velsim {
namespace {

// Command codes the device answers.
constexpr uint8 kSetTime = 0x41;
constexpr uint8 kCollectData = 0x43;
constexpr uint8 kJobSetup = 0x44;
constexpr uint8 kEnquire = 0x45;
constexpr uint8 kEnquireSetup = 0x46;
constexpr uint8 kEnquireTriggers = 0x52;
constexpr uint8 kSetupTrigger = 0x53;
constexpr uint8 kRemoveTrigger = 0x54;
constexpr uint8 kReset = 0x59;
constexpr uint8 kMarcoEnquire = 0x57;
constexpr uint8 kMarcoChange = 0x58;
constexpr uint8 kMarcoReset = 0x59;

constexpr uint16 kTagSetup = 20;
constexpr uint16 kSetupError = 0xFFFF;
constexpr uint16 kErrUnknownTag = 0xFFF3;
constexpr uint16 kErrTagLength = 0xFFF4;
constexpr uint16 kErrBadValue = 0xFFF5;
constexpr uint16 kErrShortPayload = 0xFFFB;

// Verdicts per tag.
constexpr uint16 kOk = 0;
constexpr uint16 kInvalid = 1;
constexpr uint16 kConflict = 2;
constexpr uint16 kTooHigh = 4;
constexpr uint16 kTooLow = 5;

// Trigger error codes: bits for limit faults, single codes above 244.
constexpr uint8 kTrigHighLimit = 0x02;
constexpr uint8 kTrigBadThreshType = 248;
constexpr uint8 kTrigMinAboveMax = 249;
constexpr uint8 kTrigNotFound = 250;
constexpr uint8 kTrigInvalidTest = 251;
constexpr uint8 kTrigLimitReached = 253;
constexpr std::size_t kMaxTriggers = 5;  // the stream's trigger status has five state bytes
constexpr std::size_t kBandBody = 22;

constexpr std::array<uint32, 9> kSampleRates = {8000,   16000,  32000,  48000, 64000,
                                               96000,  128000, 256000, 512000};

// Little-endian writer of response payloads.
struct Le {
  Bytes& out;
  template <typename T>
  Le& put(T v) {
    const std::size_t at = out.size();
    out.resize(at + sizeof(T));
    mav::storeLE(&out[at], v);
    return *this;
  }
  // Fixed-width text, zero-padded (a full-width text has no terminating zero).
  Le& text(const std::string& s, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) out.push_back(i < s.size() ? static_cast<uint8>(s[i]) : 0);
    return *this;
  }
  Le& bytes(const uint8* p, std::size_t n) {
    out.insert(out.end(), p, p + n);
    return *this;
  }
};

Bytes le32(uint32 v) {
  Bytes b(4);
  mav::storeLE(b.data(), v);
  return b;
}

bool isPowerOfTwo(uint32 v) { return v != 0 && (v & (v - 1)) == 0; }

// Verdict of a value that must lie in [lo, hi].
uint16 range(int64 v, int64 lo, int64 hi) {
  if (v < lo) return kTooLow;
  if (v > hi) return kTooHigh;
  return kOk;
}

uint16 sampleRateVerdict(uint32 v) {
  if (v < kSampleRates.front()) return kTooLow;
  if (v > kSampleRates.back()) return kTooHigh;
  return std::find(kSampleRates.begin(), kSampleRates.end(), v) != kSampleRates.end() ? kOk
                                                                                       : kInvalid;
}

// Verdict of one scalar tag on its own.
uint16 scalarVerdict(uint16 key, uint32 raw) {
  const auto sv = static_cast<int32_t>(raw);
  switch (key) {
    case kTagFftSampleRate:
    case kTagWaveSampleRate:
      return sampleRateVerdict(raw);
    case kTagWaveBitDepth:
      if (raw == 16 || raw == 24) return kOk;
      return raw < 16 ? kTooLow : raw > 24 ? kTooHigh : kInvalid;
    case kTagFftPtsPer:
      if (raw < 256) return kTooLow;
      if (raw > 8192) return kTooHigh;
      return isPowerOfTwo(raw) ? kOk : kInvalid;
    case kTagFftPtsBtw:
      return range(raw, 1, 0xFFFF);
    case kTagFftAccum:
      return range(raw, 1, 1024);
    case kTagFftRefLevel:
      // The FFT setup chunk carries the reference level unsigned.
      return range(sv, 0, 200);
    case kTagWaveGain:
      return range(raw, 0, 4);
    case kTagWaveEndian:
      return raw <= 1 ? kOk : kInvalid;
    default:
      return kOk;
  }
}

// Whether the library knows `key` as a job tag: decode a one-tag setup carrying it with a
// zero value long enough for any layout (the length is judged separately).
bool isKnownTagKey(uint16 key) {
  Bytes p;
  Le w{p};
  w.put<uint16>(kTagSetup).put<uint16>(1).put<uint16>(key).put<uint16>(8).put<uint64>(0);
  std::unique_ptr<VelJobSetupCmd> cmd(VelJobSetupCmd::create(p.data(), p.size()));
  return cmd && cmd->containsTag(static_cast<JobTagKey>(key));
}

bool isListKey(uint16 key) { return key >= 0x8000; }

// Expected value length of a tag as it is laid out (list tags by their count).
bool lengthFits(uint16 key, const Bytes& value) {
  if (!isListKey(key)) return value.size() == 4;
  if (value.size() < 2) return false;
  const uint16 count = mav::loadLE<uint16>(value.data());
  if (key == kTagArraySerials) return value.size() == 2u + 2u * count + (count % 2 ? 2u : 0u);
  return count >= 1 && value.size() == 4u * count + 2u;
}

std::string hex(uint32 v) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "0x%02X", v);
  return buf;
}

int64 systemSeconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace

SimDevice::SimDevice(const DeviceConfig& config, HostClock clock)
    : config_(config), clock_(clock ? std::move(clock) : HostClock(systemSeconds)),
      faults_(config.controlFaults) {
  if (config_.type == 8 && config_.members.empty()) config_.members = {1301, 1302};
  if (config_.type == 8) config_.channels = static_cast<unsigned>(config_.members.size());
  resetJob();
}

void SimDevice::resetJob() {
  job_.clear();
  triggers_.clear();
  job_[kTagFftSampleRate] = le32(config_.sampleRate);
  job_[kTagFftRefLevel] = le32(0);
  job_[kTagFftPtsPer] = le32(config_.fftPoints);
  job_[kTagFftPtsBtw] = le32(config_.fftPoints);
  job_[kTagFftType] = le32(0);
  job_[kTagFftAccum] = le32(1);
  job_[kTagFftWeight] = le32(0);
  job_[kTagWaveSampleRate] = le32(config_.sampleRate);
  job_[kTagWaveBitDepth] = le32(config_.bitDepth);
  job_[kTagWaveGain] = le32(0);
  // The device ships with little-endian samples (WAVE_ENDIAN = 1), the byte order of a WAV
  // file; a job setup with WAVE_ENDIAN = 0 makes it stream big-endian samples instead.
  job_[kTagWaveEndian] = le32(1);
  if (config_.type == 8) {
    job_[kTagArrayDevType] = le32(5);
    Bytes list;
    Le w{list};
    w.put(static_cast<uint16>(config_.members.size()));
    for (uint16 s : config_.members) w.put(s);
    if (config_.members.size() % 2) w.put<uint16>(0);
    job_[kTagArraySerials] = list;
  }
  rebuildSnapshot();
}

void SimDevice::rebuildSnapshot() {
  const StreamParams p = streamParams();
  snapshot_ = std::make_unique<SignalGenerator>(
      signalConfigFor(p.sampleRate, p.channels, p.bitDepth, config_.seed));
}

int64 SimDevice::deviceTime() const { return clock_() + clockOffset_; }

uint32 SimDevice::jobValue(uint16 key, uint32 fallback) const {
  const auto it = job_.find(key);
  if (it == job_.end() || it->second.size() != 4) return fallback;
  return mav::loadLE<uint32>(it->second.data());
}

StreamParams SimDevice::streamParams() const {
  StreamParams p;
  p.sampleRate = jobValue(kTagWaveSampleRate, config_.sampleRate);
  p.bitDepth = jobValue(kTagWaveBitDepth, config_.bitDepth);
  p.littleEndian = jobValue(kTagWaveEndian, 1) == 1;
  p.channels = config_.channels;
  p.gain = static_cast<uint16>(jobValue(kTagWaveGain, 0));
  p.fftSampleRate = jobValue(kTagFftSampleRate, p.sampleRate);
  p.fftPoints = jobValue(kTagFftPtsPer, config_.fftPoints);
  p.fftHop = jobValue(kTagFftPtsBtw, p.fftPoints);
  p.fftAccum = jobValue(kTagFftAccum, 1);
  p.refLevel = static_cast<int32_t>(jobValue(kTagFftRefLevel, 0));
  p.procType = static_cast<uint16>(jobValue(kTagFftType, 0));
  p.weighting = static_cast<uint16>(jobValue(kTagFftWeight, 0));
  return p;
}

StreamSetup SimDevice::streamSetup(StreamKind kind, int64 startSeconds, uint32 startNanos) const {
  const StreamParams p = streamParams();
  StreamSetup s;
  s.kind = kind;
  s.sampleRate = kind == StreamKind::Waveform ? p.sampleRate : p.fftSampleRate;
  s.bitDepth = p.bitDepth;
  s.littleEndian = p.littleEndian;
  s.channels = p.channels;
  s.gain = p.gain;
  s.fftPoints = p.fftPoints;
  s.fftHop = p.fftHop;
  s.fftAccum = p.fftAccum;
  s.refLevel = p.refLevel;
  s.procType = p.procType;
  s.weighting = p.weighting;
  s.model = static_cast<uint8>(config_.type);
  // Firmware "2.14.1" travels as the bytes 2, 14, 1.
  unsigned parts[3] = {0, 0, 0};
  std::sscanf(config_.firmware.c_str(), "%u.%u.%u", &parts[0], &parts[1], &parts[2]);
  for (int i = 0; i < 3; ++i) s.fwVer[static_cast<std::size_t>(i)] = static_cast<uint8>(parts[i]);
  s.serial = config_.serial;
  s.sensitivity = config_.sensitivity;
  if (config_.type == 8) s.members = config_.members;
  s.startSeconds = startSeconds;
  s.startNanos = startNanos;
  s.seed = config_.seed;
  return s;
}

void SimDevice::emit(const std::string& line) const {
  if (sink_) sink_(line);
}

void SimDevice::resetControlChannel() { splitter_ = RequestSplitter(); }

Bytes SimDevice::answer(uint8 code, const Bytes& payload) {
  Bytes frame;
  ControlFrameEncoder::appendResponse(frame, code, payload);
  Bytes out;
  if (faults_.controlResponse(frame.data(), frame.size(), out)) emit("corrupted the CRC of the response");
  return out;
}

Bytes SimDevice::handleControl(const uint8* data, std::size_t n) {
  splitter_.feed(data, n);
  Bytes out;
  while (auto req = splitter_.next()) {
    const uint8 code = req->code;
    emit("command " + VelUtil::cmdCodeStr(static_cast<VelCommandCode>(code)) + " (" + hex(code) +
         ")");
    Bytes reply;
    switch (code) {
      case kSetTime: {
        ByteStream s(req->payload.data(), req->payload.size());
        int32_t t = 0;
        if (s.readLE(t)) clockOffset_ = int64{t} - clock_();
        reply = answer(code, req->payload);
        break;
      }
      case kEnquire:
        reply = answer(code, enquireResponse());
        break;
      case kReset:
        resetJob();
        clockOffset_ = 0;
        reply = answer(code, {});
        break;
      case kJobSetup:
        reply = answer(code, jobSetupResponse(req->payload));
        break;
      case kEnquireSetup:
        reply = answer(code, jobEnquiryResponse());
        break;
      case kSetupTrigger:
        reply = answer(code, triggerSetupResponse(req->payload));
        break;
      case kRemoveTrigger:
        reply = answer(code, triggerRemoveResponse(req->payload));
        break;
      case kEnquireTriggers:
        reply = answer(code, triggerEnquiryResponse());
        break;
      case kCollectData:
        reply = answer(code, dataCollectResponse(req->payload));
        break;
      default:
        emit("no answer to command " + hex(code));
        break;
    }
    out.insert(out.end(), reply.begin(), reply.end());
  }
  return out;
}

Bytes SimDevice::enquireResponse() const {
  Bytes p;
  Le w{p};
  w.put(config_.serial).text(config_.firmware, 8).text(config_.buildDate, 18);
  w.put(static_cast<uint8>(config_.type)).put(config_.status).put<uint16>(0);
  switch (config_.type) {
    case 5:
    case 7:
    case 15: {
      // Newest hydrophone record, version 5: every group from version 1 up, then the model.
      w.put<uint8>(5).put(config_.sensitivity);
      w.put<uint16>(215).put<uint16>(312);  // 21.5 degrees, 31.2 percent, in tenths
      w.put<uint8>(0).put<uint8>(87).put<uint8>(3).put<uint8>(1);
      w.text(config_.firmwareRel, 8).put<uint8>(1).put<uint8>(1);
      w.bytes(reinterpret_cast<const uint8*>(config_.model.c_str()), config_.model.size() + 1);
      break;
    }
    case 8:
      w.put<uint8>(1).put<uint8>(2).put<uint8>(1).text(config_.firmwareRel, 8);
      break;
    case 13:
      w.put<uint8>(1).put<int64>(int64{512} * 1024 * 1024 * 1024).text(config_.model, 16);
      w.put<uint8>(2).put<uint8>(1).put<uint8>(1).put<uint8>(1).put<uint8>(0).put<uint8>(92);
      break;
    default:
      w.put<uint8>(0);  // the one byte a type without a record carries
      break;
  }
  return p;
}

void SimDevice::writeTags(Bytes& out) const {
  Le w{out};
  w.put(static_cast<uint16>(job_.size()));
  for (const auto& [key, value] : job_) {
    w.put(key).put(static_cast<uint16>(value.size())).bytes(value.data(), value.size());
  }
}

Bytes SimDevice::jobSetupResponse(const Bytes& request) {
  Bytes p;
  Le w{p};
  const auto error = [&](uint16 code, uint16 setupType) -> Le& {
    return w.put(kSetupError).put(code).put(setupType);
  };
  ByteStream s(request.data(), request.size());
  uint16 setupType = 0;
  if (!s.readLE(setupType)) {
    error(kErrShortPayload, kTagSetup);
    emit("job setup rejected: payload too small");
    return p;
  }
  if (setupType != kTagSetup) {
    // Other setup kinds carry nothing this device applies; it echoes the kind alone.
    emit("job setup of kind " + std::to_string(setupType) + " ignored");
    return w.put(setupType), p;
  }
  uint16 count = 0;
  std::vector<std::pair<uint16, Bytes>> tags;
  bool shortPayload = !s.readLE(count);
  for (uint16 i = 0; i < count && !shortPayload; ++i) {
    uint16 key = 0, len = 0;
    if (!s.readLE(key) || !s.readLE(len) || s.bytesAvailable() < len) {
      shortPayload = true;
      break;
    }
    Bytes value(s.current(), s.current() + len);
    s.ignore(len);
    tags.emplace_back(key, std::move(value));
  }
  if (shortPayload) {
    error(kErrShortPayload, setupType);
    emit("job setup rejected: payload too small");
    return p;
  }
  // Keys first: a device only knows the array keys when it is an array hub.
  for (const auto& [key, value] : tags) {
    const bool known = isKnownTagKey(key) && (key < 0x4000 || config_.type == 8);
    if (!known || !lengthFits(key, value)) {
      error(known ? kErrTagLength : kErrUnknownTag, setupType).put(key);
      emit(std::string("job setup rejected: ") + (known ? "bad length of tag " : "unknown tag ") +
           std::to_string(key));
      return p;
    }
  }
  // Values, each alone and then against the job they would make.
  std::map<uint16, Bytes> merged = job_;
  std::map<uint16, uint16> verdicts;
  for (const auto& [key, value] : tags) {
    merged[key] = value;
    verdicts[key] = isListKey(key) ? kOk : scalarVerdict(key, mav::loadLE<uint32>(value.data()));
  }
  const auto value = [&](uint16 key) {
    const auto it = merged.find(key);
    return it != merged.end() && it->second.size() == 4 ? mav::loadLE<uint32>(it->second.data())
                                                          : 0u;
  };
  if (value(kTagDutyCycleTime) != 0 && value(kTagDutyRunTime) > value(kTagDutyCycleTime)) {
    for (uint16 k : {uint16{kTagDutyCycleTime}, uint16{kTagDutyRunTime}}) {
      if (verdicts.count(k) && verdicts[k] == kOk) verdicts[k] = kConflict;
    }
  }
  // A spectrum cannot be taken at a higher rate than the signal it analyses is sampled.
  if (value(kTagFftSampleRate) > value(kTagWaveSampleRate)) {
    for (uint16 k : {uint16{kTagFftSampleRate}, uint16{kTagWaveSampleRate}}) {
      if (verdicts.count(k) && verdicts[k] == kOk) verdicts[k] = kConflict;
    }
  }
  const bool bad = std::any_of(verdicts.begin(), verdicts.end(),
                               [](const auto& v) { return v.second != kOk; });
  if (bad) {
    error(kErrBadValue, setupType).put(static_cast<uint16>(verdicts.size()));
    for (const auto& [key, verdict] : verdicts) w.put(key).put(verdict);
    emit("job setup rejected: invalid or conflicting values");
    return p;
  }
  job_ = std::move(merged);
  rebuildSnapshot();
  // The echo lists the accepted tags in ascending key order, as the job now holds them.
  w.put(kTagSetup).put(static_cast<uint16>(verdicts.size()));
  for (const auto& entry : verdicts) {
    const Bytes& v = job_[entry.first];
    w.put(entry.first).put(static_cast<uint16>(v.size())).bytes(v.data(), v.size());
  }
  emit("job setup accepted: " + std::to_string(verdicts.size()) + " tags");
  return p;
}

Bytes SimDevice::jobEnquiryResponse() const {
  Bytes p;
  Le w{p};
  w.put<uint8>(0).put(kTagSetup);  // status 0: the job is not running
  writeTags(p);
  return p;
}

Bytes SimDevice::triggerSetupResponse(const Bytes& request) {
  // The request is the outgoing record (test type, body); read it as an error-coded record
  // by putting an error byte of 0 in front.
  Bytes formE{0};
  formE.insert(formE.end(), request.begin(), request.end());
  std::unique_ptr<VelTrigger> rec(VelTrigger::create(formE.data(), formE.size()));
  uint16 testType = request.size() >= 2 ? mav::loadLE<uint16>(request.data()) : 0;
  const auto* band = dynamic_cast<const VelTrigger_5_6*>(rec.get());
  Bytes body;
  uint8 err = 0;
  if (!band || request.size() < 2 + kBandBody) {
    err = kTrigInvalidTest;  // this device runs band triggers only
    if (request.size() > 2) body.assign(request.begin() + 2, request.end());
  } else {
    body.assign(request.begin() + 2, request.begin() + 2 + kBandBody);
    const uint32 nyquist = streamParams().fftSampleRate / 2;
    if (band->minFreq() > band->maxFreq()) {
      err = kTrigMinAboveMax;
    } else if (band->threshType() > 2) {
      err = kTrigBadThreshType;
    } else if (band->maxFreq() > nyquist) {
      err = kTrigHighLimit;
    } else if (!triggers_.count(band->trigNum()) && triggers_.size() >= kMaxTriggers) {
      err = kTrigLimitReached;
    } else {
      triggers_[band->trigNum()] = Bytes(request.begin(), request.begin() + 2 + kBandBody);
    }
  }
  emit("trigger set-up type " + std::to_string(testType) + " error " + std::to_string(err));
  Bytes p;
  Le w{p};
  w.put(err).put(testType).bytes(body.data(), body.size());
  return p;
}

Bytes SimDevice::triggerRemoveResponse(const Bytes& request) {
  const uint16 testType = request.size() >= 2 ? mav::loadLE<uint16>(request.data()) : 0;
  const uint8 num = request.size() >= 3 ? request[2] : 0;
  const uint8 err = triggers_.erase(num) ? 0 : kTrigNotFound;
  emit("trigger removal " + std::to_string(num) + " error " + std::to_string(err));
  Bytes p;
  Le w{p};
  w.put(err).put(testType).put(num).put(num);
  return p;
}

Bytes SimDevice::triggerEnquiryResponse() const {
  Bytes p;
  Le w{p};
  w.put(static_cast<uint8>(triggers_.size()));
  for (const auto& entry : triggers_) {
    // Each record is length-prefixed with the size of test type and body.
    w.put(static_cast<uint16>(entry.second.size())).bytes(entry.second.data(), entry.second.size());
  }
  return p;
}

Bytes SimDevice::dataCollectResponse(const Bytes& request) {
  // Bits 0x40 and 0x80 ask for nothing this device has; they are left out of the answer.
  const uint8 mask = static_cast<uint8>((request.empty() ? 0 : request[0]) & 0x3F);
  const StreamParams sp = streamParams();
  const unsigned bytesPerSample = sp.bitDepth / 8;
  Bytes p;
  Le w{p};
  w.put(mask);
  if (mask & 0x01) w.put<uint16>(0);
  if (mask & 0x02) w.put<int16_t>(312);  // 31.2 percent
  if (mask & 0x04) w.put<int16_t>(215);  // 21.5 degrees
  if (mask & 0x10) {
    SignalGenerator gen(signalConfigFor(sp.fftSampleRate, 1, 24, config_.seed));
    SpectrumConfig fc;
    fc.numPoints = sp.fftPoints;
    fc.hop = sp.fftPoints;
    fc.refLevel = sp.refLevel;
    SpectrumComputer fft(fc);
    std::vector<int32_t> samples(sp.fftPoints);
    gen.fill(samples.data(), samples.size());
    fft.push(samples.data(), samples.size());
    Spectrum result;
    fft.pop(result);
    w.put(specSeq_++).put(static_cast<uint16>(result.levels.size())).put(static_cast<uint8>(sp.gain));
    w.put(sp.fftSampleRate).put(config_.sensitivity).put(sp.procType);
    if (sp.procType == 4 || sp.procType == 5) {
      w.put(static_cast<uint16>(sp.fftAccum)).put(sp.weighting);
    } else if (sp.procType == 6) {
      // Processing type 6 carries the two fields in the other order.
      w.put(sp.weighting).put(static_cast<uint16>(sp.fftAccum));
    }
    w.put(static_cast<uint16>(sp.fftHop)).put(static_cast<uint16>(sp.fftPoints));
    w.bytes(result.levels.data(), result.levels.size());
  }
  if (mask & 0x20) {
    const std::size_t frameBytes = bytesPerSample * sp.channels;
    const std::size_t frames = std::min<std::size_t>(1024, 0xFFFF / frameBytes);
    std::vector<int32_t> samples(frames * sp.channels);
    snapshot_->fill(samples.data(), frames);
    w.put(wavSeq_++).put(static_cast<uint8>(bytesPerSample));
    w.put(static_cast<uint16>(samples.size() * bytesPerSample)).put(static_cast<uint8>(sp.gain));
    w.put(sp.sampleRate).put(config_.sensitivity).put<uint16>(2500);
    for (int32_t v : samples) {
      for (unsigned b = 0; b < bytesPerSample; ++b) p.push_back(static_cast<uint8>(static_cast<uint32>(v) >> (8 * b)));
    }
  }
  if (mask & 0x08) {
    // Extended chunks: type, length, body. Heading first, then the time of each snapshot.
    w.put<uint16>(0x01).put<uint16>(12);
    for (int16_t v : {int16_t{12}, int16_t{-8}, int16_t{1002}, int16_t{210}, int16_t{-35}, int16_t{-402}}) w.put(v);
    const int64 now = deviceTime();
    for (uint16 type : {uint16{0x10}, uint16{0x20}}) {
      if (!(mask & type)) continue;
      w.put(type).put<uint16>(8).put<uint32>(0).put(static_cast<uint32>(now));
    }
  }
  return p;
}

std::vector<DiscoveryReply> SimDevice::handleDiscovery(const uint8* data, std::size_t n) {
  std::vector<DiscoveryReply> replies;
  RequestSplitter splitter;
  splitter.feed(data, n);
  const MavMacAddr ownMac(config_.mac);
  while (auto req = splitter.next()) {
    ByteStream s(req->payload.data(), req->payload.size());
    Bytes p;
    Le w{p};
    DiscoveryReply r;
    if (req->code == kMarcoEnquire || req->code == kMarcoChange) {
      uint8 type = 0;
      uint16 serial = 0;
      std::array<uint8, 6> mac{};
      if (!s.readLE(type) || !s.readLE(serial) || !s.read(mac.data(), 6).good() ||
          !s.readLE(r.port)) {
        continue;
      }
      const MavMacAddr reqMac(mac);
      const bool anyMac = reqMac == MavMacAddr() || reqMac == MavMacAddr(std::array<uint8, 6>{
                                                                  {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}});
      if (req->code == kMarcoEnquire) {
        // An enquiry names nothing (0) or this device's type, serial or MAC.
        const bool forMe = (type == 0 || type == static_cast<uint8>(config_.type)) &&
                           (serial == 0 || serial == config_.serial) && (anyMac || reqMac == ownMac);
        if (!forMe) continue;
        emit("discovery enquiry answered to port " + std::to_string(r.port));
        w.put(static_cast<uint8>(config_.type)).put(config_.serial).bytes(config_.mac.data(), 6);
        w.put(config_.addrMode).put(config_.ipAddr).put(config_.netmask).put(config_.gateway).put(config_.dns);
      } else {
        if (reqMac != ownMac) continue;  // a change names its device by MAC
        uint8 mode = 0;
        uint32 ip = 0, mask = 0, gw = 0, dns = 0;
        const bool whole = s.readLE(mode) && s.readLE(ip) && s.readLE(mask) && s.readLE(gw) && s.readLE(dns);
        const int16_t error = whole ? 0 : -1;
        if (whole) {
          config_.addrMode = mode;
          config_.ipAddr = ip;
          config_.netmask = mask;
          config_.gateway = gw;
          config_.dns = dns;
        }
        emit("discovery network change " + std::string(whole ? "applied" : "rejected"));
        w.put(static_cast<uint8>(config_.type)).put(config_.serial).bytes(config_.mac.data(), 6);
        w.put(error).put(config_.addrMode).put(config_.ipAddr).put(config_.netmask).put(config_.gateway).put(config_.dns);
      }
    } else if (req->code == kMarcoReset) {
      const std::string text(req->payload.begin(), req->payload.end());
      const std::size_t semi = text.find(";PORT=");
      if (text.rfind("MAC=", 0) != 0 || semi == std::string::npos) continue;
      MavMacAddr mac;
      if (!mac.fromString(text.substr(4, semi - 4)) || mac != ownMac) continue;
      r.port = static_cast<uint16>(std::atoi(text.c_str() + semi + 6));
      resetJob();
      clockOffset_ = 0;
      emit("discovery reset answered to port " + std::to_string(r.port));
      const std::string reply = "MAC=" + ownMac.toString();
      w.bytes(reinterpret_cast<const uint8*>(reply.data()), reply.size());
    } else {
      continue;
    }
    ControlFrameEncoder::appendResponse(r.frame, req->code, p);
    replies.push_back(std::move(r));
  }
  return replies;
}

}  // namespace velsim
