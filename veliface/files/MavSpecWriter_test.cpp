#include <veliface/files/MavSpecWriter.h>

#include <LogCapture.h>
#include <TempFiles.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include <stdlib.h>

namespace fs = std::filesystem;
using testsupport::readFile;
using testsupport::TempDir;

namespace {

std::size_t count(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

MavSpectrumFileHeader header(long long t, const std::string& name) {
  MavSpectrumFileHeader h;
  h.setFname(name);
  h.setAuthor("A");
  h.setStartDt(t);
  h.setStartSample(5);
  h.setDevId(VelDeviceId(DEV_AUREL_AF, 42));
  h.setFirmware("1.0");
  h.setSensitivity(-170.0f);
  h.setRefLevelVolts(20);
  h.setSampleRate(1000);
  h.setNumPts(4);
  h.setNumPtsBtw(2);
  h.setPowerCalc(5);
  h.setAccums(1);
  return h;
}

MavSpectrumFileData data(long long t, int32_t seq, std::initializer_list<uint8> bins) {
  MavSpectrumFileData d;
  d.setDataTime(t);
  d.setTemperature(21.5f);
  d.setHumidity(40.25f);
  d.setSeqNum(seq);
  std::shared_ptr<uint8[]> levels(new uint8[bins.size() + 1]);
  std::size_t i = 0;
  for (uint8 b : bins) levels[i++] = b;
  d.setSpectrum(levels, static_cast<int16_t>(bins.size()));
  return d;
}

const char* const kFile =
    "File Details:\n"
    "File Type\tSpectrum\n"
    "File Version\t5\n"
    "Start Date\t1970-01-01\n"
    "Start Time\t00:00:01\n"
    "Time Zone\tUTC\n"
    "Author\tA\n"
    "Computer\t\n"
    "User\t\n"
    "Client\t\n"
    "Job\t\n"
    "Personnel\t\n"
    "Starting Sample\t5\n"
    "\n"
    "Device Details:\n"
    "Device\tAurel AF\n"
    "S/N\t42\n"
    "Firmware\t1.0\n"
    "\n"
    "Setup:\n"
    "dB Ref re 1V\t20\n"
    "dB Ref re 1uPa\t190\n"
    "Sample Rate [S/s]\t1000\n"
    "FFT Size\t4\n"
    "Bin Width [Hz]\t250.000000\n"
    "Window Function\tHann\n"
    "Overlap [%]\t50.000000\n"
    "Power Calculation\tPeak\n"
    "Accumulations\t1\n"
    "\n"
    "Data:\n"
    "Time\tComment\tTemperature\tHumidity\tSequence #\tData Points\t\n"
    // The frequency line keeps the header's fixed notation with two decimals, and so do the
    // temperature and humidity columns after it.
    "0.00\t250.00\t500.00\t\n"
    "00:00:01\t\t21.50\t40.25\t7\t3\t1\t2\t3\t\n"
    "00:00:01\t\t21.50\t40.25\t8\t3\t0\t0\t255\t\n";

}  // namespace

TEST(MavSpecWriter, WritesHeaderFrequencyLineAndDataLines) {
  TempDir tmp;
  LogCapture log;
  {
    MavSpecWriter w(60, tmp.dir.wstring());
    MavSpectrumFileHeader h = header(1, "spec");
    MavSpectrumFileData d1 = data(1, 7, {1, 2, 3});
    MavSpectrumFileData d2 = data(1, 8, {0, 0, 255});
    EXPECT_TRUE(w.feed(h));
    EXPECT_EQ(w.outputFileName(), L"spec.txt");
    EXPECT_TRUE(w.feed(d1));
    EXPECT_TRUE(w.feed(d2));
    EXPECT_EQ(w.numRecs(), 2);
    EXPECT_EQ(w.currLenSecs(), 0);
    w.finishFile();
    EXPECT_TRUE(w.isInitFile());
  }
  EXPECT_EQ(readFile(tmp.dir / "spec.txt"), kFile);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"closing spectrum file"});
}

