// What the simulated device's stream ports carry, as its job and identity decide it.

#include <sim/SimDevice.h>

#include <algorithm>
#include <cstdio>

namespace velsim {

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
  s.dutyCycle = jobValue(kTagDutyCycleTime, 0);
  s.dutyRun = std::min(jobValue(kTagDutyRunTime, 0), s.dutyCycle);
  s.startSeconds = startSeconds;
  s.startNanos = startNanos;
  s.seed = config_.seed;
  return s;
}

}  // namespace velsim
