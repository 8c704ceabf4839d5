// The simulated device's answers to discovery: enquiry, network change and reset.

#include <sim/SimDevice.h>

#include <sim/PayloadWriter.h>

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavMacAddr.h>

#include <cstdlib>

namespace velsim {
namespace {

// Discovery request codes.
constexpr uint8 kMarcoEnquire = 0x57;
constexpr uint8 kMarcoChange = 0x58;
constexpr uint8 kMarcoReset = 0x59;

}  // namespace

std::vector<DiscoveryReply> SimDevice::handleDiscovery(const uint8* data, std::size_t n) {
  std::vector<DiscoveryReply> replies;
  RequestSplitter splitter;
  splitter.feed(data, n);
  const MavMacAddr ownMac(config_.mac);
  while (auto req = splitter.next()) {
    ByteStream s(req->payload.data(), req->payload.size());
    Bytes p;
    PayloadWriter w{p};
    DiscoveryReply r;
    if (req->code == kMarcoEnquire || req->code == kMarcoChange) {
      uint8 type = 0;
      uint16 serial = 0;
      std::array<uint8, 6> mac{};
      if (!s.readLE(type) || !s.readLE(serial) || !s.read(mac.data(), 6).good() ||
          !s.readLE(r.port)) {
        continue;
      }
      const MavMacAddr reqMac(mac);
      const bool anyMac = reqMac == MavMacAddr() || reqMac == MavMacAddr(std::array<uint8, 6>{
                                                                  {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}});
      if (req->code == kMarcoEnquire) {
        // An enquiry names nothing (0) or this device's type, serial or MAC.
        const bool forMe = (type == 0 || type == static_cast<uint8>(config_.type)) &&
                           (serial == 0 || serial == config_.serial) && (anyMac || reqMac == ownMac);
        if (!forMe) continue;
        emit("discovery enquiry answered to port " + std::to_string(r.port));
        w.put(static_cast<uint8>(config_.type)).put(config_.serial).bytes(config_.mac.data(), 6);
        w.put(config_.addrMode).put(config_.ipAddr).put(config_.netmask).put(config_.gateway).put(config_.dns);
      } else {
        if (reqMac != ownMac) continue;  // a change names its device by MAC
        uint8 mode = 0;
        uint32 ip = 0, mask = 0, gw = 0, dns = 0;
        const bool whole = s.readLE(mode) && s.readLE(ip) && s.readLE(mask) && s.readLE(gw) && s.readLE(dns);
        const int16_t error = whole ? 0 : -1;
        if (whole) {
          config_.addrMode = mode;
          config_.ipAddr = ip;
          config_.netmask = mask;
          config_.gateway = gw;
          config_.dns = dns;
        }
        emit("discovery network change " + std::string(whole ? "applied" : "rejected"));
        w.put(static_cast<uint8>(config_.type)).put(config_.serial).bytes(config_.mac.data(), 6);
        w.put(error).put(config_.addrMode).put(config_.ipAddr).put(config_.netmask).put(config_.gateway).put(config_.dns);
      }
    } else if (req->code == kMarcoReset) {
      const std::string text(req->payload.begin(), req->payload.end());
      const std::size_t semi = text.find(";PORT=");
      if (text.rfind("MAC=", 0) != 0 || semi == std::string::npos) continue;
      MavMacAddr mac;
      if (!mac.fromString(text.substr(4, semi - 4)) || mac != ownMac) continue;
      r.port = static_cast<uint16>(std::atoi(text.c_str() + semi + 6));
      reset();
      emit("discovery reset answered to port " + std::to_string(r.port));
      const std::string reply = "MAC=" + ownMac.toString();
      w.bytes(reinterpret_cast<const uint8*>(reply.data()), reply.size());
    } else {
      continue;
    }
    ControlFrameEncoder::appendResponse(r.frame, req->code, p);
    replies.push_back(std::move(r));
  }
  return replies;
}

}  // namespace velsim
