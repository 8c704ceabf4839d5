#include <veliface/record/VelScanStreamConv.h>

#include <veliface/common/VelLog.h>
#include <veliface/device/VelDevice.h>
#include <veliface/stream/VelDataCollectCmd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

// A scan always describes the one unit that answered, which a stream calls channel 1.
constexpr uint8 kScanChannel = 1;

// A signed reading in the two's complement form the 16-bit chunk fields carry on the wire;
// out-of-range values saturate and non-finite ones give 0.
uint16 signed16(double v) {
  if (!std::isfinite(v)) return 0;
  const double clamped = std::fmax(-32768.0, std::fmin(32767.0, v));
  return static_cast<uint16>(static_cast<std::int16_t>(std::lround(clamped)));
}

// The first three numbers of a firmware text such as "2.10.4"; missing ones are 0.
void firmwareBytes(const std::string& text, uint8 (&out)[3]) {
  out[0] = out[1] = out[2] = 0;
  std::size_t n = 0;
  std::size_t i = 0;
  while (n < 3 && i < text.size()) {
    if (!std::isdigit(static_cast<unsigned char>(text[i]))) {
      ++i;
      continue;
    }
    unsigned value = 0;
    for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i) {
      value = std::min(255u, value * 10 + static_cast<unsigned>(text[i] - '0'));
    }
    out[n++] = static_cast<uint8>(value);
  }
}

// Seconds and samples-into-second of a collected block from its time chunk, zeros without one.
template <typename TimeChunk>
std::pair<uint32, uint32> blockTime(const VelDataCollectCmd& cmd) {
  const auto t = cmd.chunk<TimeChunk>();
  return t ? std::make_pair(t->time(), t->sampsIntoSec()) : std::make_pair(0u, 0u);
}

std::shared_ptr<VelEventKeyChunk> makeEventKey(uint32 time, uint64 seqNum) {
  stKEY_CHUNK_V1 raw{};
  raw.type = 0x41;
  raw.version = 1;
  // The event key's time is signed on the wire; a scan's seconds are taken bit for bit.
  raw.timeStamp = static_cast<std::int32_t>(time);
  raw.seqNumHigh = static_cast<uint32>(seqNum >> 32);
  raw.seqNumLow = static_cast<uint32>(seqNum);
  raw.channel = kScanChannel;
  return std::make_shared<VelEventKeyChunkV1>(raw);
}

// A stream data block of one channel over `bytes`, which it adopts without a copy. A block
// whose bytes differ from what the scan announced (cut short, or already handed on) is
// marked corrupted so that a writer can tell it from a genuinely short scan.
std::shared_ptr<VelStreamDataChunkV0> makeDataChunk(std::vector<uint8> bytes, uint16 announced,
                                                    uint8 sampleFormat, uint32 sampleNum) {
  auto chunk = std::make_shared<VelStreamDataChunkV0>();
  chunk->setSampleNum(sampleNum);
  chunk->setNumChannels(1);
  chunk->setSampleFormat(sampleFormat);
  const uint32 size = static_cast<uint32>(bytes.size());
  const uint8 bytesPerSamp = sampleFormat & 0x7F;
  // The scan's length field is 16 bits, so the sample count always fits.
  chunk->setNumSamples(static_cast<uint16>(bytesPerSamp ? size / bytesPerSamp : 0));
  chunk->setCorrupted(size != announced);
  if (size > 0) {
    auto owner = std::make_shared<std::vector<uint8>>(std::move(bytes));
    chunk->ResetI8(std::shared_ptr<uint8[]>(owner, owner->data()), size);
  }
  return chunk;
}

std::shared_ptr<VelDeviceInfoChunk> makeDeviceInfo(const VelDevice& dev) {
  stDEVICE_CHUNK_V1 raw{};
  raw.type = 0x44;
  raw.version = 1;
  // A scan carries no model number; the device type is the closest identity byte we have.
  raw.model = static_cast<uint8>(dev.devType());
  firmwareBytes(dev.firmwareVer(), raw.fwVer);
  raw.serialNo = dev.serial();
  raw.sensitivity = signed16(static_cast<double>(dev.sensitivity()) * 10.0);
  raw.channel = kScanChannel;
  return std::make_shared<VelDeviceInfoChunkV1>(raw);
}

