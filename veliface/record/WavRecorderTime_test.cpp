// The recorder keeps time true: gaps become listed zeros, a stream that starts over ends its
// file, and the sidecar says when each file's first sample was taken.

#include <veliface/files/MavWavHeader.h>
#include <veliface/record/WavRecorder.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <LogCapture.h>
#include <RecordStreams.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using veliface::record::WavRecorder;
namespace fs = std::filesystem;
using namespace recordtest;

namespace {

constexpr uint32 kRate = 8000;
constexpr uint16 kBlock = 1000;

// Sends second `t` of a 16-bit mono stream whose second starts at sample `seq`: its header,
// then its blocks, leaving out those whose index is in `drop`.
void second(WavRecorder& rec, int32_t t, uint64 seq, const std::set<int>& drop = {}, bool header = true) {
  if (header) rec.take(wavHeader(t, seq, kRate));
  std::vector<uint8> bytes(kBlock * 2u, static_cast<uint8>(t));
  for (int b = 0; b < static_cast<int>(kRate / kBlock); ++b)
    if (!drop.count(b)) rec.take(dataMsg(t, seq + static_cast<uint64>(b) * kBlock, bytes.data(), kBlock, 0x82, nullptr));
}

std::string slurp(const fs::path& p) {
  std::ifstream in(p);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

}  // namespace

TEST(WavRecorderTime, MissingBlocksBecomeListedZerosSoEveryFileHoldsItsWholePeriod) {
  TempDir tmp;
  Events events;
  {
    WavRecorder rec(tmp.dir, "g", 2, nullptr, &events);
    second(rec, 1000000000, 0);                // files at 1000000000 and 1000000002
    second(rec, 1000000001, 8000, {0});        // the first block after a header
    second(rec, 1000000002, 16000, {3, 4});    // two in the middle
    second(rec, 1000000003, 24000, {7});       // the last before the next header
    second(rec, 1000000004, 32000);
  }
  const auto files = wavFiles(tmp.dir);
  ASSERT_EQ(files.size(), 3u);
  const ReadBack second2 = readWav(files[1]);
  ASSERT_TRUE(second2.header);
  EXPECT_EQ(second2.header->dataSize(), 2u * 16000);  // two whole seconds, zeros included
  // Block 3 of the first second of that file stands as zeros, in its place.
  EXPECT_EQ(second2.samples.substr(6000, 4000), std::string(4000, '\0'));
  EXPECT_EQ(static_cast<uint8>(second2.samples[5999]), 0x02);
  EXPECT_EQ(static_cast<uint8>(second2.samples[10000]), 0x02);
  EXPECT_EQ(events.missed, 0u);

  const std::string side = slurp(fs::path(files[1]).replace_extension(".json"));
  EXPECT_NE(side.find("\"frames\":16000"), std::string::npos) << side;
  EXPECT_NE(side.find("\"gaps\":[{\"start_frame\":3000,\"frames\":2000},{\"start_frame\":15000,\"frames\":1000}]"),
            std::string::npos) << side;
  EXPECT_NE(side.find("\"start_time\":\"2001-09-09T01:46:42.000000Z\""), std::string::npos) << side;
  const std::string first = slurp(fs::path(files[0]).replace_extension(".json"));
  EXPECT_NE(first.find("\"gaps\":[{\"start_frame\":8000,\"frames\":1000}]"), std::string::npos) << first;
}

TEST(WavRecorderTime, TheFirstFileStartsAtTheTrueTimeOfItsFirstSample) {
  TempDir tmp;
  {
    WavRecorder rec(tmp.dir, "t", 60, nullptr);
    // The stream starts 0.75 s into its second: 2000 samples before the next whole second.
    rec.take(wavHeader(1000000000, 0, kRate));
    std::vector<uint8> bytes(4000, 1);
    rec.take(dataMsg(1000000000, 0, bytes.data(), 2000, 0x82, nullptr));
    second(rec, 1000000001, 2000);
  }
  const auto files = wavFiles(tmp.dir);
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(files[0].filename(), "t20010909_014640.wav");  // the file is named after the whole second
  const std::string side = slurp(fs::path(files[0]).replace_extension(".json"));
  EXPECT_NE(side.find("\"start_time\":\"2001-09-09T01:46:40.750000Z\""), std::string::npos) << side;
  EXPECT_NE(side.find("\"start_time_source\":\"device clock, to one sample\""), std::string::npos) << side;
}

TEST(WavRecorderTime, APauseEndsTheFileAndNothingIsFilledAcrossIt) {
  TempDir tmp;
  Events events;
  LogCapture log;
  {
    WavRecorder rec(tmp.dir, "d", 3, nullptr, &events);
    // Runs two seconds of every four; the sample count goes on through the pauses. Periods of
    // three seconds cut some runs in two (at 1000000005).
    for (int32_t t : {1000000000, 1000000001, 1000000004, 1000000005, 1000000008, 1000000009})
      second(rec, t, static_cast<uint64>(t - 1000000000) * kRate);
  }
  const auto files = wavFiles(tmp.dir);
  ASSERT_EQ(files.size(), 4u);
  uint64 total = 0;
  for (const auto& f : files) {
    const ReadBack r = readWav(f);
    ASSERT_TRUE(r.header) << f;
    total += r.header->dataSize() / 2;
    EXPECT_NE(slurp(fs::path(f).replace_extension(".json")).find("\"gap_frames\":0"), std::string::npos) << f;
  }
  EXPECT_EQ(total, 6u * kRate);
  EXPECT_EQ(files[2].filename(), "d20010909_014645.wav");
  EXPECT_EQ(events.losses.size(), 2u);  // the two pauses
  int said = 0;
  for (const std::string& l : log.lines()) said += l.find("waveform stream started over") != std::string::npos;
  EXPECT_EQ(said, 2);
}

TEST(WavRecorderTime, SeveralChannelsGoIntoOneFileOfAsManyAndAChangeStartsAnother) {
  TempDir tmp;
  Events events;
  std::vector<uint8> sent;
  {
    WavRecorder rec(tmp.dir, "c", 60, nullptr, &events);
    std::vector<uint8> frame(4 * 2 * 500);
    for (std::size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint8>(i * 7);
    rec.take(wavHeader(1000000000, 0, kRate, 0x82, 4));
    for (uint64 s = 0; s < 2000; s += 500) rec.take(dataMsg(1000000000, s, frame.data(), 500, 0x82, &sent, 4));
    // Two channels from the next block on: another format.
    rec.take(dataMsg(1000000000, 2000, frame.data(), 500, 0x82, nullptr, 2));
  }
  const auto files = wavFiles(tmp.dir);
  ASSERT_EQ(files.size(), 2u);
  const ReadBack four = readWav(files[0]);
  ASSERT_TRUE(four.header && four.header->fmt());
  EXPECT_EQ(four.header->fmt()->numChannels(), 4);
  EXPECT_EQ(four.header->fmt()->blockAlign(), 8);
  EXPECT_EQ(four.samples, std::string(sent.begin(), sent.end()));  // interleaved as sent
  // The array metadata record lists the hub and its four channels.
  const std::string bytes = slurp(files[0]);
  EXPECT_NE(bytes.find("Seq # =0"), std::string::npos);
  const ReadBack two = readWav(files[1]);
  ASSERT_TRUE(two.header && two.header->fmt());
  EXPECT_EQ(two.header->fmt()->numChannels(), 2);
  EXPECT_EQ(two.header->dataSize(), 2000u);
  EXPECT_NE(slurp(fs::path(files[1]).replace_extension(".json")).find("\"channels\":2"), std::string::npos);
  EXPECT_EQ(events.missed, 0u);
}
