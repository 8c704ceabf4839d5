#include <veliface/device/VelDevice.h>
#include <veliface/files/MavWavHeader.h>
#include <veliface/record/SpectrumRecorder.h>
#include <veliface/record/WavRecorder.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <LogCapture.h>
#include <RecordStreams.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <stdlib.h>

using veliface::record::RecordListener;
using veliface::record::SpectrumRecorder;
using veliface::record::WavRecorder;
namespace fs = std::filesystem;
using namespace recordtest;

namespace {

}  // namespace

TEST(WavRecorder, ClockAlignedPeriodsReadBackWithTheBytesSent) {
  TempDir tmp;
  Events events;
  WavStream stream{8000, 1000, 2000000000};
  // The device object names the sensor; the stream's device info fills what it lacks.
  auto device = MavDevice::createDevice(DEV_AUREL_HF);
  std::dynamic_pointer_cast<VelDevice>(device)->setSensitivity(-165.4f);
  {
    WavRecorder rec(tmp.dir, "hf", 2, device, &events);
    stream.run(rec, 7);  // seconds 0..6: files at 0, 2, 4 (full) and 6
    rec.finish();
  }
  const auto files = wavFiles(tmp.dir);
  ASSERT_EQ(files.size(), 4u);
  EXPECT_EQ(files[0].filename(), "hf20330518_033320.wav");
  EXPECT_EQ(events.opened, files);
  ASSERT_EQ(events.closed.size(), 4u);
  EXPECT_TRUE(events.errors.empty());

  std::string all;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const ReadBack r = readWav(files[i]);
    ASSERT_TRUE(r.header) << files[i];
    EXPECT_EQ(r.header->fmt()->sampleRate(), 8000u);
    EXPECT_EQ(r.header->fmt()->bitsPerSamp(), 16);
    EXPECT_EQ(r.header->fmt()->numChannels(), 1);
    EXPECT_EQ(r.header->dataSize(), i < 3 ? 32000u : 16000u);
    EXPECT_EQ(r.samples.size(), r.header->dataSize());
    EXPECT_EQ(events.closed[i].second, fs::file_size(files[i]));
    all += r.samples;
  }
  EXPECT_EQ(all, std::string(stream.sent.begin(), stream.sent.end()));
  const ReadBack first = readWav(files[0]);
  EXPECT_EQ(first.header->info()->serialNo(0), 321);
  EXPECT_EQ(first.header->info()->deviceType(0), DEV_AUREL_HF);
  EXPECT_EQ(first.header->info()->sensitivity(0), -165);
  EXPECT_EQ(first.header->info()->maxCount(), 32767);
  EXPECT_EQ(first.header->info()->seqNum(), 0u);

  // Independent readers agree on frames and rate.
  const std::string f = files[1].string();
  if (!have("soxi") || !have("sndfile-info") || !have("python3")) GTEST_SKIP() << "interop tools missing";
  EXPECT_EQ(run("soxi -s " + f), "16000\n");
  EXPECT_EQ(run("soxi -r " + f), "8000\n");
  const std::string info = run("sndfile-info " + f);
  EXPECT_NE(info.find("Frames      : 16000"), std::string::npos) << info;
  EXPECT_NE(info.find("Sample Rate : 8000"), std::string::npos) << info;
  EXPECT_EQ(run("python3 -c \"import wave,sys; w=wave.open(sys.argv[1]); print(w.getnframes(), w.getframerate())\" " + f),
            "16000 8000\n");
}

