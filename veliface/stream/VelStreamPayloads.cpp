#include <veliface/stream/VelStreamPayloads.h>

#include <veliface/common/VelLog.h>
#include <veliface/stream/internal/ChunkRead.h>

#include <string>
#include <utility>

using veliface::stream::readFixedChunk;

namespace {

constexpr uint8 kEventKey = 0x41;
constexpr uint8 kStreamData = 0x42;
constexpr uint8 kStreamStatus = 0x43;
constexpr uint8 kDeviceInfo = 0x44;
constexpr uint8 kWavSetup = 0x45;
constexpr uint8 kFftSetup = 0x46;
constexpr uint8 kAmplScaling = 0x47;
constexpr uint8 kTrigStatus = 0x4C;
// A chunk needs its type, version and header field plus at least one byte of body.
constexpr uint64 kMinChunkBytes = 5;

// Calls `onChunk(type, version)` for each chunk while enough bytes are left. The handler
// consumes the chunk (or the rest of the payload); a failed read ends the loop.
template <typename OnChunk>
void forEachChunk(ByteStream* s, OnChunk&& onChunk) {
  while (s->good() && s->bytesAvailable() >= kMinChunkBytes) {
    uint8 type = 0;
    uint8 version = 0;
    VelUtil::peekChunk(s, &version, &type);
    onChunk(type, version);
  }
}

uint64 skipRest(ByteStream* s) {
  const uint64 n = s->bytesAvailable();
  s->ignore(n);
  return n;
}

// The skipped count runs into "bytes." without a space, and the header line has a full stop
// before the type where the data line has none. Deliberate: the texts are kept byte for byte
// because hosts match on them.
void skipUnknown(ByteStream* s, const char* prefix, uint8 type) {
  std::string line(prefix);
  line += static_cast<char>(type);
  line += ". Skipping ";
  line += std::to_string(skipRest(s));
  line += "bytes.";
  VelLog::write(line);
}

// A version we cannot size: nothing says where the chunk ends, so the payload ends here.
void skipUnsupported(ByteStream* s, const char* where, uint8 type, uint8 version) {
  std::string line = "Unsupported version " + std::to_string(version) + " of chunk type ";
  line += static_cast<char>(type);
  line += " in ";
  line += where;
  line += ". Skipping " + std::to_string(skipRest(s)) + " bytes.";
  VelLog::write(line);
}

// Reads a fixed chunk. One cut short by the end of the payload is still a chunk, with the
// fields it could not read at their constructor values; the payload ends after it.
template <typename Chunk>
std::shared_ptr<Chunk> readOne(ByteStream* s) {
  return readFixedChunk<Chunk>(s);
}

// Reads a chunk of a family that has a version 0 and a version 1.
template <typename Base, typename V0, typename V1>
std::shared_ptr<const Base> readV0V1(ByteStream* s, uint8 type, uint8 version, const char* where) {
  if (version == 0) return readOne<V0>(s);
  if (version == 1) return readOne<V1>(s);
  skipUnsupported(s, where, type, version);
  return nullptr;
}

std::shared_ptr<const VelEventKeyChunk> readEventKey(ByteStream* s, uint8 version, const char* where) {
  return readV0V1<VelEventKeyChunk, VelEventKeyChunkV0, VelEventKeyChunkV1>(s, kEventKey, version,
                                                                            where);
}

}  // namespace

VelStreamEventHeaderPayload::VelStreamEventHeaderPayload(
    std::shared_ptr<const VelEventKeyChunk> eventKey,
    std::vector<std::shared_ptr<const VelDeviceInfoChunk>> deviceInfos,
    std::vector<std::shared_ptr<const VelStreamStatusChunk>> statuses, VelStreamSetupContainer setup,
    std::vector<std::shared_ptr<const VelAmplScalingChunk>> scalings, uint8 numChannels,
    std::shared_ptr<const VelDeviceInfoChunk> arrayMaster)
    : eventKey_(std::move(eventKey)),
      deviceInfos_(std::move(deviceInfos)),
      statuses_(std::move(statuses)),
      setup_(std::move(setup)),
      scalings_(std::move(scalings)),
      numChannels_(numChannels),
      arrayMaster_(std::move(arrayMaster)),
      isArray_(arrayMaster_ != nullptr) {}

