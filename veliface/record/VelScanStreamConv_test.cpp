#include <veliface/record/VelScanStreamConv.h>

#include <veliface/device/VelDevice.h>
#include <veliface/stream/VelDataCollectCmd.h>

#include <gtest/gtest.h>

#include <LogCapture.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Lines = std::vector<std::string>;
using Bytes = std::vector<uint8>;

std::shared_ptr<VelDataCollectCmd> parse(const Bytes& b) {
  return std::shared_ptr<VelDataCollectCmd>(VelDataCollectCmd::create(b.data(), b.size()));
}

// Humidity 23.5 %, temperature -2.5 C, a waveform block with sequence `seq` and its time.
Bytes waveScan(uint8 seq) {
  return {0x2E,                    // mask: humidity, temperature, extended, waveform
          0xEB, 0x00,              // humidity 235 tenths
          0xE7, 0xFF,              // temperature -25 tenths
          seq, 0x00,               // seqNum
          0x82,                    // dataFormat: 2 bytes per sample, little-endian
          0x06, 0x00,              // numBytes
          0x03,                    // gain
          0x80, 0xBB, 0x00, 0x00,  // sampleRate 48000
          0xCE, 0xFF,              // sensitivity
          0xB8, 0x0B,              // fullScale_mV 3000
          0x01, 0x02, 0x03, 0x04, 0x05, 0x06,  // samples
          0x20, 0x00, 0x08, 0x00,  // extended: waveform time, length 8
          0x10, 0x00, 0x00, 0x00,  // sampsIntoSec 16
          0x00, 0xF1, 0x53, 0x65}; // time 1700000000
}

VelDevice scanDevice() {
  VelDevice dev(DEV_AUREL_HF);
  dev.setSerial(1234);
  dev.setSensitivity(-170.5f);
  dev.setFirmwareVer("2.10.4");
  dev.setBattPercent(80);
  return dev;
}

// Brings a converter to expect `expected` next; whatever that logs is discarded.
void expectNext(VelScanStreamConv& conv, LogCapture& log, uint16 expected) {
  if (expected > 0) conv.checkSequence(static_cast<uint16>(expected - 1));
  ASSERT_EQ(conv.next(), expected);
  log.clear();
}

