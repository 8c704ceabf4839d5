#include <veliface/discovery/VelMarcoCommand.h>

#include <mavcommon/Endian.h>
#include <veliface/common/VelLog.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>

uint64 VelMarcoDevicePayload::writeRequestHead(uint8* buf) const {
  buf[0] = static_cast<uint8>(deviceType_);
  mav::storeLE<uint16>(buf + 1, serialNo_);
  netInfo_.macAddr().copyTo(buf + 3);
  mav::storeLE<uint16>(buf + 9, responsePort());
  return 11;
}

uint64 VelMarcoDevicePayload::writeAddresses(uint8* buf) const {
  buf[0] = netInfo_.addrMode();
  mav::storeLE<uint32>(buf + 1, netInfo_.ipAddr().toInt());
  mav::storeLE<uint32>(buf + 5, netInfo_.subnetMask().toInt());
  mav::storeLE<uint32>(buf + 9, netInfo_.gateway().toInt());
  mav::storeLE<uint32>(buf + 13, netInfo_.dns().toInt());
  return 17;
}

void VelMarcoDevicePayload::readIdentity(ByteStream* s) {
  uint8 type = static_cast<uint8>(deviceType_);
  if (s->readLE(type)) deviceType_ = static_cast<VelDeviceType>(static_cast<signed char>(type));
  s->readLE(serialNo_);
  uint8 mac[6];
  if (s->read(mac, sizeof mac).good()) netInfo_.setMacAddr(MavMacAddr(mac));
}

void VelMarcoDevicePayload::readAddresses(ByteStream* s) {
  uint8 mode = netInfo_.addrMode();
  std::array<uint32, 4> addr = {netInfo_.ipAddr().toInt(), netInfo_.subnetMask().toInt(),
                                netInfo_.gateway().toInt(), netInfo_.dns().toInt()};
  s->readLE(mode);
  for (auto& a : addr) s->readLE(a);
  netInfo_.setAddrMode(mode);
  netInfo_.setIpAddr(addr[0]);
  netInfo_.setSubnetMask(addr[1]);
  netInfo_.setGateway(addr[2]);
  netInfo_.setDns(addr[3]);
}

void VelNetworkEnqireCmd::serialize(uint64* len, uint8* buf) const {
  *len += writeRequestHead(buf);
}

VelNetworkEnqireCmd* VelNetworkEnqireCmd::deserialize(ByteStream* s) {
  auto* cmd = new VelNetworkEnqireCmd();
  cmd->readIdentity(s);
  cmd->readAddresses(s);
  return cmd;
}

void VelChangeNetworkCmd::serialize(uint64* len, uint8* buf) const {
  const uint64 head = writeRequestHead(buf);
  *len += head + writeAddresses(buf + head);
}

VelChangeNetworkCmd* VelChangeNetworkCmd::deserialize(ByteStream* s) {
  auto* cmd = new VelChangeNetworkCmd();
  cmd->readIdentity(s);
  s->readLE(cmd->error_);
  cmd->readAddresses(s);
  return cmd;
}

void VelResetDeviceCmd::serialize(uint64* len, uint8* buf) const {
  const std::string mac = macAddress_.toString();
  const std::string text = "MAC=" + mac + ";PORT=" + std::to_string(responsePort());
  // The device takes the text as it stands: no terminating zero.
  std::memcpy(buf, text.data(), text.size());
  *len += text.size();
  VelLog::write(mac + ";" + std::to_string(responsePort()));
}

VelResetDeviceCmd* VelResetDeviceCmd::deserialize(ByteStream* s) {
  auto* cmd = new VelResetDeviceCmd();
  char text[22] = {};  // "MAC=XX:XX:XX:XX:XX:XX" and a zero for the scan
  if (!s->read(text, 21).good()) return cmd;
  unsigned char mac[6];
  if (std::sscanf(text, "MAC=%02hhX:%02hhX:%02hhX:%02hhX:%02hhX:%02hhX", &mac[0], &mac[1],
                  &mac[2], &mac[3], &mac[4], &mac[5]) == 6) {
    cmd->macAddress_ = MavMacAddr(mac);
  }
  return cmd;
}
