#include <veliface/discovery/VelMarcoProcessor.h>

#include <mavcommon/Endian.h>
#include <veliface/common/VelLog.h>

#include <string>

namespace {

constexpr uint8 kStart = 0x2A;  // "*"

template <typename T>
VelMarcoCommandPayload* readPayloadAs(const uint8* data, uint64 count) {
  return T::create(data, count);
}

struct MarcoRoute {
  uint8 code;
  VelMarcoCommandPayload* (*read)(const uint8*, uint64);
};

// The response class of each type code.
constexpr MarcoRoute kRoutes[] = {
    {MARCO_NETWORK_ENQUIRE, &readPayloadAs<VelNetworkEnqireCmd>},
    {MARCO_CHANGE_NETWORK, &readPayloadAs<VelChangeNetworkCmd>},
    {MARCO_RESET_DEVICE, &readPayloadAs<VelResetDeviceCmd>},
};

const MarcoRoute* findRoute(uint8 code) {
  for (const auto& r : kRoutes) {
    if (r.code == code) return &r;
  }
  return nullptr;
}

}  // namespace

VelMarcoProcessor::VelMarcoProcessor()
    : FiniteStateMachine<VelMarcoProcessor>(&VelMarcoProcessor::st_sync) {
  addEndState(&VelMarcoProcessor::st_endMsg);
}

void VelMarcoProcessor::st_sync(const StateEvent* e) {
  const auto& ev = *static_cast<const MarcoMessageEvent*>(e);
  if (ev.bytesAvailable() <= 3) {
    outOfData_ = true;
    return;
  }
  uint8 pair[2];
  ev.getn(2, pair);
  start_ = pair[0];
  code_ = pair[1];
  // Deliberately lossy: the rejected start byte moves into the type position and one new
  // byte is taken as the start. A "*" that was the second byte of the first pair is never
  // seen, and after a "*" found by this scan the real type byte is read as the low byte
  // of the length. Only a frame at the very start of the bytes is read correctly, which
  // suffices because devices answer with whole datagrams, each starting with its frame.
  while (start_ != kStart) {
    if (ev.bytesAvailable() <= 3) {
      outOfData_ = true;
      return;
    }
    code_ = start_;
    ev.getn(1, &start_);
  }
  uint8 len[2];
  ev.getn(2, len);
  length_ = mav::loadLE<uint16>(len);
  transition(&VelMarcoProcessor::st_readPayload);
}

void VelMarcoProcessor::st_readPayload(const StateEvent* e) {
  const auto& ev = *static_cast<const MarcoMessageEvent*>(e);
  if (ev.bytesAvailable() < length_) {
    outOfData_ = true;
    return;
  }
  scratch_.resize(length_);
  if (length_ > 0) ev.getn(length_, scratch_.data());

  const MarcoRoute* route = findRoute(code_);
  if (!route) {
    // The payload is consumed; the CRC bytes that follow are scanned as junk.
    VelLog::write("Unknown Marco message received! Code=" +
                  std::string(1, static_cast<char>(code_)));
    transition(&VelMarcoProcessor::st_sync);
    return;
  }
  message_ = std::make_shared<VelMarcoCommand>(
      std::shared_ptr<VelMarcoCommandPayload>(route->read(scratch_.data(), length_)));
  transition(&VelMarcoProcessor::st_crc);
}

void VelMarcoProcessor::st_crc(const StateEvent* e) {
  const auto& ev = *static_cast<const MarcoMessageEvent*>(e);
  if (ev.bytesAvailable() < 2) {
    outOfData_ = true;
    return;
  }
  // Deliberately not compared (the control channel does compare): a Marco answer is
  // accepted whatever its CRC; these two bytes are only taken off the buffer.
  uint8 crc[2];
  ev.getn(2, crc);
  transition(&VelMarcoProcessor::st_endMsg);
}

void VelMarcoProcessor::st_endMsg(const StateEvent* /*e*/) {
  transition(&VelMarcoProcessor::st_sync);
}

std::shared_ptr<VelMarcoCommand> VelMarcoProcessor::pump(CircularByteBuffer& buffer) {
  MarcoMessageEvent ev(buffer);
  notifyDataAvailable();
  return runUntilEnd(&ev, outOfData_) ? message_ : nullptr;
}
