#include "SpectrogramFile.h"
#include "SpectrumFile.h"
#include "WavFile.h"

#include <veliface/veliface.h>

#include <gtest/gtest.h>

#include "LogCapture.h"
#include <TempFiles.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using testsupport::readFile;

struct TempDir : testsupport::TempDir {
  TempDir() : testsupport::TempDir("veldump-spec") {}
};

// 2023-11-14 23:59:50 UTC: close enough to midnight that a recording crosses it.
constexpr int64 kStart = 1700006390;

MavSpectrumFileHeader header(int64 start) {
  MavSpectrumFileHeader h;
  h.setFname("spec");
  h.setDevId(VelDeviceId(DEV_AUREL_HF, 4321));
  h.setFirmware("3.1");
  h.setSensitivity(-170.0f);
  h.setRefLevelVolts(-20);
  h.setSampleRate(8000);
  h.setNumPts(256);
  h.setNumPtsBtw(64);
  h.setPowerCalc(5);
  h.setAccums(3);
  h.setStartDt(start);
  h.setStartSample(777);
  h.setRecordedBinWidth(h.binWidth());
  return h;
}

// Writes one header block and a spectrum per entry of `levels` through the library's
// writer, spectrum i at `start` + 5 i seconds with sequence number 100 + i.
void record(const fs::path& dir, int64 start, const std::vector<std::vector<uint8>>& levels) {
  LogCapture quiet;  // the writer reports the file it closes
  MavSpecWriter writer(3600, dir.wstring());
  MavSpectrumFileHeader h = header(start);
  EXPECT_TRUE(writer.feed(h));
  for (std::size_t i = 0; i < levels.size(); ++i) {
    std::shared_ptr<uint8[]> bins(new uint8[levels[i].size() + 1]);
    std::copy(levels[i].begin(), levels[i].end(), bins.get());
    MavSpectrumFileData d;
    d.setSpectrum(bins, static_cast<int16_t>(levels[i].size()));
    d.setDataTime(start + 5 * static_cast<int64>(i));
    d.setSeqNum(100 + static_cast<int32_t>(i));
    EXPECT_TRUE(writer.feed(d));
  }
  writer.finishFile();
}

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(SpectrumFile, SummaryReadsBackWhatTheWriterWroteAcrossMidnight) {
  TempDir tmp;
  // Four spectra of four bins; bin 2 is loudest on average (mean 75), the whole mean is 695 / 16.
  record(tmp.dir, kStart, {{10, 20, 60, 0}, {30, 40, 90, 5}, {50, 60, 70, 15}, {70, 80, 80, 15}});
  const auto s = veldump::readSpectrumFile((tmp.dir / "spec.txt").string());
  ASSERT_TRUE(s.readable()) << s.error;
  ASSERT_EQ(s.blocks.size(), 1u);
  const auto& b = s.blocks[0];
  EXPECT_EQ(b.line, 1u);
  EXPECT_EQ(b.header.devId().serialNo(), 4321);
  EXPECT_EQ(b.header.devId().devType(), DEV_AUREL_HF);
  EXPECT_EQ(b.header.firmware(), "3.1");
  EXPECT_EQ(b.header.sampleRate(), 8000);
  EXPECT_EQ(b.header.fftSize(), 256);
  EXPECT_FLOAT_EQ(b.header.recordedBinWidth(), 31.25f);
  EXPECT_EQ(b.header.startDt(), kStart);
  EXPECT_TRUE(b.haveFrequencies);
  EXPECT_EQ(b.frequencyBins, 4u);
  EXPECT_DOUBLE_EQ(b.startFrequency, 0.0);
  EXPECT_NEAR(b.endFrequency, 93.75, 0.01);
  EXPECT_EQ(b.spectra, 4u);
  EXPECT_EQ(s.spectra, 4u);
  // The last two spectra fall after midnight: their time of day is smaller than the start's.
  EXPECT_EQ(s.firstTime, kStart);
  EXPECT_EQ(s.lastTime, kStart + 15);
  EXPECT_EQ(s.firstSeq, 100);
  EXPECT_EQ(s.lastSeq, 103);
  EXPECT_EQ(s.minLevel, 0);
  EXPECT_EQ(s.maxLevel, 90);
  EXPECT_DOUBLE_EQ(s.meanLevel, 695.0 / 16);
  EXPECT_EQ(s.loudestBin(), 2u);
  EXPECT_TRUE(s.malformed.empty());

  std::ostringstream text;
  EXPECT_EQ(veldump::printSpectrumReport(s, false, text), veldump::EXIT_OK);
  for (const char* part : {"Aurel HF S/N 4321, firmware 3.1", "8000 S/s, 256 points, bin width 31.250000 Hz",
                           "overlap 75.0 %, Peak, 3 accumulations", "-20 dB re 1V, 150 dB re 1uPa",
                           "4 bins, 0.00 to 93.75 Hz", "time: 2023-11-14 23:59:50 to 2023-11-15 00:00:05 (15 s)",
                           "min 0, max 90, mean 43.4", "loudest bin: 2 (62.50 Hz), mean level 75.0", "\nOK\n"})
    EXPECT_TRUE(has(text.str(), part)) << part << "\n" << text.str();
  std::ostringstream json;
  EXPECT_EQ(veldump::printSpectrumReport(s, true, json), veldump::EXIT_OK);
  for (const char* part : {"{\"spectra\":4,", "\"serial\":4321", "\"fftSize\":256", "\"malformed\":[],\"ok\":true}\n"})
    EXPECT_TRUE(has(json.str(), part)) << part << "\n" << json.str();
}

