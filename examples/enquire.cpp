// Asks a device who it is: builds the enquire frame a host would send, then decodes a
// device's answer as if it had arrived on the control channel.
#include <veliface/veliface.h>

#include <cstdio>
#include <memory>

namespace {

// What a hydrophone (type 5) answers, with a version-5 record. The CRC of an enquire
// response is not checked, so its last two bytes are left as the device sent them.
const uint8 kResponse[] = {
    0x2A, 0x45, 0x3B, 0x00,                                          // "*", Enquire, length 59
    0x39, 0x30,                                                      // serial 12345
    '2', '.', '4', '.', '1', 0, 0, 0,                                // firmware version
    'M', 'a', 'r', ' ', '1', '4', ' ', '2', '0', '2', '4', 0, 0, 0, 0, 0, 0, 0,  // build date
    0x05, 0x01, 0x00, 0x00,                                          // type, status, reserved
    0x05,                                                            // record version 5
    0xB0, 0x04,                                                      // sensitivity
    0xE8, 0x03, 0x2C, 0x01, 0x00, 0x5F, 0x03, 0x01,                  // temp, humidity, battery...
    'R', '2', '4', '1', 0, 0, 0, 0, 0x01, 0x02,                      // firmware release, sync
    'H', 'P', '-', '5', 'X', 0,                                      // model
    0x5C, 0x7E};                                                     // CRC (not read)

}  // namespace

int main() {
  // The request: an empty payload in a control frame.
  uint8 frame[16];
  uint64 len = 0;
  VelControlMessage(std::make_shared<VelEnquireCmd>()).serialize(&len, frame);
  std::printf("enquire frame:");
  for (uint64 i = 0; i < len; ++i) std::printf(" %02X", frame[i]);
  std::printf("\n");

  // The answer, through the receive ring and the control processor.
  CircularByteBuffer ring(256);
  ring.write(kResponse, sizeof kResponse);
  VelControlProcessor processor;
  const std::shared_ptr<VelControlMessage> msg = processor.pump(ring);
  const auto* enq = msg ? dynamic_cast<const VelEnquireCmd*>(msg->payload().get()) : nullptr;
  if (!enq) {
    std::printf("no enquire response decoded\n");
    return 1;
  }
  const auto* hf = dynamic_cast<const VelEnqHFData*>(enq->deviceData().get());
  std::printf("serial:   %u\n", static_cast<unsigned>(enq->serial()));
  std::printf("firmware: %s (built %s)\n", enq->firmwareVer().c_str(), enq->buildDate().c_str());
  std::printf("model:    %s\n", hf ? hf->modelString().c_str() : "(none)");
  return 0;
}
