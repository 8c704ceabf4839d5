#include <veliface/common/VelCommand.h>

#include <mavcommon/Crc16.h>
#include <mavcommon/Endian.h>

void VelControlMessage::serialize(uint64* len, uint8* buf) const {
  buf[0] = 0x2A;
  buf[1] = payload_ ? payload_->commandCode() : 0;
  uint64 count = 0;
  if (payload_) payload_->serialize(&count, buf + 4);
  mav::storeLE<uint16>(buf + 2, static_cast<uint16>(count));
  *len += count + 4;
  // The CRC count is a 16-bit quantity on the devices; it spans everything written so far.
  const uint16 crc = calculateCrc(buf, static_cast<uint16>(*len));
  mav::storeLE<uint16>(buf + *len, crc);
  *len += 2;
}
