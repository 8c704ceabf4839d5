#include "WavFile.h"

#include <veliface/veliface.h>

#include <gtest/gtest.h>

#include "LogCapture.h"
#include <TempFiles.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <tuple>

namespace fs = std::filesystem;

namespace {

using testsupport::readFile;

struct TempDir : testsupport::TempDir {
  TempDir() : testsupport::TempDir("veldump-wav") {}
};

void spit(const fs::path& p, const std::string& bytes) {
  std::ofstream(p, std::ios::binary | std::ios::trunc) << bytes;
}

void put32(std::string& bytes, std::size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) bytes[at + static_cast<std::size_t>(i)] = static_cast<char>(v >> (8 * i));
}

// A finished 24-bit recording of 200 frames written by the library's writer: serial 7,
// 1000 Hz, one channel with the one-sensor record or several with the array record (hub 7,
// members 8, 9, ...); returns its bytes.
std::string recordWav(const fs::path& dir, unsigned channels = 1, const std::string& creator = "velrec") {
  LogCapture quiet;  // the writer reports each file it closes
  {
    MavWavWriter writer(60, dir.wstring());
    std::unique_ptr<MavWavInfoData> info;
    if (channels == 1) {
      info = std::make_unique<MavWavInfoDataHF>();
      info->setDeviceType(DEV_AUREL_HF, 0);
    } else {
      info = std::make_unique<MavWavInfoDataHCI>(static_cast<unsigned char>(channels));
      info->setNumChannels(static_cast<unsigned char>(channels));
      info->setDeviceType(DEV_ARRAY_HUB, 0);
      for (unsigned c = 1; c <= channels; ++c) {
        info->setDeviceType(DEV_AUREL_HF, static_cast<unsigned char>(c));
        info->setSerialNo(static_cast<unsigned short>(7 + c), static_cast<unsigned char>(c));
        info->setSensitivity(static_cast<short>(-170 - static_cast<int>(c)), static_cast<unsigned char>(c));
      }
      info->setVoltsPk(2.0f);
    }
    info->setSerialNo(7, 0);
    info->setCreator(creator);
    info->setMaxCount(8388607);
    info->setTime(1700000001);
    info->setSeqNum(42);
    info->setFilename("rec");
    MavWavSetupData setup;
    setup.setSampleRate(1000);
    setup.setBitDepth(24);
    EXPECT_TRUE(writer.feed(*info));
    EXPECT_TRUE(writer.feed(setup));
    std::vector<uint8_t> samples(300 * channels);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<uint8_t>(i);
    for (uint32_t n = 0; n < 200; n += 100) {
      MavWavDataChunk block;
      block.setSampleNum(n);
      block.setNumChannels(static_cast<uint8_t>(channels));
      block.setBitDepth(24);
      block.setNumSamples(100);
      block.setData(samples.data());
      EXPECT_TRUE(writer.feed(block));
    }
    writer.setStopLogging(true);
    writer.finishFile();
  }
  return readFile(dir / "rec.wav");
}

std::size_t dataOffset(const std::string& wav) { return wav.find("data", 12) + 8; }

TEST(Wav, AFinishedRecordingIsReportedWithItsMetadataAndPasses) {
  TempDir tmp;
  const std::string wav = recordWav(tmp.dir);
  const auto w = veldump::inspectWav((tmp.dir / "rec.wav").string());
  ASSERT_TRUE(w.readable()) << w.error;
  EXPECT_EQ(w.dataOffset, dataOffset(wav));
  EXPECT_EQ(w.header->dataSize(), 600u);
  std::ostringstream out;
  EXPECT_EQ(veldump::printWavReport(w, out), veldump::EXIT_OK) << out.str();
  const std::string report = out.str();
  for (const char* expected :
       {"format: 1 channel(s), 1000 Hz, 24 bits, block align 3, 3000 bytes/s", "duration: 0.200 s",
        "serial: 7", "device: Aurel HF", "sensitivity: -176 dBV re 1uPa", "full scale: 3 V pk",
        "max count: 8388607", "sequence number: 42", "creator: velrec", "name: rec", "\nOK\n"})
    EXPECT_NE(report.find(expected), std::string::npos) << expected << "\n" << report;
}

// The array record of a file of several channels is read back by the library as a one-sensor
// record (device, sequence number and calibration lost), so its texts are shown as they stand.
// Its sub-chunks are not padded: an odd-length creator must not shift the ones after it.
TEST(Wav, AMultiChannelFileShowsItsArrayRecord) {
  TempDir tmp;
  recordWav(tmp.dir, 3, "velrec\x1b[2J");
  const auto w = veldump::inspectWav((tmp.dir / "rec.wav").string());
  ASSERT_TRUE(w.readable()) << w.error;
  std::ostringstream out;
  EXPECT_EQ(veldump::printWavReport(w, out), veldump::EXIT_OK) << out.str();
  const std::string report = out.str();
  for (const char* expected :
       {"format: 3 channel(s), 1000 Hz, 24 bits, block align 9", "metadata: array record, 3 channels\n",
        "devices: HCI #7,Aurel HF #8,Aurel HF #9,Aurel HF #10\n",
        "calibration: Vpk=2.000000;V re 1uPa=-171,-172,-173;", ";Seq # =42\n",
        "created: 2023-11-14T22:13:21+00\n", "creator: velrec\\x1B[2J\n", "\nOK\n"})
    EXPECT_NE(report.find(expected), std::string::npos) << expected << "\n" << report;
  EXPECT_EQ(report.find("Unsupported device"), std::string::npos) << report;
}