TEST(VelScanStreamConv, InOrderBlocksAndTheRolloverAreNoLoss) {
  LogCapture log;
  VelScanStreamConv conv;
  EXPECT_FALSE(conv.checkSequence(0));  // a new converter expects 0
  EXPECT_FALSE(conv.checkSequence(1));
  EXPECT_TRUE(log.lines().empty());

  expectNext(conv, log, 65534);
  EXPECT_FALSE(conv.checkSequence(65534));
  EXPECT_FALSE(conv.checkSequence(65535));
  EXPECT_EQ(conv.next(), 0x10000u);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(conv.checkSequence(0));
  EXPECT_EQ(log.lines(), (Lines{"single step rollover: total: 1 (cur: 0, next: 65536)"}));
  EXPECT_FALSE(conv.checkSequence(1));
  EXPECT_EQ(conv.next(), 2u);
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST(VelScanStreamConv, RolloversAccumulateUntilALoss) {
  LogCapture log;
  VelScanStreamConv conv;
  for (int lap = 1; lap <= 2; ++lap) {
    for (uint32 seq = (lap == 1 ? 0 : 1); seq <= 0xFFFF; ++seq) {
      ASSERT_FALSE(conv.checkSequence(static_cast<uint16>(seq)));
    }
    EXPECT_FALSE(conv.checkSequence(0));
  }
  EXPECT_EQ(log.lines(), (Lines{"single step rollover: total: 1 (cur: 0, next: 65536)",
                                "single step rollover: total: 2 (cur: 0, next: 65536)"}));
  EXPECT_EQ(conv.rollovers(), 2u);

  EXPECT_TRUE(conv.checkSequence(65535));  // a loss resets the count
  EXPECT_EQ(conv.rollovers(), 0u);
  log.clear();
  EXPECT_FALSE(conv.checkSequence(0));
  EXPECT_EQ(log.lines(), (Lines{"single step rollover: total: 1 (cur: 0, next: 65536)"}));
}

TEST(VelScanStreamConv, GapsAreReportedAsLosses) {
  struct Case {
    uint16 expected;
    uint16 cur;
    const char* line;
  };
  const Case cases[] = {
      {5, 10, "ordinary data loss (no roll): lost: 5 (cur: 10, next: 5)"},
      {65534, 3, "ordinary data loss (rolled): lost: 5 (cur: 3, next: 65534)"},
      {0, 7, "ordinary data loss (no roll): lost: 7 (cur: 7, next: 0)"},
      // A block from the past counts as nearly a whole lap lost.
      {5, 4, "ordinary data loss (rolled): lost: 65535 (cur: 4, next: 5)"},
      // Blocks 0xFFFF and 0 missing: lost across the roll.
      {0xFFFF, 1, "ordinary data loss (rolled): lost: 2 (cur: 1, next: 65535)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    LogCapture log;
    VelScanStreamConv conv;
    expectNext(conv, log, c.expected);
    EXPECT_TRUE(conv.checkSequence(c.cur));
    EXPECT_EQ(log.lines(), (Lines{c.line}));
    EXPECT_EQ(conv.next(), c.cur + 1u);
    EXPECT_FALSE(conv.checkSequence(static_cast<uint16>(c.cur + 1)));
  }

  // After 0xFFFF the converter expects 0x10000: block 1 is a loss across the roll.
  LogCapture log;
  VelScanStreamConv conv;
  expectNext(conv, log, 0xFFFF);
  EXPECT_FALSE(conv.checkSequence(0xFFFF));
  EXPECT_TRUE(conv.checkSequence(1));
  EXPECT_EQ(log.lines(), (Lines{"ordinary data loss (rolled): lost: 1 (cur: 1, next: 65536)"}));
}

Bytes samples(const VelStreamDataChunk& d) {
  return d.data() ? Bytes(d.data().get(), d.data().get() + d.dataSize()) : Bytes{};
}

TEST(VelScanStreamConv, WaveScanBecomesEventHeaderAndDataPayload) {
  const auto cmd = parse(waveScan(0));
  const VelDevice dev = scanDevice();
  VelScanStreamConv conv;

  const auto hdr = VelScanStreamConv::extractEventHdr(cmd, dev, VEL_STREAM_WAVEFORM);
  ASSERT_NE(hdr, nullptr);
  EXPECT_EQ(hdr->eventKey()->timeStamp(), 1700000000);
  EXPECT_EQ(hdr->eventKey()->seqNum(), 0u);
  const auto& info = *hdr->deviceInfoChunks().at(0);
  EXPECT_EQ(info.serialNo(), 1234);
  EXPECT_EQ(info.sensitivity(), 0xF957);  // -1705 tenths
  EXPECT_EQ(Bytes(info.fwVer(), info.fwVer() + 3), (Bytes{2, 10, 4}));
  EXPECT_EQ(hdr->streamStatusChunks().at(0)->temperature(), 0xFFE7);
  EXPECT_EQ(hdr->streamStatusChunks().at(0)->humidity(), 235);
  const auto setup = hdr->streamSetupChunk().wavSetup();
  ASSERT_NE(setup, nullptr);
  EXPECT_EQ(setup->sampleRate(), 48000u);
  EXPECT_EQ(setup->gain(), 3);
  EXPECT_EQ(setup->sampleFormat(), 0x82);
  EXPECT_EQ(hdr->amplScalingChunks().at(0)->maxCount(), 32767);
  EXPECT_EQ(hdr->amplScalingChunks().at(0)->minCount(), -32768);

  bool lost = true;
  const auto payload = conv.extractWaveData(cmd, dev, lost);
  EXPECT_FALSE(lost);
  ASSERT_NE(payload, nullptr);
  EXPECT_EQ(payload->streamType(), VEL_STREAM_WAVEFORM);
  const auto data = payload->data();
  EXPECT_EQ(data->sampleNum(), 16u);
  EXPECT_EQ(data->numSamples(), 3);
  EXPECT_EQ(samples(*data), (Bytes{1, 2, 3, 4, 5, 6}));
  EXPECT_FALSE(data->isCorrupted());
  // Handed over, not copied: the response no longer holds the samples, and a second
  // extraction gets an empty block marked corrupted (and a repeated sequence).
  EXPECT_TRUE(cmd->chunk<DataCollWavChunk>()->wavData().empty());
  LogCapture log;
  const auto again = conv.extractWaveData(cmd, dev, lost);
  EXPECT_TRUE(lost);
  EXPECT_TRUE(again->data()->isCorrupted());
  EXPECT_EQ(again->data()->dataSize(), 0u);
}

TEST(VelScanStreamConv, WaveDataFlagsLossAcrossSequenceGaps) {
  LogCapture log;
  const VelDevice dev = scanDevice();
  VelScanStreamConv conv;
  // A new converter expects 0, so a first block 5 is already a loss.
  const std::pair<uint8, bool> steps[] = {{5, true}, {6, false}, {9, true}, {10, false}};
  for (const auto& [seq, expectLost] : steps) {
    bool lost = !expectLost;
    const auto payload = conv.extractWaveData(parse(waveScan(seq)), dev, lost);
    EXPECT_EQ(lost, expectLost) << int{seq};
    EXPECT_EQ(payload->eventKey()->seqNum(), seq);
  }
  EXPECT_EQ(log.lines(), (Lines{"ordinary data loss (no roll): lost: 5 (cur: 5, next: 0)",
                                "ordinary data loss (no roll): lost: 2 (cur: 9, next: 7)"}));
}

TEST(VelScanStreamConv, SpectrumScanCarriesFftSetupAndBins) {
  const auto cmd = parse({0x18,                    // mask: extended, spectrum
                          0x07, 0x00,              // seqNum
                          0x04, 0x00,              // numBytes
                          0x01,                    // gain
                          0x00, 0x77, 0x01, 0x00,  // sampleRate 96000
                          0xCE, 0xFF,              // sensitivity
                          0x04, 0x00,              // procType 4: accumulations, weight
                          0x0A, 0x00,              // accumsPerRslt 10
                          0x02, 0x00,              // weight 2
                          0x00, 0x02,              // ptsBtwFft 512
                          0x00, 0x04,              // ptsPerFft 1024
                          0x00, 0x11, 0xC8, 0xFF,  // bins
                          0x10, 0x00, 0x08, 0x00,  // extended: spectrum time, length 8
                          0x20, 0x00, 0x00, 0x00,  // sampsIntoSec 32
                          0x01, 0xF1, 0x53, 0x65}); // time 1700000001
  const VelDevice dev = scanDevice();

  const auto hdr = VelScanStreamConv::extractEventHdr(cmd, dev, VEL_STREAM_SPECTRUM);
  ASSERT_NE(hdr, nullptr);
  EXPECT_EQ(hdr->eventKey()->timeStamp(), 1700000001);
  EXPECT_EQ(hdr->deviceInfoChunks().at(0)->serialNo(), 1234);
  EXPECT_EQ(hdr->streamStatusChunks().at(0)->temperature(), 0);  // none in this scan
  const auto fft = hdr->streamSetupChunk().fftSetup();
  ASSERT_NE(fft, nullptr);
  EXPECT_EQ((std::vector<uint32>{fft->sampleRate(), fft->numPoints(), fft->samplesBtwFfts(),
                                 fft->procType(), fft->accumCount(), fft->weighting()}),
            (std::vector<uint32>{96000, 1024, 512, 4, 10, 2}));
  EXPECT_EQ(fft->refLevel(), 0xFF4C);  // the device's default reference, -180 dB

  const auto payload = VelScanStreamConv::extractSpectrumData(cmd, dev);
  ASSERT_NE(payload, nullptr);
  EXPECT_EQ(payload->streamType(), VEL_STREAM_SPECTRUM);
  EXPECT_EQ(payload->eventKey()->seqNum(), 7u);
  EXPECT_EQ(payload->data()->sampleNum(), 32u);
  EXPECT_EQ(payload->data()->numSamples(), 4);
  EXPECT_EQ(samples(*payload->data()), (Bytes{0x00, 0x11, 0xC8, 0xFF}));
}

TEST(VelScanStreamConv, AbsentChunksGiveEmptyResults) {
  LogCapture log;
  const VelDevice dev = scanDevice();
  VelScanStreamConv conv;
  const auto waveOnly = parse(waveScan(3));
  const auto envOnly = parse({0x06, 0xEB, 0x00, 0x2C, 0x01});
  for (const auto& cmd : {envOnly, std::shared_ptr<VelDataCollectCmd>()}) {
    EXPECT_EQ(VelScanStreamConv::extractEventHdr(cmd, dev, VEL_STREAM_WAVEFORM), nullptr);
    EXPECT_EQ(VelScanStreamConv::extractSpectrumData(cmd, dev), nullptr);
    bool lost = true;
    EXPECT_EQ(conv.extractWaveData(cmd, dev, lost), nullptr);
    EXPECT_FALSE(lost);
  }
  EXPECT_EQ(VelScanStreamConv::extractSpectrumData(waveOnly, dev), nullptr);
  EXPECT_EQ(VelScanStreamConv::extractEventHdr(waveOnly, dev, VEL_STREAM_SPECTRUM), nullptr);
  EXPECT_EQ(VelScanStreamConv::getEventKeyChunk(waveOnly, VEL_STREAM_STATUS), nullptr);
  EXPECT_EQ(conv.next(), 0u);  // nothing was checked
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