VelStreamEventHeaderPayload* VelStreamEventHeaderPayload::deserialize(ByteStream* s) {
  static constexpr const char* kWhere = "header";
  auto* p = new VelStreamEventHeaderPayload();
  forEachChunk(s, [&](uint8 type, uint8 version) {
    switch (type) {
      case kEventKey:
        if (auto key = readEventKey(s, version, kWhere)) p->eventKey_ = std::move(key);
        break;
      case kStreamStatus:
        if (auto st = readOne<VelStreamStatusChunkV0>(s)) p->statuses_.push_back(st);
        break;
      case kDeviceInfo: {
        auto info = readV0V1<VelDeviceInfoChunk, VelDeviceInfoChunkV0, VelDeviceInfoChunkV1>(
            s, type, version, kWhere);
        if (!info) break;
        // Channel 0xFF is the array master describing itself, not a recording channel.
        if (info->channel() == 0xFF) {
          p->arrayMaster_ = std::move(info);
          p->isArray_ = true;
        } else {
          p->deviceInfos_.push_back(std::move(info));
        }
        break;
      }
      case kWavSetup:
        if (auto wav = readOne<VelWavSetupChunk>(s)) {
          p->setup_ = VelStreamSetupContainer(std::shared_ptr<const VelWavSetupChunk>(std::move(wav)));
        }
        break;
      case kFftSetup:
        if (auto fft = readV0V1<VelFftSetupChunk, VelFftSetupChunkV0, VelFftSetupChunkV1>(
                s, type, version, kWhere)) {
          p->setup_ = VelStreamSetupContainer(std::move(fft));
        }
        break;
      case kAmplScaling:
        if (auto sc = readOne<VelAmplScalingChunkV0>(s)) p->scalings_.push_back(sc);
        break;
      default:
        skipUnknown(s, "Unknown chunk type in header.", type);
        break;
    }
  });
  p->numChannels_ = static_cast<uint8>(p->statuses_.size());
  return p;
}

void VelStreamDataPayload::readChunks(ByteStream* s, const std::shared_ptr<uint8[]>* block) {
  static constexpr const char* kWhere = "data";
  forEachChunk(s, [&](uint8 type, uint8 version) {
    switch (type) {
      case kEventKey:
        if (auto key = readEventKey(s, version, kWhere)) eventKey_ = std::move(key);
        break;
      case kStreamData:
        if (version != 0) {
          VelLog::write("Unsupported data chunk version");
          skipRest(s);
        } else if (block) {
          data_ = VelStreamDataChunkV0::deserializeShared(s, *block);
        } else {
          // Delivered even when its samples were cut short: its head is still the device's
          // word on where the block sits, and `isCorrupted()` says the samples are missing.
          data_ = std::shared_ptr<VelStreamDataChunkV0>(VelStreamDataChunkV0::deserialize(s));
        }
        break;
      default:
        skipUnknown(s, "Unknown chunk type in data", type);
        break;
    }
  });
}

VelStreamDataPayload* VelStreamDataPayload::deserialize(ByteStream* s) {
  auto* p = new VelStreamDataPayload();
  p->readChunks(s, nullptr);
  return p;
}

std::shared_ptr<VelStreamDataPayload> VelStreamDataPayload::deserializeShared(
    ByteStream* s, const std::shared_ptr<uint8[]>& block) {
  auto p = veliface::stream::makePooled<VelStreamDataPayload>();
  p->readChunks(s, &block);
  return p;
}

VelStatusDataPayload* VelStatusDataPayload::deserialize(ByteStream* s) {
  static constexpr const char* kWhere = "status";
  auto* p = new VelStatusDataPayload();
  forEachChunk(s, [&](uint8 type, uint8 version) {
    if (type == kTrigStatus) {
      if (version != 0) {
        skipUnsupported(s, kWhere, type, version);
      } else if (auto trig = readOne<VelStreamTrigStatusChunkV0>(s)) {
        p->trig_ = std::move(trig);
      }
    } else if (type >= 0x48 && type <= 0x4B) {
      skipRest(s);  // records the host does not decode; they end the payload silently
    } else {
      skipUnknown(s, "Unknown chunk type in data", type);
    }
  });
  return p;
}
