#include <sim/SimStream.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace velsim {
namespace {

// A data frame: frame header (4), event key V1 (20), stream data head (12), sample bytes.
constexpr std::size_t kSampleOffset = 4 + 20 + 12;
constexpr std::size_t kMaxPayload = 0xFFFF;
constexpr std::size_t kSpectrumBlock = 4096;  // samples generated per step of a spectrum stream
constexpr uint8 kArrayMaster = 0xFF;

SignalConfig signalOf(const StreamSetup& s) {
  const bool wave = s.kind == StreamKind::Waveform;
  return signalConfigFor(s.sampleRate, wave ? s.channels : 1, wave ? s.bitDepth : 24, s.seed);
}

}  // namespace

SignalConfig signalConfigFor(uint32 sampleRate, unsigned channels, unsigned bitDepth,
                             uint64 seed) {
  SignalConfig c;
  c.sampleRate = sampleRate;
  c.channels = channels;
  c.bitDepth = bitDepth;
  c.seed = seed;
  // Keep tone and sweep below half the sample rate at low rates.
  c.sweepEndHz = std::min(c.sweepEndHz, 0.4 * sampleRate);
  c.sweepStartHz = std::min(c.sweepStartHz, 0.2 * sampleRate);
  c.toneHz = std::min(c.toneHz, 0.1 * sampleRate);
  return c;
}

SimStream::SimStream(const StreamSetup& setup)
    : setup_(setup),
      clock_(setup.sampleRate, setup.startSeconds, setup.startNanos, true),
      faults_(setup.faults),
      signal_(signalOf(setup)) {
  if (setup_.kind == StreamKind::Waveform) {
    if (setup_.bitDepth != 16 && setup_.bitDepth != 24) {
      throw std::invalid_argument("bit depth must be 16 or 24");
    }
    const std::size_t frameBytes = setup_.bitDepth / 8 * std::size_t{setup_.channels};
    // Receivers compute a sample frame's size in 8 bits.
    if (setup_.channels == 0 || frameBytes > 255) {
      throw std::invalid_argument("a sample frame must hold 1..255 bytes");
    }
    if (setup_.samplesPerFrame == 0 ||
        kSampleOffset - 4 + frameBytes * setup_.samplesPerFrame > kMaxPayload) {
      throw std::invalid_argument("samples per frame do not fit a data frame");
    }
  } else {
    SpectrumConfig fc;
    fc.numPoints = setup_.fftPoints;
    fc.hop = setup_.fftHop;
    fc.accumulations = setup_.fftAccum;
    fc.refLevel = setup_.refLevel;
    fft_ = std::make_unique<SpectrumComputer>(fc);
    if (fft_->numBins() + kSampleOffset - 4 > kMaxPayload || setup_.fftPoints > 0xFFFF ||
        setup_.fftHop > 0xFFFF || setup_.fftAccum > 0xFFFF) {
      throw std::invalid_argument("FFT setup does not fit the stream's fields");
    }
  }
}

SimStream::~SimStream() = default;

NotifyCode SimStream::startVerdict(const uint8* first4, bool portBusy) {
  const auto& start = StreamFrameEncoder::startMessage();
  if (!std::equal(start.begin(), start.end(), first4)) return NotifyCode::InvalidStart;
  return portBusy ? NotifyCode::NoConnectionAvailable : NotifyCode::NoError;
}

EventKey SimStream::keyOf(uint64 sample) const {
  EventKey k;
  k.timeStamp = static_cast<int32_t>(clock_.secondOf(sample));
  k.seqNum = sample;
  k.channel = 1;
  return k;
}