std::shared_ptr<VelStreamStatusChunk> makeStatus(const VelDataCollectCmd& cmd,
                                                 const VelDevice& dev) {
  stSTATUS_CHUNK_V0 raw{};
  raw.type = 0x43;
  raw.version = 0;
  if (const auto t = cmd.chunk<DataCollTemperatureChunk>()) {
    raw.temperature = static_cast<uint16>(t->rawTemperature());
  }
  if (const auto h = cmd.chunk<DataCollHumidityChunk>()) {
    raw.humidity = static_cast<uint16>(h->rawHumidity());
  }
  raw.batteryPercent = dev.battPercent();
  raw.batteryStat = static_cast<uint8>(dev.battStat());
  raw.channel = kScanChannel;
  return std::make_shared<VelStreamStatusChunkV0>(raw);
}

stAMPLITUDE_CHUNK_V0 scalingRecord(uint8 bytesPerSamp) {
  stAMPLITUDE_CHUNK_V0 raw{};
  raw.type = 0x47;
  raw.version = 0;
  raw.channel = kScanChannel;
  raw.bytesPerSamp = bytesPerSamp;
  return raw;
}

// WAV setup and amplitude scaling of a waveform block.
std::pair<VelStreamSetupContainer, stAMPLITUDE_CHUNK_V0> waveSetup(const DataCollWavChunk& w) {
  stWAVE_SETUP_CHUNK_V0 raw{};
  raw.type = 0x45;
  raw.version = 0;
  raw.sampleRate = w.sampleRate();
  raw.gain = w.gain();
  raw.sampleFormat = w.dataFormat();
  raw.channel = kScanChannel;

  const uint8 bytesPerSamp = w.dataFormat() & 0x7F;
  stAMPLITUDE_CHUNK_V0 scale = scalingRecord(bytesPerSamp);
  if (bytesPerSamp >= 4) {
    scale.maxCount = std::numeric_limits<std::int32_t>::max();
  } else if (bytesPerSamp > 0) {
    scale.maxCount = (std::int32_t{1} << (8 * bytesPerSamp - 1)) - 1;
  }
  scale.minCount = bytesPerSamp ? -scale.maxCount - 1 : 0;
  scale.maxAmplitude = w.fullScale_mV();
  scale.minAmplitude = -static_cast<std::int32_t>(w.fullScale_mV());
  return {VelStreamSetupContainer(std::shared_ptr<const VelWavSetupChunk>(
              std::make_shared<VelWavSetupChunk>(raw))),
          scale};
}

// FFT setup and amplitude scaling of a spectrum block.
std::pair<VelStreamSetupContainer, stAMPLITUDE_CHUNK_V0> specSetup(const DataCollSpecChunk& s,
                                                                   const VelDevice& dev) {
  stFFT_SETUP_CHUNK_V1 raw{};
  raw.type = 0x46;
  raw.version = 1;
  raw.sampleRate = s.sampleRate();
  raw.numPoints = s.ptsPerFft();
  raw.refLevel = signed16(dev.getDataScale(eRefVolts, s.sampleRate(), true).reference);
  raw.procType = s.procType();
  raw.samplesBtwFfts = s.ptsBtwFft();
  raw.accumCount = s.accumsPerRslt();
  raw.weighting = s.weight();
  raw.channel = kScanChannel;

  // One level byte per bin; the levels are relative to the reference level above, so
  // there is no absolute amplitude to give.
  stAMPLITUDE_CHUNK_V0 scale = scalingRecord(1);
  scale.maxCount = 255;
  return {VelStreamSetupContainer(std::shared_ptr<const VelFftSetupChunk>(
              std::make_shared<VelFftSetupChunkV1>(raw))),
          scale};
}

}  // namespace

std::shared_ptr<VelEventKeyChunk> VelScanStreamConv::getEventKeyChunk(
    std::shared_ptr<VelDataCollectCmd> cmd, VelStreamType type) {
  if (!cmd) return nullptr;
  if (type == VEL_STREAM_WAVEFORM) {
    if (const auto w = cmd->chunk<DataCollWavChunk>()) {
      return makeEventKey(blockTime<DataCollWavTimeChunk>(*cmd).first, w->seqNum());
    }
  } else if (type == VEL_STREAM_SPECTRUM) {
    if (const auto s = cmd->chunk<DataCollSpecChunk>()) {
      return makeEventKey(blockTime<DataCollSpecTimeChunk>(*cmd).first, s->seqNum());
    }
  }
  return nullptr;
}

