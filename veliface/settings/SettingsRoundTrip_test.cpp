// Every tag class through its two external forms: the text form and a job-setup frame
// decoded by the control processor.

#include <veliface/control/VelControlProcessor.h>
#include <veliface/settings/VelJobSettingsTag.h>
#include <veliface/settings/VelJobSetup.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <typeindex>
#include <vector>

namespace {

struct Sample {
  JobTagKey key;
  const char* name;
  std::shared_ptr<VelJobSettingsTag> tag;
};

// One tag of every class with a value that differs from 0 and from the getters' defaults.
std::vector<Sample> samples() {
  HciDeviceIpListTag ips(std::vector<uint32>{0xC0A80015u, 0xC0A80016u});
  ips.setHciAddr(0xC0A8000Au);
  return {
      {AUX_PIN, "AUX_PIN", std::make_shared<VelAuxPinTag>(AUX_FUNC_SYNC_OUT)},
      {LOG_START_TIME, "LOG_START_TIME", std::make_shared<VelLogStartTimeTag>(-1700000000)},
      {FFT_SAMPLE_RATE, "FFT_SAMPLE_RATE", std::make_shared<VelSpecSampRateTag>(SAMP_RATE_64000)},
      {FFT_REF_LEVEL, "FFT_REF_LEVEL", std::make_shared<VelSpecRefTag>(-175)},
      {FFT_PTS_PER, "FFT_PTS_PER", std::make_shared<VelPtsPerFftTag>(2048u)},
      {FFT_PTS_BTW, "FFT_PTS_BTW", std::make_shared<VelPtsBtwFftTag>(1000u)},
      {FFT_TYPE, "FFT_TYPE", std::make_shared<VelFftProcTag>(FFT_PROC_MAX)},
      {FFT_ACCUM, "FFT_ACCUM", std::make_shared<VelFftAccumTag>(12u)},
      {FFT_WEIGHT, "FFT_WEIGHT", std::make_shared<VelFftWeightTag>(3u)},
      {FFT_LOG_MODE, "FFT_LOG_MODE", std::make_shared<VelSpecLogModeTag>(LOG_MODE_TRIGGERED)},
      {FFT_LOG_LENGTH, "FFT_LOG_LENGTH", std::make_shared<VelSpecLogLenTag>(60u)},
      {DUTY_CYCLE_TIME, "DUTY_CYCLE_TIME", std::make_shared<VelDutyCycleTimeTag>(3600u)},
      {DUTY_RUN_TIME, "DUTY_RUN_TIME", std::make_shared<VelDutyCycleActTag>(600u)},
      {DUTY_IGNORE_TIME_CHANGE, "DUTY_IGNORE_TIME_CHANGE",
       std::make_shared<VelDutyCycleIgnTimeTag>(1u)},
      {WAVE_SAMPLE_RATE, "WAVE_SAMPLE_RATE", std::make_shared<VelWavSampleRateTag>(SAMP_RATE_128000)},
      {WAVE_BIT_DEPTH, "WAVE_BIT_DEPTH", std::make_shared<VelWavBitDepthTag>(16u)},
      {WAVE_GAIN, "WAVE_GAIN", std::make_shared<VelWavGainTag>(6u)},
      {WAVE_ENDIAN, "WAVE_ENDIAN", std::make_shared<VelWavByteOrderTag>(7u)},
      {WAVE_LOG_MODE, "WAVE_LOG_MODE", std::make_shared<VelWavLogModeTag>(LOG_MODE_DUTY_CYCLE)},
      {WAVE_LOG_LENGTH, "WAVE_LOG_LENGTH", std::make_shared<VelWavLogLenTag>(300u)},
      {AUX_MSG, "AUX_MSG", std::make_shared<VelAuxMsgTag>(AUX_MSG_NMEA)},
      {ARRAY_DEV_TYPE, "ARRAY_DEV_TYPE", std::make_shared<HciDevTypeTag>(DEV_UNSUPPORTED)},
      {ARRAY_CTRL_MODE, "ARRAY_CTRL_MODE", std::make_shared<HciControlModeTag>(2u)},
      {ARRAY_WAVE_LOG_MODE, "ARRAY_WAVE_LOG_MODE",
       std::make_shared<HciWavLogModeTag>(LOG_MODE_CONTINUOUS)},
      {ARRAY_FFT_LOG_MODE, "ARRAY_FFT_LOG_MODE", std::make_shared<HciFftLogModeTag>(LOG_MODE_TRIGGERED)},
      {ARRAY_EPOCH_LOG_MODE, "ARRAY_EPOCH_LOG_MODE", std::make_shared<HciEpochLogModeTag>(9u)},
      {ARRAY_WAVE_LOG_LENGTH, "ARRAY_WAVE_LOG_LENGTH", std::make_shared<HciWavLogLenTag>(120u)},
      {ARRAY_FFT_LOG_LENGTH, "ARRAY_FFT_LOG_LENGTH", std::make_shared<HciFftLogLenTag>(240u)},
      {ARRAY_NETMASK, "ARRAY_NETMASK", std::make_shared<HciSubnetTag>(0xFFFFFF00u)},
      {ARRAY_GATEWAY, "ARRAY_GATEWAY", std::make_shared<HciGatewayTag>(0xC0A80001u)},
      {ARRAY_DNS, "ARRAY_DNS", std::make_shared<HciDnsTag>(0x08080808u)},
      {CONSERVE_BATT, "CONSERVE_BATT", std::make_shared<HciConsvBattTag>(HCI_CTRL_STREAM)},
      {ARRAY_LOG_START_TIME, "ARRAY_LOG_START_TIME", std::make_shared<HciLogStartTimeTag>(2000000000)},
      {ARRAY_DUTY_CYCLE_TIME, "ARRAY_DUTY_CYCLE_TIME", std::make_shared<HciDutyCycleTimeTag>(7200u)},
      {ARRAY_DUTY_RUN_TIME, "ARRAY_DUTY_RUN_TIME", std::make_shared<HciDutyCycleActTag>(900u)},
      {ARRAY_DUTY_DATA_TYPE, "ARRAY_DUTY_DATA_TYPE", std::make_shared<HciDutyCycleDataTag>(2u)},
      // An even count: the padding of an odd list would not be consumed and would shift the
      // tag that follows.
      {ARRAY_SERIALS, "ARRAY_SERIALS",
       std::make_shared<HciDeviceListTag>(std::vector<uint16>{1201, 65535, 0, 1202})},
      {ARRAY_IP_ADDR, "ARRAY_IP_ADDR", std::make_shared<HciDeviceIpListTag>(ips)},
  };
}

JobTagMap sampleMap() {
  JobTagMap m;
  for (const Sample& s : samples()) m[s.key] = s.tag;
  return m;
}

// Same class and same value. The text forms are pinned by hand elsewhere, so equal text of
// the same class is equal content.
void expectSameTag(const std::shared_ptr<VelJobSettingsTag>& got,
                   const std::shared_ptr<VelJobSettingsTag>& want) {
  ASSERT_NE(got, nullptr) << want->toString();
  const VelJobSettingsTag& g = *got;
  const VelJobSettingsTag& w = *want;
  EXPECT_EQ(std::type_index(typeid(g)), std::type_index(typeid(w))) << want->toString();
  EXPECT_EQ(got->tagKey(), want->tagKey());
  EXPECT_EQ(got->toString(), want->toString());
}

TEST(SettingsRoundTrip, OneDistinctClassPerKeyUnderItsName) {
  // 21 per-device keys, 15 array keys and the two member lists.
  const auto all = samples();
  ASSERT_EQ(all.size(), 38u);
  std::set<std::type_index> classes;
  for (const Sample& s : all) {
    const VelJobSettingsTag& tag = *s.tag;
    classes.insert(std::type_index(typeid(tag)));
    EXPECT_EQ(s.tag->tagKey(), s.key) << s.name;
    EXPECT_EQ(VelJobSettingsTag::keyName(s.key), s.name);
    EXPECT_EQ(s.tag->keyString(), std::string("$") + s.name + "=");
  }
  EXPECT_EQ(classes.size(), 38u);
}

TEST(SettingsRoundTrip, EveryTagThroughItsTextForm) {
  for (const Sample& s : samples()) {
    SCOPED_TRACE(s.name);
    expectSameTag(VelJobSettingsTag::fromString(s.tag->toString()), s.tag);
  }
  // Empty lists read back empty.
  expectSameTag(VelJobSettingsTag::fromString("$ARRAY_SERIALS="),
                std::make_shared<HciDeviceListTag>());
  expectSameTag(VelJobSettingsTag::fromString("$ARRAY_IP_ADDR=0.0.0.0"),
                std::make_shared<HciDeviceIpListTag>());
}

TEST(SettingsRoundTrip, EveryTagThroughAJobSetupFrameAndTheControlProcessor) {
  const JobTagMap sent = sampleMap();
  VelControlMessage request(std::make_shared<VelJobSetupCmd>(sent, JOB_SETUP_TAG_BASED));
  std::vector<uint8> frame(2048);
  uint64 len = 0;
  request.serialize(&len, frame.data());
  ASSERT_GT(len, 6u);
  ASSERT_EQ(frame[0], 0x2A);
  ASSERT_EQ(frame[1], 0x44);
  ASSERT_EQ(frame[2] | (frame[3] << 8), static_cast<int>(len - 6));

  CircularByteBuffer buffer(4096);
  buffer.write(frame.data(), len);
  VelControlProcessor processor;
  const auto message = processor.pump(buffer);
  ASSERT_NE(message, nullptr);
  const auto* response = dynamic_cast<const VelJobSetupCmd*>(message->payload().get());
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(response->setupType(), JOB_SETUP_TAG_BASED);
  EXPECT_FALSE(response->isError());

  const JobTagMap& got = response->jobSetup();
  ASSERT_EQ(got.size(), sent.size());
  for (const auto& [key, tag] : sent) {
    SCOPED_TRACE(VelJobSettingsTag::keyName(key));
    ASSERT_TRUE(response->containsTag(key));
    expectSameTag(got.at(key), tag);
  }
  EXPECT_EQ(buffer.bytesAvailable(), 2u);  // the CRC of this code is left unread
}

// Cuts and corrupts a valid response and checks what every parse keeps: known keys only,
// and for a cut payload the leading tags that were wholly present, each unchanged, and the
// one that was cut, of its class.
TEST(SettingsRoundTrip, DamagedResponsesParseWithoutOverrunningAndKeepWhatWasRead) {
  const JobTagMap sent = sampleMap();
  std::vector<uint8> payload(2048);
  uint64 len = 0;
  VelJobSetupCmd(sent, JOB_SETUP_TAG_BASED).serialize(&len, payload.data());
  payload.resize(len);

  std::set<JobTagKey> known;
  for (const auto& entry : sent) known.insert(entry.first);

  // Every truncation: an exactly sized copy so that a read past the end is a sanitizer error.
  for (std::size_t cut = 0; cut <= payload.size(); ++cut) {
    const std::vector<uint8> piece(payload.begin(), payload.begin() + static_cast<long>(cut));
    std::unique_ptr<VelJobSetupCmd> r(VelJobSetupCmd::create(piece.data(), piece.size()));
    const JobTagMap& got = r->jobSetup();
    auto want = sent.begin();
    for (const auto& [key, tag] : got) {
      ASSERT_EQ(key, want->first) << "cut " << cut;
      const bool last = key == got.rbegin()->first;
      if (last && cut < payload.size() && (key == ARRAY_SERIALS || key == ARRAY_IP_ADDR)) {
        // A list cut short keeps the entries that were wholly present; an address list cut
        // before its hub address has none.
        const std::string full = want->second->toString();
        const bool noHub = key == ARRAY_IP_ADDR && tag->toString() == tag->keyString() + "0.0.0.0";
        if (!noHub) {
          EXPECT_EQ(full.compare(0, tag->toString().size(), tag->toString()), 0) << "cut " << cut;
        }
      } else if (last && cut < payload.size() && tag->toString() != want->second->toString()) {
        // A value cut short is still a tag of its class; what it could not read keeps the
        // constructor value.
        const VelJobSettingsTag& g = *tag;
        const VelJobSettingsTag& w = *want->second;
        EXPECT_EQ(std::type_index(typeid(g)), std::type_index(typeid(w))) << "cut " << cut;
      } else {
        expectSameTag(tag, want->second);
      }
      ++want;
    }
    if (cut == payload.size()) {
      EXPECT_EQ(got.size(), sent.size());
    }
  }

  // Random corruption of counts, keys, lengths and values, at the head and inside the tags.
  LogCapture quiet;
  std::mt19937 rng(20240611);
  for (int round = 0; round < 3000; ++round) {
    std::vector<uint8> bad = payload;
    const int flips = 1 + static_cast<int>(rng() % 6);
    for (int i = 0; i < flips; ++i) {
      const std::size_t at = round % 3 == 0 ? rng() % 8 : rng() % bad.size();
      bad[at] = static_cast<uint8>(rng());
    }
    bad.resize(rng() % (bad.size() + 1));
    for (int asEnquiry = 0; asEnquiry < 2; ++asEnquiry) {
      JobTagMap got;
      if (asEnquiry) {
        std::unique_ptr<VelJobSetupEnq> r(VelJobSetupEnq::create(bad.data(), bad.size()));
        got = r->jobSetup();
      } else {
        std::unique_ptr<VelJobSetupCmd> r(VelJobSetupCmd::create(bad.data(), bad.size()));
        got = r->jobSetup();
      }
      for (const auto& [key, tag] : got) {
        ASSERT_TRUE(known.count(key)) << "round " << round << " key " << key;
        ASSERT_NE(tag, nullptr);
        EXPECT_EQ(tag->tagKey(), key);
      }
    }
  }
}

}  // namespace
