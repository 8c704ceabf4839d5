#include <veliface/files/MavWavHeader.h>
#include <veliface/files/MavWavWriter.h>

#include <LogCapture.h>
#include <TempFiles.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

using namespace std::string_literals;
namespace fs = std::filesystem;
using testsupport::openFds;
using testsupport::readFile;
using testsupport::TempDir;
using testsupport::WorkingDir;

namespace {

uint32 le32(const std::string& bytes, std::size_t at) {
  uint32 v = 0;
  for (std::size_t i = 4; i-- > 0;) v = (v << 8) | static_cast<uint8>(bytes[at + i]);
  return v;
}

// Drives a writer the way a waveform stream does: once a second a metadata record, the
// setup record and the blocks of that second.
struct Stream {
  MavWavWriter writer;
  MavWavInfoDataHF info;
  MavWavSetupData setup;
  std::vector<uint8> samples;

  Stream(int maxLength, const fs::path& dir, uint32 rate, uint8 bits)
      : writer(static_cast<unsigned>(maxLength), dir.wstring()) {
    info.setDeviceType(DEV_AUREL_HF, 0);
    info.setSerialNo(7, 0);
    info.setHwVersion("V1");
    info.setHwRelease("R2");
    info.setCreator("velrec");
    setup.setSampleRate(rate);
    setup.setBitDepth(bits);
  }
  bool second(long long t, uint64 seq, const std::string& name) {
    info.setTime(t);
    info.setSeqNum(seq);
    info.setFilename(name);
    return writer.feed(info);
  }
  bool sendSetup() { return writer.feed(setup); }
  bool block(uint32 sampleNum, uint16 count) {
    samples.assign(count * setup.bitDepth() / 8u, static_cast<uint8>(sampleNum));
    MavWavDataChunk b;
    b.setSampleNum(sampleNum);
    b.setNumChannels(1);
    b.setBitDepth(setup.bitDepth());
    b.setNumSamples(count);
    b.setData(samples.data());
    return writer.feed(b);
  }
};

std::shared_ptr<MavWavHeader> readHeader(const std::string& bytes, std::size_t piece, uint64* size = nullptr) {
  MavWavHeaderProcessor reader;
  CircularByteBuffer ring(512);
  for (std::size_t at = 0; at < bytes.size() && !reader.isEndState() && ring.freeSpace() > 0;) {
    const std::size_t n = std::min({piece, bytes.size() - at, ring.freeSpace()});
    ring.write(reinterpret_cast<const uint8*>(bytes.data()) + at, n);
    at += n;
    reader.pump(ring);
  }
  if (size) *size = reader.headerSize();
  EXPECT_EQ(reader.errorCode(), 0);
  return reader.header();
}

TEST(WavWriter, WritesAByteExactFileThatTheHeaderReaderReadsBack) {
  TempDir tmp;
  Stream s(60, tmp.dir, 1000, 24);
  EXPECT_TRUE(s.second(1, 12, "t"));
  EXPECT_TRUE(s.sendSetup());
  const std::string samples = "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c"s;
  for (int i = 0; i < 2; ++i) {
    MavWavDataChunk b;
    b.setSampleNum(static_cast<uint32>(2 * i));
    b.setNumChannels(1);
    b.setBitDepth(24);
    b.setNumSamples(2);
    b.setData(reinterpret_cast<const uint8*>(samples.data()) + 6 * i);
    EXPECT_TRUE(s.writer.feed(b));
  }
  EXPECT_EQ(s.writer.outputFileName(), L"t.wav");
  EXPECT_EQ(s.writer.riffChunkSize(), 250u);
  s.writer.finishFile();
  EXPECT_TRUE(s.writer.isInitFile());

  const std::string expected =
      "RIFF" "\xfa\0\0\0" "WAVE"
      "LIST" "\xc2\0\0\0"
      "INFO"
      "IART" "\x0c\0\0\0" "Aurel HF #7 "
      "IPRD" "\x06\0\0\0" "V1 R2 "
      "ICRD" "\x16\0\0\0" "1970-01-01T00:00:01+00"
      "ISFT" "\x08\0\0\0" "velrec  "
      "INAM" "\x02\0\0\0" "t "
      "ICMT" "\x5c\0\0\0"
      "3.000000 V pk, -176 dBV re 1uPa, 0.000000 % RH, 0.000000 deg C, 0 = Max Count, 12 = Seq #   "
      "fmt " "\x10\0\0\0" "\x01\0" "\x01\0" "\xe8\x03\0\0" "\xb8\x0b\0\0" "\x03\0" "\x18\0"
      "data" "\x0c\0\0\0"
      "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c"s;
  const std::string bytes = readFile(tmp.file("t.wav"));
  EXPECT_EQ(bytes, expected);

  for (std::size_t piece : {1u, 7u, 13u, 64u}) {
    uint64 headerSize = 0;
    const auto hdr = readHeader(bytes, piece, &headerSize);
    ASSERT_TRUE(hdr) << piece;
    EXPECT_EQ(headerSize, 246u);
    EXPECT_EQ(hdr->dataSize(), 12u);
    EXPECT_EQ(hdr->fmt()->sampleRate(), 1000u);
    EXPECT_EQ(hdr->fmt()->blockAlign(), 3);
    EXPECT_EQ(hdr->info()->serialNo(0), 7);
    EXPECT_EQ(hdr->info()->seqNum(), 12u);
  }
}

TEST(WavWriter, HeaderReaderSkipsSmallUnknownChunksAndStopsAtLargeOnes) {
  const std::string small = "RIFF\0\0\0\0WAVE" "junk\x04\0\0\0" "abcd" "data\x10\0\0\0" "0123456789abcdef"s;
  auto hdr = readHeader(small, 5);
  ASSERT_TRUE(hdr);
  EXPECT_EQ(hdr->dataSize(), 16u);
  EXPECT_EQ(hdr->fmt(), nullptr);

  MavWavHeaderProcessor reader;
  CircularByteBuffer ring(64);
  const std::string big = "RIFF\0\0\0\0WAVE" "junk\xf4\x01\0\0" "abcdefghijkl"s;  // 500 bytes
  ring.write(reinterpret_cast<const uint8*>(big.data()), big.size());
  EXPECT_FALSE(reader.pump(ring));
  EXPECT_TRUE(reader.isEndState());
  EXPECT_EQ(reader.errorCode(), 1);
}

TEST(WavWriter, FilesRollOverOnClockAlignedPeriodsAndWhenFull) {
  TempDir tmp;
  LogCapture log;
  Stream s(2, tmp.dir, 4, 16);  // 8 bytes a second, two-second files
  for (long long t = 11; t <= 13; ++t) {
    EXPECT_TRUE(s.second(t, static_cast<uint64>(t - 11) * 4, "r" + std::to_string(t)));
    EXPECT_TRUE(s.sendSetup());
    EXPECT_TRUE(s.block(static_cast<uint32>(4 * (t - 10)), 4));
  }
  // 11 closes at the boundary 12; 12 is full after 13 and waits in st_finish.
  EXPECT_TRUE(s.writer.isFinishFile());
  // The record of 14 meets the full file: it finishes the file and ends there, so 14 opens
  // no file and its setup and block find none. (A host that wants that second finishes the
  // file itself before it hands the record over.)
  EXPECT_TRUE(s.second(14, 12, "r14"));
  EXPECT_TRUE(s.writer.isInitFile());
  EXPECT_FALSE(s.sendSetup());
  EXPECT_FALSE(s.block(16, 4));
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"closing wav file", "closing wav file"}));
  EXPECT_EQ(s.writer.outputFileName(), L"r12.wav");
  EXPECT_FALSE(fs::exists(tmp.file("r13.wav")));
  EXPECT_FALSE(fs::exists(tmp.file("r14.wav")));
  const std::string first = readFile(tmp.file("r11.wav"));
  const std::string second = readFile(tmp.file("r12.wav"));
  const std::size_t dataAt = 48 + le32(first, 16);
  EXPECT_EQ(le32(first, dataAt), 8u);
  EXPECT_EQ(le32(second, dataAt), 16u);
  EXPECT_EQ(le32(second, 4), second.size() - 8);
  EXPECT_EQ(second.size(), dataAt + 4 + 16);
}

