// Builds an enquire frame with the installed library and checks its bytes.
#include <veliface/veliface.h>

#include <cstdio>
#include <memory>

int main() {
  VelControlMessage msg(std::make_shared<VelEnquireCmd>());
  uint8 frame[16] = {};
  uint64 len = 0;
  msg.serialize(&len, frame);
  const uint8 expected[] = {0x2A, 0x45, 0x00, 0x00, 0xB8, 0xA9};
  if (len != sizeof expected) return 1;
  for (uint64 i = 0; i < len; ++i) {
    if (frame[i] != expected[i]) return 2;
  }
  std::printf("enquire frame ok (%s)\n", VelUtil::cmdCodeStr(CMD_ENQUIRE).c_str());
  return 0;
}
