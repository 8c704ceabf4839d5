#include <veliface/record/JsonText.h>
#include <veliface/record/WavSidecar.h>

#include <RecordStreams.h>
#include <TempFiles.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace veliface::record;
using testsupport::TempDir;
namespace fs = std::filesystem;

namespace {

// Python's json module as the independent reader: prints the value at `expr` of the file.
std::string pythonReads(const fs::path& file, const std::string& expr) {
  return recordtest::run("python3 -c \"import json,sys; d=json.load(open(sys.argv[1], encoding='utf-8')); print(" +
                         expr + ")\" '" + file.string() + "' 2>&1");
}

}  // namespace

TEST(JsonText, AnyBytesMakeAValidJsonString) {
  EXPECT_EQ(jsonString("plain"), "\"plain\"");
  EXPECT_EQ(jsonString("a\"b\\c"), "\"a\\\"b\\\\c\"");
  EXPECT_EQ(jsonString(std::string("\n\t\x01\x7f", 4)), "\"\\u000a\\u0009\\u0001\\u007f\"");
  EXPECT_EQ(jsonString("Kiel F\xc3\xb6rde"), "\"Kiel F\xc3\xb6rde\"");  // UTF-8 stays
  EXPECT_EQ(jsonString("\xff"), "\"\xef\xbf\xbd\"");                    // a stray byte is U+FFFD
}

TEST(JsonText, TimesAreUtcWithMicroseconds) {
  EXPECT_EQ(isoTimeMicros(0), "1970-01-01T00:00:00.000000Z");
  EXPECT_EQ(isoTimeMicros(1764000000123456), "2025-11-24T16:00:00.123456Z");
  EXPECT_EQ(isoTimeMicros(-1), "1969-12-31T23:59:59.999999Z");
}

TEST(WavSidecar, IsReadByAnotherJsonReaderWithEveryFactInPlace) {
  TempDir tmp;
  WavFileFacts f;
  f.file = "x20261124_101500.wav";
  f.startMicros = 1795515300000021;
  f.startFromClock = true;
  f.sampleRate = 8000;
  f.channels = 4;
  f.bits = 24;
  f.frames = 24000;
  addGap(f.gaps, 1000, 500);
  addGap(f.gaps, 1500, 500);  // joins the one before
  addGap(f.gaps, 9000, 100);
  f.deviceType = 8;
  f.deviceTypeText = "Array Hub";
  f.members.push_back({1, 5, "Aurel HF", 1202, -176.5});
  f.sensitivityDb = -176.5;
  f.fullScaleVolts = 2.5;
  f.deployment = {{"site", "Kiel \"inner\" fjord\n"}, {"depth_m", "12"}};
  const fs::path wav = tmp.dir / f.file;
  std::string error;
  ASSERT_TRUE(writeSidecar(wav, f, error)) << error;
  const fs::path side = tmp.dir / "x20261124_101500.json";
  EXPECT_FALSE(fs::exists(side.string() + ".tmp"));
  EXPECT_EQ(pythonReads(side, "d['start_time'], d['frames'], d['gap_frames'], d['gaps']"),
            "2026-11-24T10:15:00.000021Z 24000 1100 [{'start_frame': 1000, 'frames': 1000}, "
            "{'start_frame': 9000, 'frames': 100}]\n");
  EXPECT_EQ(pythonReads(side, "repr(d['deployment']['site']), d['device']['members'][0]['serial'], "
                              "d['calibration']['sensitivity_db'], d['calibration']['sensitivity_unit']"),
            "'Kiel \"inner\" fjord\\n' 1202 -176.5 dB re 1 V/uPa\n");
}

TEST(WavSidecar, AnUnwritableDirectoryIsNamedWithTheReason) {
  WavFileFacts f;
  std::string error;
  EXPECT_FALSE(writeSidecar("/nonexistent-dir/x.wav", f, error));
  EXPECT_EQ(error, "/nonexistent-dir/x.json.tmp: No such file or directory");
}
