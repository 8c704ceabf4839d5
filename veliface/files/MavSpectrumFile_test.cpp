#include <veliface/files/MavSpectrumFile.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <iomanip>
#include <limits>
#include <memory>
#include <sstream>
#include <string>

namespace {

// 2000-02-29 01:02:03 UTC.
constexpr long long kStart = 951782400 + 3723;

MavSpectrumFileHeader header1024() {
  MavSpectrumFileHeader h;
  h.setFname("spec");
  h.setAuthor("Tidewells' Wren II");
  h.setComputerName("HOST");
  h.setUserName("USER");
  h.setClientName("CLIENT");
  h.setJobName("JOB");
  h.setPersonnel("PERSONNEL");
  h.setStartDt(kStart);
  h.setStartSample(4294967298ULL);
  h.setDevId(VelDeviceId(DEV_AUREL_HF, 1234));
  h.setFirmware("2.1");
  h.setSensitivity(-170.5f);
  h.setRefLevelVolts(10);
  h.setSampleRate(48000);
  h.setNumPts(1024);
  h.setNumPtsBtw(512);
  h.setPowerCalc(4);
  h.setAccums(8);
  return h;
}

const char* const kHeader1024 =
    "File Details:\n"
    "File Type\tSpectrum\n"
    "File Version\t5\n"
    "Start Date\t2000-02-29\n"
    "Start Time\t01:02:03\n"
    "Time Zone\tUTC\n"
    "Author\tTidewells' Wren II\n"
    "Computer\tHOST\n"
    "User\tUSER\n"
    "Client\tCLIENT\n"
    "Job\tJOB\n"
    "Personnel\tPERSONNEL\n"
    "Starting Sample\t4294967298\n"
    "\n"
    "Device Details:\n"
    "Device\tAurel HF\n"
    "S/N\t1234\n"
    "Firmware\t2.1\n"
    "\n"
    "Setup:\n"
    "dB Ref re 1V\t10\n"
    "dB Ref re 1uPa\t180\n"
    "Sample Rate [S/s]\t48000\n"
    "FFT Size\t1024\n"
    "Bin Width [Hz]\t46.875000\n"
    "Window Function\tHann\n"
    "Overlap [%]\t50.000000\n"
    "Power Calculation\tMean\n"
    "Accumulations\t8\n"
    "\n"
    "Data:\n"
    "Time\tComment\tTemperature\tHumidity\tSequence #\tData Points\t\n";

// numPts 0 stands for 1024 (size, bin width divisor and overlap); code 7 has no name.
const char* const kHeader0 =
    "File Details:\n"
    "File Type\tSpectrum\n"
    "File Version\t5\n"
    "Start Date\t1970-01-01\n"
    "Start Time\t00:00:00\n"
    "Time Zone\tUTC -3\n"
    "Author\t\n"
    "Computer\t\n"
    "User\t\n"
    "Client\t\n"
    "Job\t\n"
    "Personnel\t\n"
    "Starting Sample\t0\n"
    "\n"
    "Device Details:\n"
    "Device\tNo device\n"
    "S/N\t0\n"
    "Firmware\t\n"
    "\n"
    "Setup:\n"
    "dB Ref re 1V\t-3\n"
    "dB Ref re 1uPa\t-3\n"
    "Sample Rate [S/s]\t2048\n"
    "FFT Size\t1024\n"
    "Bin Width [Hz]\t2.000000\n"
    "Window Function\tHann\n"
    "Overlap [%]\t75.000000\n"
    "Power Calculation\tUnknown\n"
    "Accumulations\t0\n"
    "\n"
    "Data:\n"
    "Time\tComment\tTemperature\tHumidity\tSequence #\tData Points\t\n";

MavSpectrumFileHeader header0() {
  MavSpectrumFileHeader h;
  h.setTimeZone(-3);
  h.setRefLevelVolts(-3);
  h.setSampleRate(2048);
  h.setNumPts(0);
  h.setNumPtsBtw(256);
  h.setPowerCalc(7);
  return h;
}

std::wstring widen(const std::string& s) { return std::wstring(s.begin(), s.end()); }

MavSpectrumFileData dataLine(std::initializer_list<uint8> bins) {
  MavSpectrumFileData d;
  d.setDataTime(kStart);
  d.setComment("c");
  d.setTemperature(21.5f);
  d.setHumidity(40.25f);
  d.setSeqNum(77);
  std::shared_ptr<uint8[]> levels(new uint8[bins.size() + 1]);
  std::size_t i = 0;
  for (uint8 b : bins) levels[i++] = b;
  d.setSpectrum(levels, static_cast<int16_t>(bins.size()));
  return d;
}

}  // namespace

