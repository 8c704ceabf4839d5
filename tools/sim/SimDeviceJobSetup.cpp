// The simulated device's answers to job setup (tags judged one by one, then together) and
// to job enquiry.

#include <sim/SimDevice.h>

#include <sim/PayloadWriter.h>

#include <mavcommon/ByteStream.h>
#include <veliface/settings/VelJobSetup.h>

#include <algorithm>
#include <array>
#include <memory>

namespace velsim {
namespace {

// The setup kind of a job, and the codes of a rejected setup.
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

constexpr std::array<uint32, 9> kSampleRates = {8000,   16000,  32000,  48000, 64000,
                                               96000,  128000, 256000, 512000};

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
  PayloadWriter w{p};
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

}  // namespace

void SimDevice::writeTags(Bytes& out) const {
  PayloadWriter w{out};
  w.put(static_cast<uint16>(job_.size()));
  for (const auto& [key, value] : job_) {
    w.put(key).put(static_cast<uint16>(value.size())).bytes(value.data(), value.size());
  }
}

Bytes SimDevice::jobSetupResponse(const Bytes& request) {
  Bytes p;
  PayloadWriter w{p};
  const auto error = [&](uint16 code, uint16 setupType) -> PayloadWriter& {
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
  PayloadWriter w{p};
  w.put<uint8>(0).put(kTagSetup);  // status 0: the job is not running
  writeTags(p);
  return p;
}

}  // namespace velsim