TEST(WavWriter, ASetupChangeFinishesTheFile) {
  TempDir tmp;
  Stream s(3600, tmp.dir, 4, 16);
  s.second(1, 0, "a");
  s.sendSetup();
  s.block(4, 4);
  s.second(2, 4, "b");
  s.setup.setGain(5);  // gain alone differs
  EXPECT_TRUE(s.sendSetup());
  EXPECT_TRUE(s.writer.isInitFile());
  EXPECT_FALSE(s.block(8, 4));  // no file until the next metadata record
  s.second(3, 8, "c");
  s.sendSetup();
  s.block(12, 4);
  s.writer.finishFile();
  const std::string a = readFile(tmp.file("a.wav"));
  EXPECT_EQ(le32(a, 48 + le32(a, 16)), 8u);
  EXPECT_FALSE(fs::exists(tmp.file("b.wav")));
  const std::string c = readFile(tmp.file("c.wav"));
  EXPECT_EQ(le32(c, 48 + le32(c, 16)), 8u);
}

TEST(WavWriter, GapsAndSequenceJumpsAreLogged) {
  TempDir tmp;
  Stream s(3600, tmp.dir, 4, 16);
  s.second(1, 100, "g");
  s.sendSetup();
  LogCapture log;
  s.block(100, 4);
  s.block(104, 4);  // as expected: silent
  s.block(110, 4);  // 108 expected
  s.second(2, 110, "g");
  s.block(200, 4);  // first block after a record is never checked
  s.second(3, 0, "g");  // sequence 0 is never a jump; the missed count is never reset
  const std::string st = "void MavWavWriter::st_data(WavStreamEvent*)";
  EXPECT_EQ(log.lines(), (std::vector<std::string>{
                             "110 EXPECTED: 108 NUMSAMPLES: 4 MISSED : 2",
                             st + ": MISSED SAMPLES: 2(50%)",
                             st + ": Warning! Data missed!!  SEQUENCE: 110 Last: 100 DELTA: 10",
                             st + ": MISSED SAMPLES: 2(50%)"}));
  EXPECT_EQ(s.writer.length(), 4u);
  EXPECT_EQ(MavWavWriter().length(), 0u);  // no rate yet
}

