#include <sim/StreamFrameEncoder.h>

#include <mavcommon/Endian.h>

#include <stdexcept>

namespace velsim {
namespace {

constexpr uint8 kMarker = 0x2A;
constexpr std::size_t kFrameHeader = 4;
constexpr std::size_t kDataHead = 12;
constexpr std::size_t kMaxPayload = 0xFFFF;

struct ChunkLayout {
  uint8 type;
  uint8 version;
  uint8 size;
};

// Every fixed chunk we produce, with its wire size.
constexpr ChunkLayout kLayouts[] = {
    {'A', 0, 16}, {'A', 1, 20},  // event key
    {'C', 0, 24},                // stream status
    {'D', 0, 12}, {'D', 1, 16},  // device info
    {'E', 0, 12},                // WAV setup
    {'F', 0, 20}, {'F', 1, 24},  // FFT setup
    {'G', 0, 24},                // amplitude scaling
    {'L', 0, 12},                // trigger status
};

// Writes one fixed chunk field by field into a zero-filled record of the table's size, so
// that any field a version lacks, and every uninterpreted tail byte, goes out as zero.
// The 16-bit header field after type and version carries the chunk's length in bytes:
// receivers do not interpret it, and the length makes a capture easy to walk by eye.
class ChunkWriter {
 public:
  ChunkWriter(Bytes& out, uint8 type, uint8 version)
      : out_(out), start_(out.size()), size_(StreamFrameEncoder::chunkSize(type, version)) {
    if (size_ == 0) throw std::invalid_argument("no such chunk version");
    out_.resize(start_ + size_, 0);
    pos_ = start_;
    u8(type).u8(version).be(static_cast<uint16>(size_));
  }

  ChunkWriter& u8(uint8 v) { return be(v); }

  template <typename T>
  ChunkWriter& be(T v) {
    room(sizeof(T));
    mav::storeBE(&out_[pos_], v);
    pos_ += sizeof(T);
    return *this;
  }

  template <std::size_t N>
  ChunkWriter& bytes(const std::array<uint8, N>& a) {
    room(N);
    for (uint8 b : a) out_[pos_++] = b;
    return *this;
  }

 private:
  void room(std::size_t n) const {
    if (pos_ + n > start_ + size_) throw std::logic_error("chunk fields exceed the chunk size");
  }