TEST(SpectrumFile, ARestartedRecordingIsReadAsTwoHeaderBlocks) {
  TempDir tmp;
  record(tmp.dir, kStart, {{1, 2}, {3, 4}});
  record(tmp.dir, kStart + 100, {{5, 6, 7}});
  const auto s = veldump::readSpectrumFile((tmp.dir / "spec.txt").string());
  ASSERT_TRUE(s.readable()) << s.error;
  ASSERT_EQ(s.blocks.size(), 2u);
  EXPECT_EQ(s.blocks[0].spectra, 2u);
  EXPECT_EQ(s.blocks[1].spectra, 1u);
  // 32 header lines, a frequency line and two data lines come before the second block.
  EXPECT_EQ(s.blocks[1].line, 36u);
  EXPECT_EQ(s.blocks[1].header.startDt(), kStart + 100);
  EXPECT_EQ(s.lastTime, kStart + 100);
  EXPECT_EQ(s.minBins, 2u);
  EXPECT_EQ(s.maxBins, 3u);
  EXPECT_TRUE(s.malformed.empty());
}

TEST(SpectrumFile, UnreadableInputIsAnErrorNotACrash) {
  TempDir tmp;
  record(tmp.dir, kStart, {{1, 2}});
  const std::string good = readFile(tmp.dir / "spec.txt");
  const struct {
    const char* name;
    std::string bytes;
    const char* error;
  } cases[] = {
      {"empty", "", "empty file"},
      {"wav", std::string("RIFF\x24\0\0\0WAVEfmt ", 16), "not a spectrum file"},
      {"other text", "File Details:\nFile Type\tWaveform\nData:\n", "not a spectrum file"},
      {"endless header", "File Details:\n" + std::string(100, '\n'), "no \"Data:\" line"},
      {"cut in the header", good.substr(0, 200), "truncated"},
  };
  for (const auto& c : cases) {
    std::istringstream in(c.bytes);
    const auto s = veldump::readSpectrumFile(in);
    EXPECT_TRUE(has(s.error, c.error)) << c.name << ": " << s.error;
    std::ostringstream out;
    EXPECT_EQ(veldump::printSpectrumReport(s, false, out), veldump::EXIT_UNREADABLE) << c.name;
  }
  EXPECT_TRUE(has(veldump::readSpectrumFile((tmp.dir / "none.txt").string()).error, "cannot open"));
  EXPECT_TRUE(has(veldump::readSpectrumFile(tmp.dir.string()).error, "cannot open"));
}