TEST(Wav, ZeroStaleAndMisalignedSizesAreProblems) {
  TempDir tmp;
  const std::string good = recordWav(tmp.dir);
  const std::size_t off = dataOffset(good);
  struct Case {
    uint32_t riff, data;
    std::string tail;
    const char* problem;
  } cases[] = {
      {0, 0, "", "RIFF size is 0 (file never finished)"},
      {static_cast<uint32_t>(off - 8 + 300), 300, "", "data size 300 is stale: file gives 600"},
      {static_cast<uint32_t>(off - 8 + 900), 900, "", "data size 900 exceeds the file"},
      {static_cast<uint32_t>(off - 8 + 599), 599, "", "data size 599 is not a multiple of block align 3"},
      {static_cast<uint32_t>(off - 8 + 600), 600, "xy", "a partial block of 2 bytes"},
  };
  for (const Case& c : cases) {
    std::string bad = good + c.tail;
    put32(bad, 4, c.riff);
    put32(bad, off - 4, c.data);
    spit(tmp.dir / "bad.wav", bad);
    std::ostringstream out;
    EXPECT_EQ(veldump::printWavReport(veldump::inspectWav((tmp.dir / "bad.wav").string()), out),
              veldump::EXIT_PROBLEM);
    EXPECT_NE(out.str().find(c.problem), std::string::npos) << c.problem << "\n" << out.str();
    EXPECT_NE(out.str().find("NOT OK"), std::string::npos);
  }
}

TEST(Wav, RepairRestoresTheFinishedFileByteForByte) {
  TempDir tmp;
  const std::string good = recordWav(tmp.dir);
  const std::size_t off = dataOffset(good);
  const fs::path cut = tmp.dir / "cut.wav";

  // Sizes zeroed by power loss, plus a partial sample that was half written.
  std::string bad = good + "\x01\x02";
  put32(bad, 4, 0);
  put32(bad, off - 4, 0);
  spit(cut, bad);
  std::ostringstream out;
  ASSERT_EQ(veldump::repairWav(cut.string(), "", out), veldump::EXIT_OK) << out.str();
  EXPECT_EQ(readFile(cut), good);  // INFO, fmt and samples untouched, sizes as the writer sets them
  EXPECT_NE(out.str().find("RIFF size: 0 -> " + std::to_string(good.size() - 8)), std::string::npos) << out.str();
  EXPECT_NE(out.str().find("data size: 0 -> 600"), std::string::npos);
  EXPECT_NE(out.str().find("dropped 2 bytes"), std::string::npos);
  std::ostringstream check;
  EXPECT_EQ(veldump::printWavReport(veldump::inspectWav(cut.string()), check), veldump::EXIT_OK) << check.str();
  // No temporary file is left behind.
  EXPECT_EQ(std::distance(fs::directory_iterator(tmp.dir), {}), 2);

  // With --output the input stays as it was; a stale size is rewritten too.
  put32(bad, 4, 100);
  spit(cut, bad);
  std::ostringstream out2;
  ASSERT_EQ(veldump::repairWav(cut.string(), (tmp.dir / "fixed.wav").string(), out2), veldump::EXIT_OK);
  EXPECT_EQ(readFile(cut), bad);
  EXPECT_EQ(readFile(tmp.dir / "fixed.wav"), good);

  // A right file is left alone.
  const auto before = fs::last_write_time(tmp.dir / "fixed.wav");
  std::ostringstream out3;
  EXPECT_EQ(veldump::repairWav((tmp.dir / "fixed.wav").string(), "", out3), veldump::EXIT_OK);
  EXPECT_NE(out3.str().find("nothing changed"), std::string::npos);
  EXPECT_EQ(fs::last_write_time(tmp.dir / "fixed.wav"), before);
}

// A chunk: identifier, size, body and the pad byte an odd body needs.
std::string chunk(const char* id, const std::string& body) {
  std::string c = id;
  c += std::string(4, '\0');
  put32(c, 4, static_cast<uint32_t>(body.size()));
  c += body;
  if (body.size() % 2) c += '\0';
  return c;
}

// `good` with its fmt chunk moved behind its data chunk, sizes kept right.
std::string dataBeforeFmt(const std::string& good) {
  const std::size_t fmtAt = good.find("fmt ", 12), dataAt = good.find("data", 12);
  std::string out = good.substr(0, fmtAt) + good.substr(dataAt) + good.substr(fmtAt, dataAt - fmtAt);
  return out;
}

