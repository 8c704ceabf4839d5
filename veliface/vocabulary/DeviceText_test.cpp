#include <veliface/vocabulary/DeviceText.h>

#include <gtest/gtest.h>

namespace veliface {
namespace {

TEST(DeviceText, EscapesWhatWouldTakeOverATerminalOrForgeALine) {
  EXPECT_EQ(escapeDeviceText("v1.2 \x1b[2J\a"), "v1.2 \\x1B[2J\\x07");
  EXPECT_EQ(escapeDeviceText("ok\nvelrec: wrote /etc/passwd"), "ok\\x0Avelrec: wrote /etc/passwd");
  // A backslash is doubled, so an escaped text cannot be mistaken for a device's "\x1B".
  EXPECT_EQ(escapeDeviceText("a\\x1B"), "a\\\\x1B");
  EXPECT_EQ(escapeDeviceText(std::string("\x7F\x00", 2)), "\\x7F\\x00");
  // Bytes above 0x7F (UTF-8 text) pass through.
  EXPECT_EQ(escapeDeviceText("Zo\xC3\xAB"), "Zo\xC3\xAB");
}

TEST(DeviceText, FileTextStaysOnOneLine) {
  EXPECT_EQ(cleanDeviceText("model\r\nX\tY\x1b"), "model??X?Y?");
  EXPECT_EQ(cleanDeviceText("Aurel HF"), "Aurel HF");
}

}  // namespace
}  // namespace veliface