void SimStream::emitHeader(uint64 sample) {
  const bool wave = setup_.kind == StreamKind::Waveform;
  const unsigned channels = wave ? setup_.channels : 1;
  std::vector<Chunk> chunks;
  chunks.emplace_back(keyOf(sample));
  const auto info = [&](uint16 serial, uint8 channel) {
    DeviceInfo d;
    d.model = setup_.model;
    d.fwVer = setup_.fwVer;
    d.serialNo = serial;
    d.sensitivity = setup_.sensitivity;
    d.channel = channel;
    return d;
  };
  // An array names its hub as the array master, then each member on its channel.
  if (!setup_.members.empty()) chunks.emplace_back(info(setup_.serial, kArrayMaster));
  for (unsigned c = 0; c < channels; ++c) {
    const bool member = c < setup_.members.size();
    DeviceInfo d = info(member ? setup_.members[c] : setup_.serial, static_cast<uint8>(c + 1));
    if (member) {
      d.model = setup_.memberModel;
      // Members are hydrophones of their own, each calibrated a little differently.
      d.sensitivity = static_cast<uint16>(setup_.sensitivity - 3 * static_cast<int>(c));
    }
    chunks.emplace_back(d);
  }
  for (unsigned c = 0; c < channels; ++c) {
    StreamStatus st;
    st.temperature = 215;
    st.humidity = 312;
    st.batteryPercent = 87;
    st.channel = static_cast<uint8>(c + 1);
    chunks.emplace_back(st);
  }
  if (wave) {
    WavSetup ws;
    ws.sampleRate = setup_.sampleRate;
    ws.gain = setup_.gain;
    ws.sampleFormat = sampleFormat(setup_.bitDepth / 8, setup_.littleEndian);
    chunks.emplace_back(ws);
  } else {
    FftSetup fs;
    fs.sampleRate = setup_.sampleRate;
    fs.numPoints = static_cast<uint16>(setup_.fftPoints);
    fs.refLevel = static_cast<uint16>(setup_.refLevel);
    fs.procType = setup_.procType;
    fs.samplesBtwFfts = static_cast<uint16>(setup_.fftHop);
    fs.accumCount = static_cast<uint16>(setup_.fftAccum);
    fs.weighting = setup_.weighting;
    chunks.emplace_back(fs);
  }
  for (unsigned c = 0; c < channels; ++c) {
    AmplScaling a;
    a.channel = static_cast<uint8>(c + 1);
    a.bytesPerSamp = static_cast<uint8>(wave ? setup_.bitDepth / 8 : 1);
    a.maxCount = wave ? signal_.fullScale() : 255;
    a.minCount = wave ? -signal_.fullScale() - 1 : 0;
    a.maxAmplitude = wave ? 2500 : setup_.refLevel + 255;  // mV at full scale; dB for levels
    a.minAmplitude = wave ? -2500 : setup_.refLevel;
    chunks.emplace_back(a);
  }
  frame_.clear();
  StreamFrameEncoder::appendEventHeaderFrame(frame_, chunks);
  faults_.streamFrame(frame_.data(), frame_.size(), out_);  // never dropped: not a data frame
  ++stats_.headers;
}

void SimStream::emitFrame(const Bytes& frame) {
  if (!faults_.streamFrame(frame.data(), frame.size(), out_)) {
    ++stats_.dropped;
    return;
  }
  const std::size_t n = frame.size() - kSampleOffset;
  const uint8* samples = frame.data() + kSampleOffset;
  const std::size_t width = setup_.kind == StreamKind::Waveform ? setup_.bitDepth / 8 : 1;
  if (setup_.littleEndian || width == 1) {
    checksum_.update(samples, n);
  } else {
    // Checksummed in file order (little-endian), so that it compares with a WAV file's data
    // whichever byte order the stream used.
    uint8 sample[8];
    for (std::size_t i = 0; i + width <= n && width <= sizeof sample; i += width) {
      for (std::size_t b = 0; b < width; ++b) sample[b] = samples[i + width - 1 - b];
      checksum_.update(sample, width);
    }
  }
  stats_.checksum = checksum_.value();
  stats_.bytes += n;
  ++stats_.frames;
}

