#include <veliface/host/Commands.h>

#include <veliface/control/VelControlProcessor.h>

#include <mavcommon/CircularByteBuffer.h>

#include <ControlFrames.h>
#include <gtest/gtest.h>

namespace veliface::host {
namespace {

std::shared_ptr<VelControlMessage> decode(const std::vector<uint8>& frame) {
  CircularByteBuffer ring(frame.size());
  ring.write(frame.data(), frame.size());
  VelControlProcessor processor;
  return processor.pump(ring);
}

TEST(Commands, TheIdentityOfAnEnquiryAnswerComesWithTheDevicesTextsEscaped) {
  std::vector<uint8> payload = test::enquirePayload();
  // Firmware "1.2.3" becomes "1\x1B[.3" and the build date gets a line break.
  payload[3] = 0x1B;
  payload[4] = '[';
  payload[13] = '\n';
  const auto answer = decode(test::responseFrame(0x45, payload));
  const auto id = identify(answer);
  ASSERT_TRUE(id);
  ASSERT_TRUE(id->device);
  EXPECT_EQ(id->device->serial(), 0x1234);
  EXPECT_EQ(id->description, "Aurel HF serial 4660 firmware 1\\x1B[.3 built Jan\\x0A02 2024 status 1");
  EXPECT_EQ(id->description.find('\x1b'), std::string::npos);

  // Anything but an enquiry answer has no identity.
  EXPECT_FALSE(identify(nullptr));
  EXPECT_FALSE(identify(decode(test::responseFrame(0x41, {0, 0, 0, 0}))));
}

}  // namespace
}  // namespace veliface::host