TEST(WavRecorder, BigEndianSamplesAreWrittenLittleEndian) {
  TempDir tmp;
  Events events;
  {
    WavRecorder rec(tmp.dir, "be", 60, nullptr, &events);
    // 24-bit big-endian (format 3): 0x123456, -2, -8388608, 1, then the same again in a
    // second block so that the reused conversion buffer is exercised twice.
    const uint8 wire[] = {0x12, 0x34, 0x56, 0xFF, 0xFF, 0xFE, 0x80, 0x00, 0x00, 0x00, 0x00, 0x01};
    rec.take(wavHeader(1000000000, 0, 8000, 3));
    rec.take(dataMsg(1000000000, 0, wire, 4, 3, nullptr));
    rec.take(dataMsg(1000000000, 4, wire, 4, 3, nullptr));
    rec.finish();
  }
  {
    // 16-bit big-endian: 0x0102, -32768, 32767, -1.
    WavRecorder rec(tmp.dir, "be16_", 60, nullptr, &events);
    const uint8 wire16[] = {0x01, 0x02, 0x80, 0x00, 0x7F, 0xFF, 0xFF, 0xFF};
    rec.take(wavHeader(1000000000, 0, 8000, 2));
    rec.take(dataMsg(1000000000, 0, wire16, 4, 2, nullptr));
    rec.finish();
  }
  EXPECT_TRUE(events.errors.empty());
  EXPECT_EQ(events.missed, 0u);
  const auto files = wavFiles(tmp.dir);
  ASSERT_EQ(files.size(), 2u);
  const ReadBack r24 = readWav(files[1]);  // "be16_2001..." sorts before "be2001..."
  ASSERT_TRUE(r24.header);
  EXPECT_EQ(r24.header->fmt()->bitsPerSamp(), 24);
  const uint8 file24[] = {0x56, 0x34, 0x12, 0xFE, 0xFF, 0xFF, 0x00, 0x00, 0x80, 0x01, 0x00, 0x00};
  EXPECT_EQ(r24.samples, std::string(std::begin(file24), std::end(file24)) + std::string(std::begin(file24), std::end(file24)));
  // The header reader wants more bytes after a data chunk this short; the tail says it all.
  const std::string whole16 = readFile(files[0]);
  ASSERT_GE(whole16.size(), 16u);
  EXPECT_EQ(whole16.substr(whole16.size() - 16), std::string("data\x08\0\0\0\x02\x01\x00\x80\xFF\x7F\xFF\xFF", 16));

  // An independent reader sees the values the stream sent.
  if (!have("python3")) GTEST_SKIP() << "python3 missing";
  EXPECT_EQ(run("python3 -c \"import wave,sys; w=wave.open(sys.argv[1]); d=w.readframes(8); "
                "print([int.from_bytes(d[i:i+3],'little',signed=True) for i in range(0,len(d),3)])\" " +
                files[1].string()),
            "[1193046, -2, -8388608, 1, 1193046, -2, -8388608, 1]\n");
}

TEST(WavRecorder, SamplesTooWideForAWavFileAreMissedNotReadPastTheirBlock) {
  // 127-byte big-endian samples on two channels: no WAV bit depth states that width, and a
  // conversion buffer sized for one sample must never be read as a whole block.
  TempDir tmp;
  Events events;
  std::vector<uint8> wire(3u * 2u * 127u, 0xA5);
  {
    WavRecorder rec(tmp.dir, "wide", 60, nullptr, &events);
    // Format: bit 7 clear is big-endian, bits 0..6 the bytes per sample.
    rec.take(wavHeader(1000000000, 0, 8000, 0x7F));
    auto chunk = std::make_shared<VelStreamDataChunkV0>();
    chunk->setNumChannels(2);
    chunk->setSampleFormat(0x7F);
    chunk->setNumSamples(3);
    std::shared_ptr<uint8[]> bytes(new uint8[wire.size()]);
    std::copy(wire.begin(), wire.end(), bytes.get());
    chunk->ResetI8(bytes, static_cast<uint32>(wire.size()));
    rec.take(VelStreamMessage(std::make_shared<VelStreamDataPayload>(key(1000000000, 0), chunk)));
    // A representable big-endian block after it is still converted and written.
    const uint8 wire16[] = {0x01, 0x02};
    rec.take(dataMsg(1000000000, 3, wire16, 1, 0x02, nullptr));
    rec.finish();
  }
  EXPECT_EQ(events.missed, 3u);
  ASSERT_EQ(events.closed.size(), 1u);
  EXPECT_EQ(events.closed[0].second, fs::file_size(events.closed[0].first));
  const std::string file = readFile(events.closed[0].first);
  EXPECT_EQ(file.substr(file.size() - 2), "\x02\x01");  // the last block, little-endian
  EXPECT_EQ(file.find("\xA5\xA5"), std::string::npos);  // nothing of the wide block
}

