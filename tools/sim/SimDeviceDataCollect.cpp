// The simulated device's answer to data collect: status values and one snapshot of the
// spectrum and of the waveform.

#include <sim/SimDevice.h>

#include <sim/PayloadWriter.h>
#include <sim/SpectrumComputer.h>

#include <algorithm>

namespace velsim {

Bytes SimDevice::dataCollectResponse(const Bytes& request) {
  // Bits 0x40 and 0x80 ask for nothing this device has; they are left out of the answer.
  const uint8 mask = static_cast<uint8>((request.empty() ? 0 : request[0]) & 0x3F);
  const StreamParams sp = streamParams();
  const unsigned bytesPerSample = sp.bitDepth / 8;
  Bytes p;
  PayloadWriter w{p};
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

}  // namespace velsim