TEST(MavSpecWriter, AnEmptyDirectoryMeansTheRootNotTheWorkingDirectory) {
  TempDir tmp;
  std::filesystem::create_directories(tmp.dir / "veliface_not_at_the_root");
  testsupport::WorkingDir here(tmp.dir);
  MavSpecWriter w(60, L"");
  MavSpectrumFileHeader h = header(1, "veliface_not_at_the_root/x");
  w.feed(h);
  EXPECT_EQ(w.errorCode(), 1);
  EXPECT_FALSE(std::filesystem::exists(tmp.dir / "veliface_not_at_the_root" / "x.txt"));
}

TEST(MavSpecWriter, RestartUnderTheSameNameAppendsASecondHeaderBlock) {
  TempDir tmp;
  MavSpectrumFileHeader h = header(1, "spec");
  MavSpectrumFileData d = data(1, 7, {1, 2, 3});
  for (int run = 0; run < 2; ++run) {
    MavSpecWriter w(60, tmp.dir.wstring());
    w.feed(h);
    w.feed(d);
  }
  const std::string text = readFile(tmp.dir / "spec.txt");
  EXPECT_EQ(count(text, "File Details:\n"), 2u);
  EXPECT_EQ(text.substr(0, std::string(kFile).rfind("00:00:01\t\t21.50\t40.25\t8")),
            std::string(kFile).substr(0, std::string(kFile).rfind("00:00:01\t\t21.50\t40.25\t8")));
  EXPECT_EQ(count(text, "0.00\t250.00\t500.00\t\n"), 2u);
}

TEST(MavSpecWriter, RollsOverOnClockBoundariesAndOnSetupChanges) {
  TempDir tmp;
  MavSpecWriter w(2, tmp.dir.wstring());
  MavSpectrumFileData d = data(1, 7, {1});
  // Seconds 1..5 with period 2: files start at 1 (first header), 2 and 4.
  for (long long t = 1; t <= 5; ++t) {
    MavSpectrumFileHeader h = header(t, "s" + std::to_string(t));
    EXPECT_TRUE(w.feed(h));
    EXPECT_TRUE(w.feed(d));
  }
  EXPECT_EQ(w.outputFileName(), L"s4.txt");
  EXPECT_EQ(w.numRecs(), 2);
  for (const char* name : {"s1.txt", "s2.txt", "s4.txt"}) {
    EXPECT_EQ(count(readFile(tmp.dir / name), "File Details:"), 1u) << name;
  }
  EXPECT_FALSE(fs::exists(tmp.dir / "s3.txt"));
  EXPECT_EQ(count(readFile(tmp.dir / "s2.txt"), "\t1\t1\t\n"), 2u);

  // Only the power calculation differs: the file is finished. The new values are already in
  // the current header, and the record after the change is taken by the finish.
  MavSpectrumFileHeader peak = header(5, "s5");
  MavSpectrumFileHeader mean = header(5, "s5");
  mean.setPowerCalc(4);
  EXPECT_FALSE(w.isSetupChanged(&peak));
  EXPECT_TRUE(w.isSetupChanged(&mean));
  EXPECT_TRUE(w.feed(mean));
  EXPECT_TRUE(w.isFinishFile());
  EXPECT_EQ(w.header().powerCalc(), 4);
  EXPECT_TRUE(w.feed(d));
  EXPECT_TRUE(w.isInitFile());
  EXPECT_FALSE(w.isOpen());
}

TEST(MavSpecWriter, UnwritableDirectorySetsErrorOne) {
  MavSpecWriter w(60, L"/nonexistent/dir");
  MavSpectrumFileHeader h = header(1, "spec");
  MavSpectrumFileData d = data(1, 7, {1});
  w.feed(h);
  EXPECT_EQ(w.errorCode(), 1);
  EXPECT_FALSE(w.isOpen());
  EXPECT_TRUE(w.feed(d));  // taken and dropped: there is no file
}