  Bytes& out_;
  std::size_t start_;
  std::size_t size_;
  std::size_t pos_;
};

void write(Bytes& out, const EventKey& c) {
  ChunkWriter w(out, 'A', c.version);
  w.be(c.timeStamp).be(c.seqNum);  // u64 big-endian: high 32 bits first, as receivers read it
  if (c.version == 1) w.u8(c.channel);
}

void write(Bytes& out, const DeviceInfo& c) {
  ChunkWriter w(out, 'D', c.version);
  w.u8(c.model).bytes(c.fwVer).be(c.serialNo).be(c.sensitivity);
  if (c.version == 1) w.u8(c.channel);
}

void write(Bytes& out, const StreamStatus& c) {
  ChunkWriter(out, 'C', 0)
      .be(c.temperature)
      .be(c.humidity)
      .u8(c.batteryPercent)
      .u8(c.batteryStat)
      .u8(c.dataEpoch)
      .u8(c.channel);
}

void write(Bytes& out, const WavSetup& c) {
  ChunkWriter(out, 'E', 0).be(c.sampleRate).be(c.gain).u8(c.sampleFormat).u8(c.channel);
}

void write(Bytes& out, const FftSetup& c) {
  ChunkWriter w(out, 'F', c.version);
  w.be(c.sampleRate)
      .be(c.numPoints)
      .be(c.refLevel)
      .be(c.procType)
      .be(c.samplesBtwFfts)
      .be(c.accumCount)
      .be(c.weighting);
  if (c.version == 1) w.u8(c.channel);
}

void write(Bytes& out, const AmplScaling& c) {
  ChunkWriter(out, 'G', 0)
      .u8(c.channel)
      .u8(c.units)
      .u8(0)  // uninterpreted byte between units and bytes per sample
      .u8(c.bytesPerSamp)
      .be(c.maxCount)
      .be(c.minCount)
      .be(c.maxAmplitude)
      .be(c.minAmplitude);
}

void write(Bytes& out, const TriggerStatus& c) {
  ChunkWriter(out, 'L', 0).u8(c.numTrigs).bytes(c.state).be(c.reserved);
}

std::size_t frameBytes(const StreamDataHead& head) {
  return std::size_t{head.sampleFormat & 0x7Fu} * head.numChannels;
}

// 1 to 4 bytes per sample, at least one channel, and a sample frame of at most 255 bytes:
// receivers compute the frame size in 8 bits, so a larger frame would be misread.
bool validHead(const StreamDataHead& head) {
  const unsigned width = head.sampleFormat & 0x7Fu;
  return width >= 1 && width <= 4 && head.numChannels >= 1 && frameBytes(head) <= 0xFF;
}

// Appends the 12-byte head of a stream data chunk and makes room for its samples; returns
// the offset of the first sample byte.
std::size_t appendDataHead(Bytes& out, const StreamDataHead& head, std::size_t sampleBytes) {
  const std::size_t start = out.size();
  out.resize(start + kDataHead + sampleBytes);
  uint8* p = &out[start];
  p[0] = 'B';
  p[1] = 0;
  mav::storeBE(p + 2, static_cast<uint16>(kDataHead + sampleBytes));  // chunk length, as above
  mav::storeBE(p + 4, head.sampleNum);
  p[8] = head.numChannels;
  p[9] = head.sampleFormat;
  mav::storeBE(p + 10, head.numSamples);
  return start + kDataHead;
}

// Wraps what `fill` appends in a frame header; rolls back when `fill` fails or the payload
// does not fit the 16-bit length.
template <typename Fill>
bool framed(Bytes& out, StreamCode code, Fill fill) {
  const std::size_t start = out.size();
  out.insert(out.end(), {static_cast<uint8>(code), kMarker, 0, 0});
  if (!fill() || out.size() - start - kFrameHeader > kMaxPayload) {
    out.resize(start);
    return false;
  }
  mav::storeBE(&out[start + 2], static_cast<uint16>(out.size() - start - kFrameHeader));
  return true;
}

}  // namespace

std::size_t StreamFrameEncoder::chunkSize(uint8 type, uint8 version) {
  for (const ChunkLayout& l : kLayouts) {
    if (l.type == type && l.version == version) return l.size;
  }
  return 0;
}

std::size_t StreamFrameEncoder::sampleBytes(const StreamDataHead& head) {
  return validHead(head) ? frameBytes(head) * head.numSamples : 0;
}

void StreamFrameEncoder::appendChunk(Bytes& out, const Chunk& chunk) {
  std::visit([&out](const auto& c) { write(out, c); }, chunk);
}

bool StreamFrameEncoder::appendStreamData(Bytes& out, const StreamDataHead& head,
                                          const int32_t* samples) {
  if (!validHead(head)) return false;
  const std::size_t n = sampleBytes(head);
  const std::size_t width = head.sampleFormat & 0x7Fu;
  const bool little = (head.sampleFormat & 0x80u) != 0;
  std::size_t pos = appendDataHead(out, head, n);
  const std::size_t values = std::size_t{head.numSamples} * head.numChannels;
  for (std::size_t i = 0; i < values; ++i) {
    const uint32 v = static_cast<uint32>(samples[i]);
    for (std::size_t b = 0; b < width; ++b) {
      // Lowest `width` bytes of the two's-complement value, in the chosen order.
      const std::size_t shift = 8 * (little ? b : width - 1 - b);
      out[pos++] = static_cast<uint8>(v >> shift);
    }
  }
  return true;
}

bool StreamFrameEncoder::appendStreamData(Bytes& out, const StreamDataHead& head,
                                          const uint8* raw) {
  if (!validHead(head)) return false;
  const std::size_t n = sampleBytes(head);
  const std::size_t pos = appendDataHead(out, head, n);
  std::copy(raw, raw + n, out.begin() + static_cast<std::ptrdiff_t>(pos));
  return true;
}

void StreamFrameEncoder::appendNotifyPayload(Bytes& out, uint32 code) {
  const std::size_t start = out.size();
  out.resize(start + 4);
  mav::storeBE(&out[start], code);
}

bool StreamFrameEncoder::appendFrame(Bytes& out, StreamCode code, const uint8* payload,
                                     std::size_t n) {
  if (n > kMaxPayload) return false;
  return framed(out, code, [&] {
    out.insert(out.end(), payload, payload + n);
    return true;
  });
}

bool StreamFrameEncoder::appendEventHeaderFrame(Bytes& out, const std::vector<Chunk>& chunks) {
  return framed(out, StreamCode::EventHeader, [&] {
    for (const Chunk& c : chunks) appendChunk(out, c);
    return true;
  });
}

bool StreamFrameEncoder::appendDataFrame(Bytes& out, const EventKey& key,
                                         const StreamDataHead& head, const int32_t* samples) {
  return framed(out, StreamCode::Data, [&] {
    write(out, key);
    return appendStreamData(out, head, samples);
  });
}

bool StreamFrameEncoder::appendDataFrame(Bytes& out, const EventKey& key,
                                         const StreamDataHead& head, const uint8* raw) {
  return framed(out, StreamCode::Data, [&] {
    write(out, key);
    return appendStreamData(out, head, raw);
  });
}

void StreamFrameEncoder::appendNotifyFrame(Bytes& out, NotifyCode code) {
  framed(out, StreamCode::Notify, [&] {
    appendNotifyPayload(out, static_cast<uint32>(code));
    return true;
  });
}

void StreamFrameEncoder::appendStatusFrame(Bytes& out, const TriggerStatus& status) {
  framed(out, StreamCode::Status, [&] {
    write(out, status);
    return true;
  });
}

const std::array<uint8, 4>& StreamFrameEncoder::startMessage() {
  static const std::array<uint8, 4> start{0x53, kMarker, 0x00, 0x00};
  return start;
}

}  // namespace velsim
