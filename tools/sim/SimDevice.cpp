// The simulated device's core: power-on state, the job and the clock, and the control
// channel that hands each request to the answer of its family.

#include <sim/SimDevice.h>

#include <sim/PayloadWriter.h>

#include <mavcommon/ByteStream.h>
#include <veliface/common/VelCommandCode.h>

#include <chrono>
#include <cstdio>

namespace velsim {
namespace {

// Command codes the device answers on the control channel.
constexpr uint8 kSetTime = 0x41;
constexpr uint8 kCollectData = 0x43;
constexpr uint8 kJobSetup = 0x44;
constexpr uint8 kEnquire = 0x45;
constexpr uint8 kEnquireSetup = 0x46;
constexpr uint8 kEnquireTriggers = 0x52;
constexpr uint8 kSetupTrigger = 0x53;
constexpr uint8 kRemoveTrigger = 0x54;
constexpr uint8 kReset = 0x59;

Bytes le32(uint32 v) {
  Bytes b(4);
  mav::storeLE(b.data(), v);
  return b;
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
    PayloadWriter w{list};
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

void SimDevice::setTime(const Bytes& payload) {
  ByteStream s(payload.data(), payload.size());
  int32_t t = 0;
  if (s.readLE(t)) clockOffset_ = int64{t} - clock_();
}

void SimDevice::reset() {
  resetJob();
  clockOffset_ = 0;
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
      case kSetTime:
        setTime(req->payload);
        reply = answer(code, req->payload);
        break;
      case kEnquire:
        reply = answer(code, enquireResponse());
        break;
      case kReset:
        reset();
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

}  // namespace velsim
