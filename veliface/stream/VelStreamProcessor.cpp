#include <veliface/stream/VelStreamProcessor.h>

#include <mavcommon/ByteStream.h>
#include <mavcommon/Endian.h>
#include <veliface/common/VelLog.h>
#include <veliface/stream/VelStreamNotifyPayload.h>
#include <veliface/stream/VelStreamPayloads.h>
#include <veliface/stream/internal/ObjectPool.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>

namespace {
constexpr uint8 kMarker = 0x2A;
constexpr uint8 kNotify = 0x30;
constexpr uint8 kData = 0x31;
constexpr uint8 kEventHeader = 0x32;
constexpr uint8 kStatus = 0x35;
constexpr std::size_t kCopyAlign = 64;  // a cache line
}  // namespace

VelStreamProcessor::VelStreamProcessor(VelStreamType type)
    : FiniteStateMachine<VelStreamProcessor>(&VelStreamProcessor::st_sync), streamType_(type) {
  addEndState(&VelStreamProcessor::st_endMsg);
}

void VelStreamProcessor::st_sync(const StateEvent* e) {
  const auto& ev = *static_cast<const StreamInputEvent*>(e);
  if (ev.bytesAvailable() < 4) {
    outOfData_ = true;
    return;
  }
  // A frame that starts right here (the usual case) takes its whole header in one go.
  if (const uint8* in = ev.view(4)) {
    std::memcpy(header_, in, 4);
  } else {
    ev.peekn(4, header_);
  }
  if (header_[1] == kMarker) {
    ev.skip(4);
    length_ = mav::loadBE<uint16>(header_ + 2);
    transition(&VelStreamProcessor::st_readPayload);
    return;
  }
  ev.skip(2);  // header_[0] and header_[1] now hold these two bytes
  // The code is the byte just before the first marker; anything earlier is dropped.
  while (header_[1] != kMarker) {
    if (ev.bytesAvailable() < 4) {
      // Deliberately lossy: the two bytes in hand are not kept, the next run starts over
      // with fresh bytes. Clean streams never get here, since a frame starts with its code.
      outOfData_ = true;
      return;
    }
    header_[0] = header_[1];
    ev.getn(1, &header_[1]);
  }
  ev.getn(2, header_ + 2);
  length_ = mav::loadBE<uint16>(header_ + 2);
  transition(&VelStreamProcessor::st_readPayload);
}

const std::shared_ptr<uint8[]>& VelStreamProcessor::frameBlock(std::size_t length) {
  Block* freeSlot = nullptr;
  for (Block& b : blocks_) {
    if (!b.bytes || b.bytes.use_count() == 1) {
      // The last holder may have let go on another thread: see its reads before reusing.
      std::atomic_thread_fence(std::memory_order_acquire);
      if (b.bytes && b.size >= length) return b.bytes;
      if (!freeSlot) freeSlot = &b;
    }
  }
  // Never larger than the frame's own length field allows (plus the alignment slack). With
  // every block held, the new one is the processor's only until the frame's chunk shares it.
  if (!freeSlot) freeSlot = &spare_;
  *freeSlot = Block{std::shared_ptr<uint8[]>(new uint8[length]), length};
  return freeSlot->bytes;
}

void VelStreamProcessor::st_readPayload(const StateEvent* e) {
  const auto& ev = *static_cast<const StreamInputEvent*>(e);
  // Unlike the control channel, a frame is never abandoned: its payload is awaited.
  if (length_ > ev.bytesAvailable()) {
    outOfData_ = true;
    return;
  }
  const uint8 code = header_[0];
  std::shared_ptr<VelStreamMessagePayload> payload;
  if (code == kData) {
    // Sample data is read once, straight into a block that the data chunk then shares. The
    // copy lands at the same offset within a cache line as it leaves the ring: a copy whose
    // source and destination are aligned alike runs at full speed, a skewed one at about
    // half. The payload reader skips the few bytes in front.
    const uint8* src = ev.view(length_);
    const std::shared_ptr<uint8[]>& block = frameBlock(length_ + 2 * kCopyAlign);
    const auto from = reinterpret_cast<std::uintptr_t>(src);
    const auto to = reinterpret_cast<std::uintptr_t>(block.get());
    const std::size_t skew = src ? (from % kCopyAlign + kCopyAlign - to % kCopyAlign) : 0;
    ev.getn(length_, block.get() + skew);
    ByteStream s(block.get(), skew + length_);
    s.ignore(skew);
    payload = VelStreamDataPayload::deserializeShared(&s, block);
  } else {
    // Read in place when the payload lies in one piece in the ring; skipping does not touch
    // the ring's memory, so the bytes stay put until the host writes again.
    const uint8* bytes = ev.view(length_);
    if (bytes) {
      ev.skip(length_);
    } else {
      scratch_.resize(length_);
      ev.getn(length_, scratch_.data());
      bytes = scratch_.data();
    }
    ByteStream s(bytes, length_);
    switch (code) {
      case kNotify:
        payload.reset(VelStreamNotifyPayload::deserialize(&s));
        break;
      case kEventHeader:
        payload.reset(VelStreamEventHeaderPayload::deserialize(&s));
        break;
      case kStatus:
        payload.reset(VelStatusDataPayload::deserialize(&s));
        break;
      default: {
        std::string line = "Unknown message on stream. Code=";
        line += static_cast<char>(code);
        VelLog::write(line);
        transition(&VelStreamProcessor::st_sync);
        return;
      }
    }
  }
  payload->setStreamType(streamType_);
  message_ = veliface::stream::makePooled<VelStreamMessage>(std::move(payload));
  transition(&VelStreamProcessor::st_endMsg);
}

void VelStreamProcessor::st_endMsg(const StateEvent* /*e*/) {
  transition(&VelStreamProcessor::st_sync);
}

std::shared_ptr<VelStreamMessage> VelStreamProcessor::pump(CircularByteBuffer& buffer) {
  StreamInputEvent ev(buffer);
  notifyDataAvailable();
  return runUntilEnd(&ev, outOfData_) ? message_ : nullptr;
}
