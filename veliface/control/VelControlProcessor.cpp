#include <veliface/control/VelControlProcessor.h>

#include <mavcommon/Crc16.h>
#include <mavcommon/Endian.h>
#include <veliface/common/VelLog.h>
#include <veliface/control/internal/ControlDispatch.h>

#include <sstream>

using veliface::control::ControlRoute;
using veliface::control::RouteKind;

VelControlProcessor::VelControlProcessor()
    : FiniteStateMachine<VelControlProcessor>(&VelControlProcessor::st_sync) {
  addEndState(&VelControlProcessor::st_endMsg);
}

void VelControlProcessor::updateCrc(const uint8* bytes, uint16 count) {
  if (count == 0) return;
  crc_ = crcUpdateBlock(bytes, count, crc_);
}

// Header procedure shared by st_sync, checkL and the abandoned-header path of
// st_readPayload. Returns true when a header was taken.
bool VelControlProcessor::readHeader(const ControlResponseEvent& ev) {
  if (ev.bytesAvailable() < 4) {
    outOfData_ = true;
    return false;
  }
  // Garbage before the start byte is dropped without a report. The start byte, once
  // found, is remembered across runs.
  while (start_ != 0x2A) {
    ev.getn(1, &start_);
    if (start_ != 0x2A && ev.bytesAvailable() < 4) {
      outOfData_ = true;
      return false;
    }
  }
  // Deliberately no out-of-data flag here: the next run's first check reports it.
  if (ev.bytesAvailable() < 3) return false;
  uint8 rest[3];
  ev.getn(3, rest);
  code_ = rest[0];
  length_ = mav::loadLE<uint16>(rest + 1);
  transition(&VelControlProcessor::st_readPayload);
  const uint8 header[4] = {start_, rest[0], rest[1], rest[2]};
  crc_ = 0;
  updateCrc(header, 4);
  start_ = 0x20;  // so that the next search reads fresh bytes
  return true;
}

void VelControlProcessor::st_sync(const StateEvent* e) {
  readHeader(*static_cast<const ControlResponseEvent*>(e));
}

void VelControlProcessor::checkL(const StateEvent* e) { st_sync(e); }

void VelControlProcessor::st_readPayload(const StateEvent* e) {
  const auto& ev = *static_cast<const ControlResponseEvent*>(e);
  if (length_ > ev.bytesAvailable()) {
    if (ev.bytesAvailable() < 4) {
      outOfData_ = true;
      return;
    }
    // The header is taken to be false: search again from here, so the bytes after the
    // abandoned header are scanned as possible starts. A payload is only ever taken when
    // it is wholly in the buffer, so a response whose payload arrives in pieces is
    // dropped once four or more of its bytes are waiting; devices send whole frames.
    // Deliberately, the search changes the state only when it takes a header: one that
    // runs out of bytes first leaves the machine here with the abandoned header's code
    // and length, and the next run reads that many bytes as its payload. Hosts that feed
    // whole frames never meet this.
    if (!readHeader(ev) || length_ > ev.bytesAvailable()) {
      outOfData_ = true;
      return;
    }
  }
  scratch_.resize(length_);
  if (length_ > 0) ev.getn(length_, scratch_.data());

  const ControlRoute* route = veliface::control::findControlRoute(code_);
  if (!route || route->foldCrc) updateCrc(scratch_.data(), length_);

  if (!route || route->kind == RouteKind::NotHandled) {
    std::ostringstream os;
    os << (route ? "One of the not handled Command response received! Code = "
                 : "Unknown Command response received! Code = ")
       << "0x" << std::hex << static_cast<int>(code_) << std::dec;
    VelLog::write(os.str());
    transition(&VelControlProcessor::st_sync);
    return;
  }
  if (route->kind == RouteKind::Consume) {
    transition(&VelControlProcessor::st_sync);
    return;
  }
  message_ = std::make_shared<VelControlMessage>(route->read(scratch_.data(), length_));
  transition(route->kind == RouteKind::DeliverAfterCrc ? &VelControlProcessor::st_crc
                                                       : &VelControlProcessor::st_endMsg);
}

void VelControlProcessor::st_crc(const StateEvent* e) {
  const auto& ev = *static_cast<const ControlResponseEvent*>(e);
  if (ev.bytesAvailable() < 2) {
    outOfData_ = true;
    return;
  }
  uint8 b[2];
  ev.getn(2, b);
  const uint16 received = mav::loadLE<uint16>(b);
  if (received != crc_) {
    std::ostringstream os;
    os << "VelControlProcessor: warning bad CRC in message, " << std::hex << "typeCode: 0x"
       << static_cast<int>(code_) << ", crc calc'd: 0x" << crc_ << ", crc msg: 0x" << received;
    VelLog::write(os.str());
    transition(&VelControlProcessor::st_sync);
    return;
  }
  transition(&VelControlProcessor::st_endMsg);
}

void VelControlProcessor::st_endMsg(const StateEvent* /*e*/) {
  transition(&VelControlProcessor::st_sync);
}

std::shared_ptr<VelControlMessage> VelControlProcessor::pump(CircularByteBuffer& buffer) {
  ControlResponseEvent ev(buffer);
  notifyDataAvailable();
  return runUntilEnd(&ev, outOfData_) ? message_ : nullptr;
}
