#include <veliface/host/Discovery.h>

#include <veliface/discovery/VelMarcoCommand.h>
#include <veliface/discovery/VelMarcoProcessor.h>
#include <veliface/host/ResponseFramer.h>

#include <mavcommon/CircularByteBuffer.h>

#include <memory>

namespace veliface::host {

std::vector<uint8> Discovery::enquiry(uint16 responsePort) {
  auto request = std::make_shared<VelNetworkEnqireCmd>();
  request->setResponsePort(responsePort);
  std::vector<uint8> out(64);
  uint64 len = 0;
  VelMarcoCommand(request).serialize(&len, out.data());
  out.resize(static_cast<std::size_t>(len));
  return out;
}

bool Discovery::receive(const uint8* data, std::size_t n, const std::string& from) {
  ResponseFramer framer;
  framer.feed(data, n);
  const auto frame = framer.next();
  // The whole datagram must be one good enquiry answer, starting at its first byte.
  if (!frame || !frame->crcGood || frame->bytes.size() != n || frame->code() != MARCO_NETWORK_ENQUIRE) {
    ++rejected_;
    return false;
  }
  CircularByteBuffer ring(frame->bytes.size());
  ring.write(frame->bytes.data(), frame->bytes.size());
  VelMarcoProcessor processor;
  const auto msg = processor.pump(ring);
  const auto* answer = msg ? dynamic_cast<const VelNetworkEnqireCmd*>(msg->payload().get()) : nullptr;
  if (!answer) {
    ++rejected_;
    return false;
  }
  FoundDevice found{answer->deviceType(), answer->serialNo(), answer->netInfo(), from};
  for (FoundDevice& d : devices_) {
    if (d.type == found.type && d.serial == found.serial) {
      d = found;
      return true;
    }
  }
  devices_.push_back(found);
  return true;
}

std::string describe(const FoundDevice& d) {
  return VelUtil::deviceTypeStr(d.type) + " serial " + std::to_string(d.serial) + " at " +
         d.net.ipAddr().toString() + " (MAC " + d.net.macAddr().toString() + ", answered from " + d.from + ")";
}

}  // namespace veliface::host
