// The simulated device's answers to trigger set-up, removal and enquiry (band triggers only).

#include <sim/SimDevice.h>

#include <sim/PayloadWriter.h>

#include <veliface/trigger/VelTrigger.h>

#include <memory>

namespace velsim {
namespace {

// Trigger error codes: bits for limit faults, single codes above 244.
constexpr uint8 kTrigHighLimit = 0x02;
constexpr uint8 kTrigBadThreshType = 248;
constexpr uint8 kTrigMinAboveMax = 249;
constexpr uint8 kTrigNotFound = 250;
constexpr uint8 kTrigInvalidTest = 251;
constexpr uint8 kTrigLimitReached = 253;
constexpr std::size_t kMaxTriggers = 5;  // the stream's trigger status has five state bytes
constexpr std::size_t kBandBody = 22;

}  // namespace

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
  PayloadWriter w{p};
  w.put(err).put(testType).bytes(body.data(), body.size());
  return p;
}

Bytes SimDevice::triggerRemoveResponse(const Bytes& request) {
  const uint16 testType = request.size() >= 2 ? mav::loadLE<uint16>(request.data()) : 0;
  const uint8 num = request.size() >= 3 ? request[2] : 0;
  const uint8 err = triggers_.erase(num) ? 0 : kTrigNotFound;
  emit("trigger removal " + std::to_string(num) + " error " + std::to_string(err));
  Bytes p;
  PayloadWriter w{p};
  w.put(err).put(testType).put(num).put(num);
  return p;
}

Bytes SimDevice::triggerEnquiryResponse() const {
  Bytes p;
  PayloadWriter w{p};
  w.put(static_cast<uint8>(triggers_.size()));
  for (const auto& entry : triggers_) {
    // Each record is length-prefixed with the size of test type and body.
    w.put(static_cast<uint16>(entry.second.size())).bytes(entry.second.data(), entry.second.size());
  }
  return p;
}

}  // namespace velsim