TEST(MavSpectrumFileHeader, PrintsThe32LinesNarrowAndWide) {
  const struct {
    MavSpectrumFileHeader header;
    const char* expected;
  } cases[] = {{header1024(), kHeader1024}, {header0(), kHeader0}};
  for (const auto& c : cases) {
    std::ostringstream narrow;
    narrow << c.header;
    EXPECT_EQ(narrow.str(), c.expected);
    std::wostringstream wide;
    wide << c.header;
    EXPECT_EQ(wide.str(), widen(c.expected));
    // The header leaves fixed notation with six decimals for what follows.
    EXPECT_EQ(narrow.precision(), 6);
    EXPECT_TRUE(narrow.flags() & std::ios_base::fixed);
  }
}

TEST(MavSpectrumFileHeader, ZoneTextAndDerivedValues) {
  MavSpectrumFileHeader h;
  const std::pair<int16_t, const char*> zones[] = {{0, "UTC"}, {-3, "UTC -3"}, {5, "UTC +5"}, {-12, "UTC -12"}};
  for (const auto& [zone, text] : zones) {
    h.setTimeZone(zone);
    EXPECT_EQ(h.strTimeZone(), text);
  }
  // Truncated toward zero in both directions.
  h.setRefLevelVolts(0);
  h.setSensitivity(-170.9f);
  EXPECT_EQ(h.refLeveluPa(), 170);
  h.setSensitivity(10.9f);
  EXPECT_EQ(h.refLeveluPa(), -10);
}

TEST(MavSpectrumFileHeader, DeserialiseReadsBackWhatWasWritten) {
  std::wostringstream text;
  text << header1024();
  MavSpectrumFileHeader back;
  ASSERT_TRUE(back.deserialise(text.str()));
  EXPECT_EQ(back.startDt(), kStart);
  EXPECT_EQ(back.startSample(), 4294967298ULL);
  EXPECT_EQ(back.devId().devType(), DEV_AUREL_HF);
  EXPECT_EQ(back.devId().serialNo(), 1234);
  EXPECT_EQ(back.firmware(), "2.1");
  EXPECT_EQ(back.author(), "Tidewells' Wren II");
  EXPECT_EQ(back.computerName(), "HOST");
  EXPECT_EQ(back.personnel(), "PERSONNEL");
  EXPECT_EQ(back.refLevelVolts(), 10);
  EXPECT_EQ(back.refLeveluPa(), 180);
  EXPECT_EQ(back.sampleRate(), 48000);
  EXPECT_EQ(back.numPts(), 1024);
  EXPECT_EQ(back.numPtsBtw(), 512);
  EXPECT_FLOAT_EQ(back.recordedBinWidth(), 46.875f);
  EXPECT_EQ(back.powerCalc(), 4);
  EXPECT_EQ(back.accums(), 8);
  EXPECT_EQ(back.timeZone(), 0);

  std::wostringstream zoned;
  zoned << header0();
  ASSERT_TRUE(back.deserialise(zoned.str()));
  EXPECT_EQ(back.timeZone(), -3);
  EXPECT_EQ(back.startDt(), 0);
}

// Reference levels at the ends of their ranges: the sensitivity is their exact difference
// and the level in uPa saturates instead of overflowing.
TEST(MavSpectrumFileHeader, ExtremeReferenceLevelsStayInRange) {
  MavSpectrumFileHeader back;
  EXPECT_TRUE(back.deserialise(L"dB Ref re 1V\t32767\ndB Ref re 1uPa\t-2147483648\n"));
  EXPECT_EQ(back.refLevelVolts(), 32767);
  EXPECT_FLOAT_EQ(back.sensitivity(), 2147516415.0f);
  EXPECT_EQ(back.refLeveluPa(), -2147483647 - 1);
  EXPECT_TRUE(back.deserialise(L"dB Ref re 1V\t-32768\ndB Ref re 1uPa\t2147483647\n"));
  EXPECT_EQ(back.refLeveluPa(), 2147483647);
  back.setSensitivity(std::numeric_limits<float>::quiet_NaN());
  EXPECT_EQ(back.refLeveluPa(), 0);
}