TEST(WavWriter, FinishedFilesStayOpenUntilLoggingStops) {
  TempDir tmp;
  const std::size_t fdsBefore = openFds();
  Stream s(1, tmp.dir, 4, 16);  // every second is a boundary
  for (long long t = 1; t <= 3; ++t) {
    s.second(t, 0, "q" + std::to_string(t));
    s.sendSetup();
    s.block(static_cast<uint32>(4 * t), 2);  // half a second: each record opens the next file
  }
  EXPECT_EQ(s.writer.finishQueueSize(), 2u);
  EXPECT_EQ(openFds(), fdsBefore + 3);
  s.writer.setStopLogging(true);
  s.writer.finishFile();
  EXPECT_EQ(s.writer.finishQueueSize(), 0u);
  EXPECT_EQ(openFds(), fdsBefore);
  const std::string last = readFile(tmp.file("q3.wav"));
  EXPECT_EQ(le32(last, 48 + le32(last, 16)), 4u);
}

TEST(WavWriter, ErrorTexts) {
  const std::pair<int, const char*> cases[] = {
      {0, "No Error."}, {1, "Error opening wav file for writing."},
      {2, "Failed to write header data (INFO)."}, {3, "Failed to write header data (fmt)."},
      {4, "Failed to write wav data."}, {5, "Failed to finish file. RIFF size may be invalid."},
      {6, "Unknown Error."}};
  for (const auto& c : cases) EXPECT_EQ(MavWavWriter::errorStr(static_cast<WavWriteErr>(c.first)), c.second);
}

