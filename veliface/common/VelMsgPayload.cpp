#include <veliface/common/VelMsgPayload.h>

#include <mavcommon/Crc16.h>
#include <mavcommon/Endian.h>

void VelMsgPayload::serialize(uint64* len, uint8* buf) const {
  buf[0] = 0x2A;
  buf[1] = code_;
  uint16 length = 0;
  if (code_ == 0x43) {
    buf[4] = flags_;
    length = 1;
    if (flags_ & 0x08) {
      // Extended collect: the second byte names the one extended kind wanted.
      buf[5] = (flags_ & 0x10) ? uint8{0x10} : static_cast<uint8>(flags_ & 0x20);
      length = 2;
    }
  }
  mav::storeLE<uint16>(buf + 2, length);
  *len += length + 4u;
  const uint16 crc = calculateCrc(buf, static_cast<uint16>(*len));
  mav::storeLE<uint16>(buf + *len, crc);
  *len += 2;
}

const uint8* VelMsgPayload::getMessage(uint64& len) {
  uint64 n = 0;
  serialize(&n, frame_);
  len += n;
  return frame_;
}

VelMsgPayload* VelMsgPayload::deserialize(ByteStream* /*s*/) { return new VelMsgPayload(); }