TEST(MavSpectrumFileHeader, DeserialiseRejectsABinWidthThatDisagreesWithTheSetup) {
  std::wostringstream text;
  text << header1024();
  std::wstring edited = text.str();
  const std::wstring from = L"Bin Width [Hz]\t46.875000";
  edited.replace(edited.find(from), from.size(), L"Bin Width [Hz]\t46.877000");
  LogCapture log;
  MavSpectrumFileHeader back;
  EXPECT_FALSE(back.deserialise(edited));
  EXPECT_EQ(log.lines(), std::vector<std::string>{"fabs(m_binWidth - binWidth()) > 1.e-3"});
  // Within a thousandth of a hertz it passes.
  edited.replace(edited.find(L"46.877000"), 9, L"46.875900");
  log.clear();
  EXPECT_TRUE(back.deserialise(edited));
  EXPECT_TRUE(log.lines().empty());
}

TEST(MavSpectrumFileData, DataLineColumns) {
  std::ostringstream os;
  os << dataLine({0, 9, 10, 255});
  EXPECT_EQ(os.str(), "01:02:03\tc\t21.5\t40.25\t77\t4\t0\t9\t10\t255\t\n");

  // Temperature and humidity follow the stream's float settings; the wide stream matches.
  std::wostringstream wide;
  wide << std::fixed << std::setprecision(2) << dataLine({1});
  EXPECT_EQ(wide.str(), L"01:02:03\tc\t21.50\t40.25\t77\t1\t1\t\n");

  // No bins: the line ends with the tab after the count.
  std::ostringstream empty;
  empty << dataLine({});
  EXPECT_EQ(empty.str(), "01:02:03\tc\t21.5\t40.25\t77\t0\t\n");
}

TEST(MavSpectrumFileData, IntegerColumnsHonourTheStreamsBase) {
  std::ostringstream hex;
  hex << std::hex << dataLine({10, 255});
  EXPECT_EQ(hex.str(), "01:02:03\tc\t21.5\t40.25\t4d\t2\ta\tff\t\n");
  std::wostringstream pos;
  pos << std::showpos << dataLine({7});
  EXPECT_EQ(pos.str(), L"01:02:03\tc\t+21.5\t+40.25\t+77\t+1\t7\t\n");
}

TEST(MavSpectrumFileData, DeserialiseReadsBackALine) {
  std::ostringstream os;
  os << std::fixed << std::setprecision(2) << dataLine({0, 200, 3});
  MavSpectrumFileData back;
  ASSERT_TRUE(back.deserialise(os.str(), static_cast<int>(kStart / 86400)));
  EXPECT_EQ(back.dataTime(), kStart);
  EXPECT_EQ(back.comment(), "c");
  EXPECT_FLOAT_EQ(back.temperature(), 21.5f);
  EXPECT_FLOAT_EQ(back.humidity(), 40.25f);
  EXPECT_EQ(back.seqNum(), 77);
  ASSERT_EQ(back.numBins(), 3);
  EXPECT_EQ(back.spectrum()[1], 200);

  ASSERT_TRUE(back.deserialise("00:00:05\t\t1\t2\t3\t0\t\n", 0));
  EXPECT_EQ(back.numBins(), 0);
  EXPECT_EQ(back.dataTime(), 5);

  const char* const bad[] = {
      "00:00:05\t\t1\t2\t3\t2\t1\t\n",      // fewer bins than counted
      "00:00:05\t\t1\t2\t3\t1\t256\t\n",    // a level beyond a byte
      "00:00:05\t\tx\t2\t3\t0\t\n",         // temperature not a number
      "00:00:05\t\t1\t2\t3\t1\t4",          // last column without its tab
      "",
  };
  for (const char* line : bad) EXPECT_FALSE(back.deserialise(line, 0)) << line;
  EXPECT_EQ(back.dataTime(), 5);  // unchanged by the failures
}