TEST(WavRecorder, AHeaderCutShortOpensNoFile) {
  // A header whose key was cut short by the end of its frame: the key reads as zeros, type
  // byte included. It names no second, so it opens no file dated 1970; the next whole
  // header does.
  TempDir tmp;
  Events events;
  WavRecorder rec(tmp.dir, "cut", 60, nullptr, &events);
  auto header = [](const std::shared_ptr<const VelEventKeyChunk>& k) {
    stWAVE_SETUP_CHUNK_V0 setup{};
    setup.type = 0x45;
    setup.sampleRate = 8000;
    setup.sampleFormat = 0x82;
    return VelStreamMessage(std::make_shared<VelStreamEventHeaderPayload>(
        k, deviceInfo(), std::vector<std::shared_ptr<const VelStreamStatusChunk>>{},
        VelStreamSetupContainer(std::shared_ptr<const VelWavSetupChunk>(std::make_shared<VelWavSetupChunk>(setup))),
        std::vector<std::shared_ptr<const VelAmplScalingChunk>>{}, 1, nullptr));
  };
  rec.take(header(std::make_shared<VelEventKeyChunkV1>(stKEY_CHUNK_V1{})));
  const uint8 two[4] = {1, 2, 3, 4};
  rec.take(dataMsg(1000000000, 0, two, 2, 0x82, nullptr));
  EXPECT_TRUE(events.opened.empty());
  rec.take(header(key(1000000000, 0)));
  rec.take(dataMsg(1000000000, 0, two, 2, 0x82, nullptr));
  rec.finish();
  ASSERT_EQ(events.opened.size(), 1u);
  EXPECT_EQ(events.opened[0].filename(), "cut20010909_014640.wav");
}

TEST(WavRecorder, AFileThatWouldOutgrowItsSizesContinuesInANewOne) {
  // The limit is what 32-bit sizes state; here a small one stands in for it.
  TempDir tmp;
  Events events;
  LogCapture log;
  WavStream stream{8000, 1000, 2000000000};
  {
    WavRecorder rec(tmp.dir, "big", 3600, nullptr, &events);
    rec.setFileSizeLimit(10000);
    stream.run(rec, 2);  // 32,000 sample bytes: four files of at most 10,000 bytes
  }
  EXPECT_TRUE(events.errors.empty());
  std::string all;
  for (const auto& [path, bytes] : events.closed) {
    EXPECT_LE(bytes, 10000u) << path;
    const ReadBack r = readWav(path);
    ASSERT_TRUE(r.header) << path;
    EXPECT_EQ(r.header->dataSize(), r.samples.size());
    all += r.samples;
  }
  EXPECT_EQ(events.closed.size(), 4u);
  EXPECT_EQ(all, std::string(stream.sent.begin(), stream.sent.end()));  // nothing lost
  bool said = false;
  for (const std::string& l : log.lines()) said = said || l.find("largest size a WAV file can state") != std::string::npos;
  EXPECT_TRUE(said);
}