void SimStream::produce(uint64 uptoSample) {
  if (setup_.kind == StreamKind::Waveform) {
    produceWaveform(uptoSample);
  } else {
    produceSpectrum(uptoSample);
  }
}

bool SimStream::running(uint64 sample) const {
  if (setup_.dutyCycle == 0) return true;
  const int64 second = clock_.secondOf(sample);
  const int64 cycle = setup_.dutyCycle;
  return ((second % cycle) + cycle) % cycle < int64{setup_.dutyRun};
}

void SimStream::produceWaveform(uint64 upto) {
  const unsigned channels = setup_.channels;
  for (;;) {
    if (next_ == nextHeader_) {
      if (running(next_)) emitHeader(next_);
      nextHeader_ = clock_.nextSecondStart(next_);
    }
    if (end_ > 0 && next_ >= end_) return;
    uint64 len = std::min<uint64>(setup_.samplesPerFrame, nextHeader_ - next_);
    if (end_ > 0) len = std::min(len, end_ - next_);
    if (next_ + len > upto) return;
    samples_.resize(len * channels);
    signal_.fill(samples_.data(), len);
    if (!running(next_)) {
      stats_.pausedSamples += len;
      next_ += len;
      continue;
    }
    StreamDataHead head;
    head.sampleNum = static_cast<uint32>(next_);
    head.numChannels = static_cast<uint8>(channels);
    head.sampleFormat = sampleFormat(setup_.bitDepth / 8, setup_.littleEndian);
    head.numSamples = static_cast<uint16>(len);
    frame_.clear();
    StreamFrameEncoder::appendDataFrame(frame_, keyOf(next_), head, samples_.data());
    const uint64 dropped = stats_.dropped;
    emitFrame(frame_);
    if (stats_.dropped == dropped) stats_.samples += len;
    next_ += len;
  }
}

void SimStream::produceSpectrum(uint64 upto) {
  Spectrum result;
  for (;;) {
    if (next_ == nextHeader_) {
      if (running(next_)) emitHeader(next_);
      nextHeader_ = clock_.nextSecondStart(next_);
    }
    if (next_ >= upto) return;
    const uint64 len = std::min<uint64>({kSpectrumBlock, nextHeader_ - next_, upto - next_});
    samples_.resize(len);
    signal_.fill(samples_.data(), len);
    fft_->push(samples_.data(), len);
    next_ += len;
    while (fft_->pop(result)) {
      if (!running(result.firstSample)) continue;
      StreamDataHead head;
      head.sampleNum = static_cast<uint32>(result.firstSample);
      head.numChannels = 1;
      head.sampleFormat = sampleFormat(1);
      head.numSamples = static_cast<uint16>(result.levels.size());
      frame_.clear();
      StreamFrameEncoder::appendDataFrame(frame_, keyOf(result.firstSample), head, result.levels.data());
      const uint64 dropped = stats_.dropped;
      emitFrame(frame_);
      if (stats_.dropped == dropped) {
        ++stats_.spectra;
        stats_.samples += result.levels.size();
      }
    }
  }
}

std::string SimStream::summary() const {
  char buf[256];
  const bool wave = setup_.kind == StreamKind::Waveform;
  std::snprintf(buf, sizeof buf,
                "%s samples=%llu bytes=%llu checksum=0x%016llx frames=%llu dropped=%llu "
                "headers=%llu",
                wave ? "waveform" : "spectrum", static_cast<unsigned long long>(stats_.samples),
                static_cast<unsigned long long>(stats_.bytes),
                static_cast<unsigned long long>(stats_.checksum),
                static_cast<unsigned long long>(stats_.frames),
                static_cast<unsigned long long>(stats_.dropped),
                static_cast<unsigned long long>(stats_.headers));
  std::string line = buf;
  if (!wave) line += " spectra=" + std::to_string(stats_.spectra);
  if (setup_.dutyCycle != 0) line += " paused=" + std::to_string(stats_.pausedSamples);
  return line;
}

}  // namespace velsim