TEST(WavWriter, AnUnopenableFileIsErrorOneAndTheNextFileOpensAfterClearErr) {
  TempDir tmp;
  std::ofstream(tmp.file("plain")) << "x";
  for (const fs::path& bad : {tmp.dir / "missing" / "dir", tmp.dir / "plain"}) {
    Stream s(60, bad, 4, 16);
    EXPECT_FALSE(s.second(1, 0, "x"));
    EXPECT_EQ(s.writer.errorCode(), WAV_OPEN_ERROR);
    EXPECT_TRUE(s.writer.isInitFile());
    s.writer.clearErr();
    s.writer.setPath(tmp.dir.wstring());
    EXPECT_TRUE(s.second(1, 0, "x"));
    EXPECT_EQ(s.writer.errorCode(), WAV_NO_ERROR);
    EXPECT_TRUE(fs::exists(tmp.file("x.wav")));
  }
}

TEST(WavWriter, AnEmptyDirectoryMeansTheRootNotTheWorkingDirectory) {
  TempDir tmp;
  fs::create_directories(tmp.dir / "veliface_not_at_the_root");
  WorkingDir here(tmp.dir);
  Stream s(60, "", 4, 16);
  // "/" + name: the name's folder is looked for at the root, where there is none.
  EXPECT_FALSE(s.second(1, 0, "veliface_not_at_the_root/x"));
  EXPECT_EQ(s.writer.errorCode(), WAV_OPEN_ERROR);
  EXPECT_FALSE(fs::exists(tmp.dir / "veliface_not_at_the_root" / "x.wav"));
}

TEST(WavWriter, AFullDiskIsErrorFourAndTheNextFileIsWrittenAfterClearErr) {
  TempDir tmp;
  fs::create_symlink("/dev/full", tmp.dir / "full.wav");
  LogCapture log;
  Stream s(3600, tmp.dir, 1024, 24);
  ASSERT_TRUE(s.second(1, 0, "full"));
  ASSERT_TRUE(s.sendSetup());
  uint32 n = 0;
  for (; n < 1000 && s.writer.errorCode() == WAV_NO_ERROR; ++n) {
    // A block is consumed even when the disk refuses it.
    EXPECT_TRUE(s.block(n * 1024, 1024));
  }
  ASSERT_LT(n, 1000u);  // once the batch goes out, the disk refuses it
  EXPECT_EQ(s.writer.errorCode(), WAV_DATA_ERROR);
  EXPECT_EQ(log.lines().back(), "void MavWavWriter::st_data(WavStreamEvent*)Error logging with WAV file: full.wav");
  // The refused block is counted all the same, and the sample count runs on: the next
  // block is no gap.
  EXPECT_EQ(s.writer.dataWritten(), n * 3072u);
  s.writer.clearErr();
  EXPECT_TRUE(s.block(n * 1024, 1024));
  for (const std::string& l : log.lines()) EXPECT_EQ(l.find("MISSED"), std::string::npos) << l;
  s.writer.clearErr();
  s.writer.finishFile();
  EXPECT_EQ(s.writer.errorCode(), WAV_FINISH_ERROR);
  s.writer.clearErr();

  ASSERT_TRUE(s.second(2, 0, "ok"));
  ASSERT_TRUE(s.sendSetup());
  EXPECT_TRUE(s.block(0, 1024));
  s.writer.finishFile();
  EXPECT_EQ(s.writer.errorCode(), WAV_NO_ERROR);
  const std::string ok = readFile(tmp.file("ok.wav"));
  EXPECT_EQ(le32(ok, 48 + le32(ok, 16)), 3072u);
  EXPECT_EQ(ok.size(), 52 + le32(ok, 16) + 3072u);
}

bool haveCommand(const char* probe) { return std::system(probe) == 0; }