TEST(Wav, RepairLeavesEveryValidFileByteForByte) {
  TempDir tmp;
  const std::string good = recordWav(tmp.dir);
  std::vector<std::string> valid;
  for (const std::string& tail : {chunk("LIST", std::string("INFOICMT\x04\0\0\0note", 16)), chunk("id3 ", "abc")}) {
    std::string v = good + tail;  // a chunk after the samples: an odd one carries its pad byte
    put32(v, 4, static_cast<uint32_t>(v.size() - 8));
    valid.push_back(v);
  }
  valid.push_back(dataBeforeFmt(good));
  for (std::size_t i = 0; i < valid.size(); ++i) {
    const fs::path f = tmp.dir / ("valid" + std::to_string(i) + ".wav");
    spit(f, valid[i]);
    std::ostringstream out;
    EXPECT_EQ(veldump::repairWav(f.string(), "", out), veldump::EXIT_OK) << out.str();
    EXPECT_NE(out.str().find("nothing changed"), std::string::npos) << out.str();
    EXPECT_EQ(readFile(f), valid[i]) << i;
  }
}

TEST(Wav, RepairRefusesWhatItCouldOnlyMakeWorse) {
  TempDir tmp;
  const std::string good = recordWav(tmp.dir);
  const std::size_t off = dataOffset(good);
  std::string cut = good;  // a cut recording, sizes never written
  put32(cut, 4, 0);
  put32(cut, off - 4, 0);

  // Its fmt chunk behind the samples: nothing to take the block size from.
  std::string late = dataBeforeFmt(good);
  put32(late, 4, 0);
  put32(late, late.find("data", 12) + 4, 0);
  // A block align larger than all the samples: sizes from it would drop every one.
  std::string wide = cut;
  const std::size_t fmtAt = wide.find("fmt ", 12);
  put32(wide, fmtAt + 20, 4096u | (24u << 16));  // block align 4096, 24 bits
  for (const auto& [name, bytes, why] : {std::tuple{"late.wav", late, "no fmt chunk before the data chunk"},
                                         std::tuple{"wide.wav", wide, "block align 4096"}}) {
    const fs::path f = tmp.dir / name;
    spit(f, bytes);
    std::ostringstream out;
    EXPECT_EQ(veldump::repairWav(f.string(), "", out), veldump::EXIT_PROBLEM) << out.str();
    EXPECT_NE(out.str().find(why), std::string::npos) << out.str();
    EXPECT_EQ(readFile(f), bytes) << name;
  }

  // A file whose lock another program holds: not touched, and repaired once it is free.
  const fs::path busy = tmp.dir / "busy.wav";
  spit(busy, cut);
  const int fd = ::open(busy.c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::flock(fd, LOCK_EX), 0);
  std::ostringstream out;
  EXPECT_EQ(veldump::repairWav(busy.string(), "", out), veldump::EXIT_PROBLEM);
  EXPECT_NE(out.str().find("is being written by another program"), std::string::npos) << out.str();
  EXPECT_EQ(readFile(busy), cut);
  ::close(fd);
  std::ostringstream after;
  EXPECT_EQ(veldump::repairWav(busy.string(), "", after), veldump::EXIT_OK) << after.str();
  EXPECT_EQ(readFile(busy), good);
}

TEST(Wav, TheWritersLockKeepsRepairOffAFileInProgress) {
  TempDir tmp;
  const std::string good = recordWav(tmp.dir);
  const fs::path f = tmp.dir / "open.wav";
  MavWavOutFile writing;
  ASSERT_TRUE(writing.open(f));
  ASSERT_TRUE(writing.append(good.data(), good.size()));
  ASSERT_TRUE(writing.flush());
  std::ostringstream out;
  EXPECT_EQ(veldump::repairWav(f.string(), "", out), veldump::EXIT_PROBLEM) << out.str();
  EXPECT_NE(out.str().find("is being written"), std::string::npos) << out.str();
  writing.close();
  std::ostringstream after;
  EXPECT_EQ(veldump::repairWav(f.string(), "", after), veldump::EXIT_OK) << after.str();
}

TEST(Wav, UnreadableInputsExitWithTwo) {
  TempDir tmp;
  const std::string good = recordWav(tmp.dir);
  spit(tmp.dir / "text.wav", "this is not a wave file at all, just words");
  spit(tmp.dir / "short.wav", good.substr(0, dataOffset(good) - 6));  // cut inside the header
  spit(tmp.dir / "empty.wav", "");
  for (const fs::path& p : {tmp.dir / "text.wav", tmp.dir / "short.wav", tmp.dir / "empty.wav",
                            tmp.dir / "missing.wav", tmp.dir}) {
    std::ostringstream out;
    EXPECT_EQ(veldump::printWavReport(veldump::inspectWav(p.string()), out), veldump::EXIT_UNREADABLE) << p;
    EXPECT_EQ(out.str().rfind("error: ", 0), 0u) << out.str();
    std::ostringstream rep;
    EXPECT_EQ(veldump::repairWav(p.string(), "", rep), veldump::EXIT_UNREADABLE) << p;
  }
}

}  // namespace