std::shared_ptr<VelStreamEventHeaderPayload> VelScanStreamConv::extractEventHdr(
    std::shared_ptr<VelDataCollectCmd> cmd, const VelDevice& dev, VelStreamType type) {
  auto key = getEventKeyChunk(cmd, type);
  if (!key) return nullptr;
  auto [setup, scaling] = type == VEL_STREAM_WAVEFORM
                              ? waveSetup(*cmd->chunk<DataCollWavChunk>())
                              : specSetup(*cmd->chunk<DataCollSpecChunk>(), dev);
  auto hdr = std::make_shared<VelStreamEventHeaderPayload>(
      std::move(key), std::vector<std::shared_ptr<const VelDeviceInfoChunk>>{makeDeviceInfo(dev)},
      std::vector<std::shared_ptr<const VelStreamStatusChunk>>{makeStatus(*cmd, dev)},
      std::move(setup),
      std::vector<std::shared_ptr<const VelAmplScalingChunk>>{
          std::make_shared<VelAmplScalingChunkV0>(scaling)},
      1, nullptr);
  hdr->setStreamType(type);
  return hdr;
}

std::shared_ptr<VelStreamDataPayload> VelScanStreamConv::extractSpectrumData(
    std::shared_ptr<VelDataCollectCmd> cmd, const VelDevice&) {
  // The key is only made when the spectrum chunk is there; holding the chunk itself lets
  // the optimiser see that too (it cannot follow that through the dynamic cast).
  const auto spec = cmd ? cmd->chunk<DataCollSpecChunk>() : nullptr;
  if (!spec) return nullptr;
  auto key = getEventKeyChunk(cmd, VEL_STREAM_SPECTRUM);
  if (!key) return nullptr;
  const uint16 announced = spec->numBytes();
  auto data = makeDataChunk(cmd->takeSpecData(), announced, 1,
                            blockTime<DataCollSpecTimeChunk>(*cmd).second);
  auto payload = std::make_shared<VelStreamDataPayload>(std::move(key), std::move(data));
  payload->setStreamType(VEL_STREAM_SPECTRUM);
  return payload;
}

std::shared_ptr<VelStreamDataPayload> VelScanStreamConv::extractWaveData(
    std::shared_ptr<VelDataCollectCmd> cmd, const VelDevice&, bool& dataLost) {
  dataLost = false;
  auto key = getEventKeyChunk(cmd, VEL_STREAM_WAVEFORM);
  if (!key) return nullptr;
  const auto wav = cmd->chunk<DataCollWavChunk>();
  dataLost = checkSequence(wav->seqNum());
  auto data = makeDataChunk(cmd->takeWavData(), wav->numBytes(), wav->dataFormat(),
                            blockTime<DataCollWavTimeChunk>(*cmd).second);
  auto payload = std::make_shared<VelStreamDataPayload>(std::move(key), std::move(data));
  payload->setStreamType(VEL_STREAM_WAVEFORM);
  return payload;
}

bool VelScanStreamConv::checkSequence(uint16 seqNum) {
  const uint64 cur = seqNum & 0xFFFFu;
  if (cur == next_) {
    next_ = cur + 1;  // not wrapped: after 0xFFFF we expect 0x10000
    return false;
  }
  // Deliberate asymmetry: only 16 bits arrive while next_ counts on past 0xFFFF; this is
  // where the two meet again, so block 0 right after 0xFFFF is a rollover, not a loss.
  if (cur == 0 && next_ == 0x10000) {
    ++rollovers_;
    std::ostringstream os;
    os << "single step rollover: total: " << rollovers_ << " (cur: 0, next: " << next_ << ")";
    VelLog::write(os.str());
    next_ = 1;
    return false;
  }
  rollovers_ = 0;
  std::ostringstream os;
  if (cur <= next_) {
    // next_ never exceeds 0x10000, so the sum stays non-negative.
    os << "ordinary data loss (rolled): lost: " << (cur + 0x10000 - next_);
  } else {
    os << "ordinary data loss (no roll): lost: " << (cur - next_);
  }
  os << " (cur: " << cur << ", next: " << next_ << ")";
  VelLog::write(os.str());
  next_ = cur + 1;
  return true;
}
