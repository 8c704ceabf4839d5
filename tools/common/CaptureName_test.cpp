#include <common/CaptureName.h>

#include <gtest/gtest.h>

namespace {

TEST(CaptureName, NamesVelrecWritesReadBackToTheirChannelAndConnection) {
  for (const char* channel : {"control", "waveform", "spectrum", "discovery"}) {
    for (int connection : {1, 2, 17}) {
      const auto name = tools::parseCaptureFileName(tools::captureFileName(channel, connection));
      ASSERT_TRUE(name) << channel << " " << connection;
      EXPECT_EQ(name->channel, channel);
      EXPECT_EQ(name->connection, connection);
    }
  }
  EXPECT_EQ(tools::captureFileName("waveform", 1), "waveform.bin");
  EXPECT_EQ(tools::captureFileName("control", 3), "control.3.bin");
}

TEST(CaptureName, AnythingElseIsNotACapture) {
  for (const char* file : {"", ".bin", "waveform", "waveform.wav", "audio.bin", "waveform..bin", "waveform.-1.bin",
                           "waveform.0.bin", "waveform.1x.bin", "waveform.1234567.bin", "control.2.3.bin",
                           "Waveform.bin", "xwaveform.bin"})
    EXPECT_FALSE(tools::parseCaptureFileName(file)) << file;
}

}  // namespace