// Checks a file with Python's own WAV reader: "<channels> <width> <rate> <frames>".
std::string pythonWaveInfo(const std::string& path) {
  const std::string out = path + ".py.txt";
  const std::string cmd = "python3 -c \"import wave,sys; w=wave.open(sys.argv[1]); print(w.getnchannels(), "
                          "w.getsampwidth(), w.getframerate(), w.getnframes())\" '" + path + "' > '" + out + "' 2>&1";
  std::system(cmd.c_str());
  std::string text = readFile(out);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

TEST(WavWriter, CrashSafetyKeepsACutFileReadableUpToTheLastPatch) {
  TempDir tmp;
  const bool python = haveCommand("python3 -c 'import wave' > /dev/null 2>&1");
  for (uint64 every : {uint64{0}, uint64{4 * 3072}}) {
    Stream s(3600, tmp.dir, 1024, 24);
    s.writer.setCrashSafety(every);
    s.second(1, 0, "cut");
    s.sendSetup();
    for (uint32 i = 0; i < 10; ++i) s.block(i * 1024, 1024);
    const std::string copy = tmp.file(every ? "copy_safe.wav" : "copy_plain.wav");
    fs::copy_file(tmp.file("cut.wav"), copy, fs::copy_options::overwrite_existing);  // file still open
    const std::string bytes = readFile(copy);
    if (every == 0) {
      // Without crash safety the samples are still batched in memory and the sizes unpatched.
      EXPECT_TRUE(bytes.size() < 8 || le32(bytes, 4) == 0) << bytes.size();
      continue;
    }
    const uint32 info = le32(bytes, 16);
    EXPECT_EQ(le32(bytes, 48 + info), 8u * 3072u);  // patched after blocks 4 and 8
    EXPECT_EQ(le32(bytes, 4), 44 + info + 8u * 3072u);
    EXPECT_GE(bytes.size(), 52 + info + 8u * 3072u);
    if (python) {
      EXPECT_EQ(pythonWaveInfo(copy), "1 3 1024 8192");
    }
    s.writer.finishFile();
    if (python) {
      EXPECT_EQ(pythonWaveInfo(tmp.file("cut.wav")), "1 3 1024 10240");
    }
  }
}

TEST(WavWriter, IndependentReadersAcceptTheFile) {
  TempDir tmp;
  Stream s(3600, tmp.dir, 8000, 16);
  s.second(1, 0, "interop");
  s.sendSetup();
  for (uint32 i = 0; i < 8; ++i) s.block(i * 1000, 1000);
  s.writer.finishFile();
  const std::string path = tmp.file("interop.wav");
  const bool python = haveCommand("python3 -c 'import wave' > /dev/null 2>&1");
  const bool sox = haveCommand("soxi -V0 /dev/null > /dev/null 2>&1; command -v soxi > /dev/null");
  if (!python && !sox) GTEST_SKIP() << "neither python3 nor soxi is installed";
  if (python) {
    EXPECT_EQ(pythonWaveInfo(path), "1 2 8000 8000");
  }
  if (sox) {
    const std::string cmd = "soxi -s '" + path + "' > '" + path + ".sox.txt'";
    EXPECT_EQ(std::system(cmd.c_str()), 0);
    EXPECT_EQ(readFile(path + ".sox.txt"), "8000\n");
  }
}

}  // namespace

namespace {

// Forcing the data to the device is a question of durability only: the open file shows the
// same bytes, patched at the same points, with or without it.
TEST(WavWriter, ForcingToStorageBeforeEachPatchChangesNoByte) {
  std::string copies[2];
  for (const bool force : {false, true}) {
    TempDir tmp;
    Stream s(3600, tmp.dir, 1024, 24);
    s.writer.setCrashSafety(4 * 3072, force);
    s.second(1, 0, "cut");
    s.sendSetup();
    for (uint32 i = 0; i < 10; ++i) ASSERT_TRUE(s.block(i * 1024, 1024));
    EXPECT_EQ(s.writer.errorCode(), WAV_NO_ERROR);
    copies[force] = readFile(tmp.file("cut.wav"));  // still open: what a cut leaves
    s.writer.finishFile();
  }
  ASSERT_GE(copies[0].size(), 52u);
  EXPECT_EQ(le32(copies[0], 48 + le32(copies[0], 16)), 8u * 3072u);
  EXPECT_TRUE(copies[0] == copies[1]);  // not EXPECT_EQ: a mismatch would print 30 KB
}

}  // namespace