TEST(WavRecorder, SequenceLossesSkipTheShortFirstSecondOfAStream) {
  TempDir tmp;
  Events events;
  std::vector<uint8> block(2000, 0x10);
  WavRecorder rec(tmp.dir, "seq", 60, nullptr, &events);
  // The stream starts a quarter second in: its first header is followed 6000 samples later
  // by the next whole second, which is no loss.
  rec.take(wavHeader(1000000000, 0, 8000));
  rec.take(wavHeader(1000000001, 6000, 8000));
  rec.take(wavHeader(1000000002, 14000, 8000));
  EXPECT_TRUE(events.losses.empty());
  // A second skipped is a loss and starts the stream over: the interval after it is the new
  // stream's first, short by design. A short interval later on is a loss.
  rec.take(wavHeader(1000000004, 30000, 8000));
  rec.take(wavHeader(1000000005, 36000, 8000));
  rec.take(wavHeader(1000000006, 40000, 8000));
  EXPECT_EQ(events.losses, (std::vector<std::pair<uint64, uint64>>{{14000, 30000}, {36000, 40000}}));
  // A new stream after a reconnection starts over at 0, again mid-second.
  rec.streamRestarted();
  rec.take(wavHeader(1000000009, 0, 8000));
  rec.take(wavHeader(1000000010, 2000, 8000));
  rec.take(dataMsg(1000000010, 2000, block.data(), 1000, 0x82, nullptr));
  rec.take(wavHeader(1000000011, 10000, 8000));
  EXPECT_EQ(events.losses.size(), 2u);
  EXPECT_EQ(events.missed, 0u);
}

TEST(WavRecorder, StraddlingBlocksKeepOrderAndOpenFilesStayConstant) {
  TempDir tmp;
  Events events;
  // 3000-sample blocks do not divide the second: a full file is reached before the header
  // that closes it, and the blocks in between must go into the next file, in order.
  WavStream stream{8000, 3000, 1000000000};
  WavRecorder rec(tmp.dir, "x", 2, nullptr, &events);
  stream.run(rec, 7);  // 3 rollovers
  const std::size_t afterThree = openFds();
  stream.run(rec, 34);  // 20 rollovers in all
  EXPECT_EQ(openFds(), afterThree);
  EXPECT_EQ(events.closed.size(), 20u);
  rec.finish();
  std::string all;
  for (const auto& f : wavFiles(tmp.dir)) {
    const ReadBack r = readWav(f);
    ASSERT_TRUE(r.header) << f;
    EXPECT_EQ(r.samples.size(), r.header->dataSize()) << f;
    all += r.samples;
  }
  EXPECT_EQ(all, std::string(stream.sent.begin(), stream.sent.end()));
  EXPECT_EQ(events.missed, 0u);
}

TEST(WavRecorder, FileCutBeforeFinishReadsUpToTheLastPatch) {
  if (!have("python3")) GTEST_SKIP() << "python3 missing";
  TempDir tmp;
  WavStream stream{8000, 1000, 1000000000};
  WavRecorder rec(tmp.dir, "cut", 60, nullptr);
  stream.run(rec, 1);
  std::vector<uint8> half(1000, 0x11);
  for (int i = 0; i < 4; ++i) rec.take(dataMsg(1000000001, 8000 + 500u * i, half.data(), 500, 0x82, nullptr));
  // 1.25 s written; sizes were last patched at one second of audio.
  const fs::path copy = tmp.dir.parent_path() / (tmp.dir.filename().string() + "_copy.wav");
  fs::copy_file(wavFiles(tmp.dir).at(0), copy, fs::copy_options::overwrite_existing);
  const std::string out =
      run("python3 -c \"import wave,sys; w=wave.open(sys.argv[1]); print(w.getnframes(), len(w.readframes(100000)))\" " +
          copy.string());
  const std::string soxFrames = have("soxi") ? run("soxi -s " + copy.string()) : "8000\n";
  const std::string info = have("sndfile-info") ? run("sndfile-info " + copy.string()) : "Frames      : 8000\n";
  fs::remove(copy);
  EXPECT_EQ(out, "8000 16000\n");
  EXPECT_EQ(soxFrames, "8000\n");
  EXPECT_NE(info.find("Frames      : 8000\n"), std::string::npos) << info;
}