TEST(SpectrumFile, MalformedLinesAreListedByNumberAndTheRestIsRead) {
  TempDir tmp;
  record(tmp.dir, kStart, {{1, 2}, {3, 4}, {5, 6}});
  std::string text = readFile(tmp.dir / "spec.txt");
  // Lines 34..36 are the spectra. Break the second (a level out of byte range), then cut
  // the last one short, and spoil the recorded bin width in the header (line 25). Damage
  // the firmware text (line 18) too: that is no malformed line, but it must read as damaged.
  std::vector<std::string> lines;
  std::istringstream split(text);
  for (std::string l; std::getline(split, l);) lines.push_back(l);
  ASSERT_EQ(lines.size(), 36u);
  ASSERT_EQ(lines[17], "Firmware\t3.1");
  lines[17] = "Firmware\t3.\xFF\xE2\x82";
  ASSERT_EQ(lines[24], "Bin Width [Hz]\t31.250000");
  lines[24] = "Bin Width [Hz]\t32.000000";
  lines[34] = "23:59:55\t\t0.00\t0.00\t101\t2\t3\t999\t";
  std::string joined;
  for (const auto& l : lines) joined += l + "\n";
  joined.resize(joined.size() - 4);  // the last line loses its final bin, tab and line end
  std::istringstream in(joined);
  const auto s = veldump::readSpectrumFile(in);
  ASSERT_TRUE(s.readable()) << s.error;
  EXPECT_EQ(s.spectra, 1u);
  ASSERT_EQ(s.malformed.size(), 3u);
  EXPECT_EQ(s.malformed[0].line, 31u);
  EXPECT_EQ(s.malformed[0].why, "header: fabs(m_binWidth - binWidth()) > 1.e-3");
  EXPECT_EQ(s.malformed[1].line, 35u);
  EXPECT_EQ(s.malformed[1].why, "not a data line");
  EXPECT_EQ(s.malformed[2].line, 36u);
  EXPECT_EQ(s.malformed[2].why, "cut off before its line end");
  // Each byte outside a valid sequence, even one that starts a sequence cut short, becomes U+FFFD.
  ASSERT_EQ(s.blocks.size(), 1u);
  EXPECT_EQ(s.blocks[0].header.firmware(), "3.\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  std::ostringstream out;
  EXPECT_EQ(veldump::printSpectrumReport(s, false, out), veldump::EXIT_PROBLEM);
  EXPECT_TRUE(has(out.str(), "malformed: line 35: not a data line")) << out.str();
  EXPECT_TRUE(has(out.str(), "NOT OK (3 malformed line(s))")) << out.str();
}

TEST(Spectrogram, ReducerAveragesSpectraIntoColumnsAndBinsIntoRows) {
  // Ten spectra of six bins, level 10 i + b, into four columns of three rows: spectra
  // {0,1,2} {3,4} {5,6,7} {8,9}, bins {0,1} {2,3} {4,5}.
  veldump::SpectrumReducer r(10, 6, 4, 3);
  for (int i = 0; i < 10; ++i) {
    uint8_t levels[6];
    for (int b = 0; b < 6; ++b) levels[b] = static_cast<uint8_t>(10 * i + b);
    r.add(levels, 6);
  }
  ASSERT_EQ(r.columns(), 4u);
  ASSERT_EQ(r.rows(), 3u);
  const std::vector<std::vector<uint8_t>> expected = {{11, 13, 15}, {36, 38, 40}, {61, 63, 65}, {86, 88, 90}};
  EXPECT_EQ(r.result(), expected);
  // Short files are not enlarged here, and a shorter spectrum gives a shorter column.
  veldump::SpectrumReducer small(2, 3, 4096, 1024);
  const uint8_t a[3] = {1, 2, 3};
  small.add(a, 3);
  small.add(a, 1);
  EXPECT_EQ(small.result(), (std::vector<std::vector<uint8_t>>{{1, 2, 3}, {1}}));
}

TEST(Spectrogram, AFixedLevelRangeClampsTheColourScale) {
  const veldump::LevelRange range{50.0, 150.0};
  const veldump::Image img = veldump::renderSpectrogram({{10, 100, 250}}, 1, 3, range);
  auto at = [&](unsigned y) { return std::array<uint8_t, 3>{img.rgb[y * 3], img.rgb[y * 3 + 1], img.rgb[y * 3 + 2]}; };
  EXPECT_EQ(at(2), veldump::levelColour(0.0));  // bin 0, below the range
  EXPECT_EQ(at(1), veldump::levelColour(0.5));
  EXPECT_EQ(at(0), veldump::levelColour(1.0));  // above the range
}

TEST(Spectrogram, DrawsALongFileDownsampledAndRefusesAnEmptyOne) {
  TempDir tmp;
  std::vector<std::vector<uint8>> levels(300, std::vector<uint8>{1, 2, 3});
  record(tmp.dir, kStart, levels);
  veldump::SpectrogramOptions opt;
  opt.maxColumns = 100;
  std::ostringstream out;
  std::ostringstream err;
  const std::string input = (tmp.dir / "spec.txt").string();
  ASSERT_EQ(veldump::drawSpectrogram(input, opt, out, err), veldump::EXIT_OK) << err.str();
  const std::string png = (tmp.dir / "spec.png").string();
  EXPECT_EQ(veldump::defaultPngPath(input), png);
  // 100 columns drawn six pixels wide to reach 512; 3 rows, 86 pixels high to reach 256.
  EXPECT_TRUE(has(out.str(), "wrote " + png + ": 600 x 258 pixels")) << out.str();
  EXPECT_TRUE(has(out.str(), "downsampled: 300 spectra averaged into 100 columns")) << out.str();
  const std::string bytes = readFile(png);
  ASSERT_GE(bytes.size(), 24u);
  EXPECT_EQ(bytes.substr(16, 8), std::string("\0\0\x02\x58\0\0\x01\x02", 8));

  // A header and no spectra: nothing to draw.
  fs::create_directory(tmp.dir / "empty");
  record(tmp.dir / "empty", kStart, {});
  err.str("");
  EXPECT_EQ(veldump::drawSpectrogram((tmp.dir / "empty" / "spec.txt").string(), opt, out, err),
            veldump::EXIT_UNREADABLE);
  EXPECT_TRUE(has(err.str(), "no spectra to draw")) << err.str();
  opt.range = {120.0, 20.0};
  err.str("");
  EXPECT_EQ(veldump::drawSpectrogram(input, opt, out, err), veldump::EXIT_USAGE);
  EXPECT_TRUE(has(err.str(), "--max must be above --min")) << err.str();
}

}  // namespace
