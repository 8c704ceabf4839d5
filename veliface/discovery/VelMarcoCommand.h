#pragma once
/// \file Marco network messages: device discovery, network change and reset, with their frame.
///
/// Marco runs beside the control channel, typically over UDP broadcast. Each message is a
/// request from the host and a response from the device under the same type code, framed
/// as control messages are: "*", type code, payload length (u16 LE), payload, CRC-16 (u16 LE).
/// All multi-byte fields are little-endian; IPv4 addresses travel as `MavIpAddr::toInt()`.

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavMacAddr.h>
#include <mavcommon/MavNetHostInfo.h>
#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/VelCommand.h>
#include <veliface/common/VelCommandPayload.h>
#include <veliface/vocabulary/VelDeviceType.h>

#include <cstdint>
#include <memory>

/// Type codes of the Marco messages (the same code for request and response).
enum VelMarcoCode : uint8 {
  MARCO_NETWORK_ENQUIRE = 0x57,  ///< 'W' find devices and their network settings
  MARCO_CHANGE_NETWORK = 0x58,   ///< 'X' change a device's network settings
  MARCO_RESET_DEVICE = 0x59      ///< 'Y' reset a device
};

/// Base of the Marco payloads: each request names the host port the device answers to.
class VelMarcoCommandPayload : public VelControlMsgPayload {
 public:
  /// The host port on which the device is to answer (requests only; 0 in responses).
  uint16 responsePort() const { return responsePort_; }
  /// Sets the host port on which the device is to answer.
  void setResponsePort(uint16_t port) { responsePort_ = port; }

 private:
  uint16 responsePort_ = 0;
};

/// A Marco payload about one device: its type, serial number and network settings.
/// Shared base of the enquiry and change-network messages, whose layouts overlap.
class VelMarcoDevicePayload : public VelMarcoCommandPayload {
 public:
  /// The kind of device.
  VelDeviceType deviceType() const { return deviceType_; }
  /// Sets the kind of device.
  void setDeviceType(VelDeviceType type) { deviceType_ = type; }
  /// The serial number.
  uint16 serialNo() const { return serialNo_; }
  /// Sets the serial number.
  void setSerialNo(uint16 serial) { serialNo_ = serial; }
  /// The network settings (the MAC address identifies the device in requests).
  const MavNetHostInfo& netInfo() const { return netInfo_; }
  /// Sets the network settings.
  void setNetInfo(const MavNetHostInfo& info) { netInfo_ = info; }

 protected:
  /// Type "No device", serial 0, default network settings.
  VelMarcoDevicePayload() = default;
  /// The given device and network settings.
  VelMarcoDevicePayload(VelDeviceType type, uint16 serial, const MavNetHostInfo& info)
      : deviceType_(type), serialNo_(serial), netInfo_(info) {}

  /// Writes type, serial, MAC and response port (11 bytes) at `buf`; returns the count.
  uint64 writeRequestHead(uint8* buf) const;
  /// Writes address mode, address, mask, gateway and DNS (17 bytes); returns the count.
  uint64 writeAddresses(uint8* buf) const;
  /// Reads type, serial and MAC; fields that cannot be read keep their values.
  void readIdentity(ByteStream* s);
  /// Reads address mode, address, mask, gateway and DNS; unreadable ones keep their values.
  void readAddresses(ByteStream* s);

 private:
  VelDeviceType deviceType_ = DEV_NONE;
  uint16 serialNo_ = 0;
  MavNetHostInfo netInfo_;
};

/// Network enquiry ('W'). Request: type, serial, MAC, response port (11 bytes).
/// Response: type, serial, MAC, address mode, address, mask, gateway, DNS (26 bytes).
class VelNetworkEnqireCmd : public VelMarcoDevicePayload,
                            public DeserializationFactory<VelNetworkEnqireCmd> {
 public:
  /// Type "No device", serial 0, default network settings.
  VelNetworkEnqireCmd() = default;
  /// An enquiry about the given device.
  VelNetworkEnqireCmd(VelDeviceType type, uint16 serial, const MavNetHostInfo& info)
      : VelMarcoDevicePayload(type, serial, info) {}

  /// Writes the 11-byte request.
  void serialize(uint64* len, uint8* buf) const override;
  /// 'W'.
  uint8 commandCode() const override { return MARCO_NETWORK_ENQUIRE; }
  /// Reads a 26-byte response; the caller owns the result.
  static VelNetworkEnqireCmd* deserialize(ByteStream* s);
};

/// Change network ('X'). Request: the enquiry request, then address mode, address, mask,
/// gateway, DNS (28 bytes). Response: type, serial, MAC, error (i16), then the same five
/// (28 bytes).
class VelChangeNetworkCmd : public VelMarcoDevicePayload,
                            public DeserializationFactory<VelChangeNetworkCmd> {
 public:
  /// Type "No device", serial 0, default network settings, no error.
  VelChangeNetworkCmd() = default;
  /// A request to give the device `info`.
  VelChangeNetworkCmd(VelDeviceType type, uint16 serial, const MavNetHostInfo& info)
      : VelMarcoDevicePayload(type, serial, info) {}

  /// The device's verdict, from its response.
  short error() const { return error_; }
  /// Sets the verdict.
  void setError(short error) { error_ = error; }

  /// Writes the 28-byte request.
  void serialize(uint64* len, uint8* buf) const override;
  /// 'X'.
  uint8 commandCode() const override { return MARCO_CHANGE_NETWORK; }
  /// Reads a 28-byte response; the caller owns the result.
  static VelChangeNetworkCmd* deserialize(ByteStream* s);

 private:
  short error_ = 0;
};

/// Reset device ('Y'). Both directions are ASCII text without a terminating zero:
/// the request "MAC=<mac>;PORT=<port>", the response "MAC=XX:XX:XX:XX:XX:XX" (21 bytes).
class VelResetDeviceCmd : public VelMarcoCommandPayload,
                          public DeserializationFactory<VelResetDeviceCmd> {
 public:
  /// MAC 00:00:00:00:00:00.
  VelResetDeviceCmd() = default;
  /// A reset of the device with MAC `mac`.
  explicit VelResetDeviceCmd(const MavMacAddr& mac) : macAddress_(mac) {}

  /// The MAC address of the device to reset (or that was reset).
  const MavMacAddr& macAddress() const { return macAddress_; }
  /// Sets the MAC address.
  void setMacAddress(const MavMacAddr& mac) { macAddress_ = mac; }

  /// Writes the request text and logs "<mac>;<port>".
  void serialize(uint64* len, uint8* buf) const override;
  /// 'Y'.
  uint8 commandCode() const override { return MARCO_RESET_DEVICE; }
  /// Reads the 21-byte response text; the MAC stays as constructed unless all six bytes
  /// parse. The caller owns the result.
  static VelResetDeviceCmd* deserialize(ByteStream* s);

 private:
  MavMacAddr macAddress_;
};

/// A Marco frame around one payload; also what the discovery processor delivers.
class VelMarcoCommand : public VelControlMessage {
 public:
  /// Frames `payload`.
  explicit VelMarcoCommand(const std::shared_ptr<VelMarcoCommandPayload>& payload)
      : VelControlMessage(payload) {}

  /// The payload.
  std::shared_ptr<VelMarcoCommandPayload> payload() const {
    return std::static_pointer_cast<VelMarcoCommandPayload>(VelControlMessage::payload());
  }
};