TEST(WavRecorder, UnwritableDirectoryIsReportedWithTheWritersText) {
  Events events;
  WavStream stream{8000, 1000, 1000000000};
  WavRecorder rec("/nonexistent/velrec", "x", 2, nullptr, &events);
  stream.run(rec, 1);
  ASSERT_FALSE(events.errors.empty());
  // The writer's own words, then the file and the system's reason.
  EXPECT_EQ(events.errors.front(),
            std::make_pair(1, std::string("Error opening wav file for writing. (/nonexistent/velrec/x20010909_014640.wav: "
                                          "No such file or directory)")));
  EXPECT_TRUE(events.opened.empty());
}

TEST(WavRecorder, RecordersGivenNoDirectoryWriteHereNotAtTheRoot) {
  TempDir tmp;
  testsupport::WorkingDir here(tmp.dir);
  Events events;
  {
    WavRecorder wav("", "w", 60, nullptr, &events);
    SpectrumRecorder spec("", "s", 60, nullptr, &events);
    WavStream stream{8000, 1000, 2000000000};
    stream.run(wav, 1);
    const uint8 bins[3] = {4, 5, 6};
    spec.take(fftHeader(61));
    spec.take(dataMsg(61, 9, bins, 3, 1, nullptr));
  }
  EXPECT_TRUE(events.errors.empty());
  ASSERT_EQ(events.opened.size(), 2u);
  for (const fs::path& f : events.opened) {
    EXPECT_EQ(f.parent_path(), ".") << f;
    EXPECT_TRUE(fs::exists(tmp.dir / f.filename())) << f;
  }
}

TEST(SpectrumRecorder, WritesHeaderFromTheEventHeaderAndOneLinePerSpectrum) {
  TempDir tmp;
  Events events;
  stSTATUS_CHUNK_V0 status{};
  status.type = 0x43;
  status.temperature = 215;
  status.humidity = 402;
  auto header = [&](int32_t t) {
    return fftHeader(t, {std::make_shared<VelStreamStatusChunkV0>(status)});
  };

  const uint8 bins[3] = {4, 5, 6};
  {
    auto device = MavDevice::createDevice(DEV_AUREL_HF);
    device->setSerial(900);
    SpectrumRecorder rec(tmp.dir, "fft", 60, device, &events);
    rec.take(header(61));
    rec.take(dataMsg(61, 9, bins, 3, 1, nullptr));
    rec.take(header(62));
    rec.take(dataMsg(62, 10, bins, 3, 1, nullptr));
  }
  ASSERT_EQ(events.opened.size(), 1u);
  EXPECT_EQ(events.opened[0].filename(), "fft19700101_000101.txt");
  const std::string text = readFile(events.opened[0]);
  ASSERT_EQ(events.closed.size(), 1u);
  EXPECT_EQ(events.closed[0].second, text.size());
  for (const char* line : {"Computer\tHOST\n", "Device\tAurel HF\n", "S/N\t900\n", "Firmware\t1.2.3\n", "dB Ref re 1uPa\t190\n",
                           "Power Calculation\tFiltered\n", "Accumulations\t3\n", "0.00\t250.00\t500.00\t\n",
                           "00:01:01\t\t21.50\t40.20\t9\t3\t4\t5\t6\t\n", "00:01:02\t\t21.50\t40.20\t10\t3\t4\t5\t6\t\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line;
  }

  // A waveform header on a spectrum port: no file, one warning.
  LogCapture log;
  SpectrumRecorder wrong(tmp.dir, "w", 60, nullptr, &events);
  wrong.take(wavHeader(61, 0, 8000));
  EXPECT_EQ(log.lines(),
            std::vector<std::string>{
                "static MavSpectrumFileHeader* MavSpectrumFileHeader::fromEventHdr(const VelStreamEventHeaderPayload&, "
                "std::shared_ptr<VelDevice>) WARNING: Event header contains no fft setup chunk. Fft Logger may be "
                "connected to the wrong stream."});
}
