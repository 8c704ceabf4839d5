#include <sim/SimDevice.h>

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/Endian.h>
#include <veliface/common/VelMsgPayload.h>
#include <veliface/control/VelControlProcessor.h>
#include <veliface/control/VelEnquireCmd.h>
#include <veliface/control/VelSmallCmd.h>
#include <veliface/discovery/VelMarcoProcessor.h>
#include <veliface/settings/VelJobSetup.h>
#include <veliface/settings/VelJobSettingsTag.h>
#include <veliface/stream/VelDataCollectCmd.h>
#include <veliface/trigger/VelEnquireTrigger.h>
#include <veliface/trigger/VelTrigger.h>

#include <LogCapture.h>

#include <gtest/gtest.h>

namespace velsim {
namespace {

// Everything the host library builds goes through its own framing.
Bytes request(std::shared_ptr<VelControlMsgPayload> payload) {
  Bytes buf(0x10010);
  uint64 len = 0;
  VelControlMessage(std::move(payload)).serialize(&len, buf.data());
  buf.resize(len);
  return buf;
}

// A request whose payload the library cannot build (unknown keys, bad lengths).
Bytes rawRequest(uint8 code, const Bytes& payload) {
  Bytes out;
  ControlFrameEncoder::appendResponse(out, code, payload);  // same framing both ways
  return out;
}

std::vector<std::shared_ptr<VelControlMessage>> decode(const Bytes& bytes) {
  CircularByteBuffer buf(bytes.size() + 8);
  buf.write(bytes.data(), bytes.size());
  VelControlProcessor proc;
  std::vector<std::shared_ptr<VelControlMessage>> out;
  while (auto m = proc.pump(buf)) out.push_back(m);
  return out;
}

// Sends one request and decodes the single response as `T`.
template <typename T>
std::shared_ptr<T> ask(SimDevice& dev, const Bytes& req) {
  const Bytes reply = dev.handleControl(req.data(), req.size());
  const auto msgs = decode(reply);
  EXPECT_EQ(msgs.size(), 1u);
  if (msgs.size() != 1) return nullptr;
  auto p = std::dynamic_pointer_cast<T>(msgs[0]->payload());
  EXPECT_TRUE(p);
  return p;
}

JobTagMap tags(std::initializer_list<std::shared_ptr<VelJobSettingsTag>> list) {
  JobTagMap m;
  for (const auto& t : list) m[t->tagKey()] = t;
  return m;
}

std::vector<std::string> texts(const JobTagMap& m) {
  std::vector<std::string> out;
  for (const auto& [key, tag] : m) out.push_back(tag->toString());
  return out;
}

TEST(SimDevice, EnquireAnswersTheConfiguredIdentityWithTheNewestRecord) {
  struct Case {
    int type;
    uint8 version;
  };
  for (const Case c : {Case{5, 5}, Case{8, 1}, Case{13, 1}}) {
    DeviceConfig cfg;
    cfg.type = c.type;
    cfg.serial = 4711;
    cfg.firmware = "3.01";
    cfg.buildDate = "Jan  2 2025 08:15";
    cfg.model = "Aurel HF-2";
    cfg.firmwareRel = "3.01.7";
    SimDevice dev(cfg);
    auto enq = ask<VelEnquireCmd>(dev, request(std::make_shared<VelEnquireCmd>()));
    ASSERT_TRUE(enq) << c.type;
    EXPECT_EQ(enq->serial(), 4711);
    EXPECT_EQ(enq->devType(), c.type);
    EXPECT_EQ(enq->firmwareVer(), "3.01");
    EXPECT_EQ(enq->buildDate(), "Jan  2 2025 08:15");
    ASSERT_TRUE(enq->deviceData()) << c.type;
    EXPECT_EQ(enq->deviceData()->enqVersion(), c.version);
    if (auto hf = std::dynamic_pointer_cast<VelEnqHFData>(enq->deviceData())) {
      EXPECT_EQ(hf->modelString(), "Aurel HF-2");
      EXPECT_EQ(hf->firmwareRel(), "3.01.7");
      EXPECT_EQ(hf->sensitivity(), cfg.sensitivity);
    } else if (auto hub = std::dynamic_pointer_cast<VelEnqHCIData>(enq->deviceData())) {
      EXPECT_EQ(hub->firmwareRel(), "3.01.7");
    } else {
      auto rec = std::dynamic_pointer_cast<VelEnqSmRecData>(enq->deviceData());
      ASSERT_TRUE(rec);
      EXPECT_EQ(rec->modelString(), "Aurel HF-2");
      EXPECT_GT(rec->hddSpace(), 0);
    }
  }
}

TEST(SimDevice, SetTimeMovesTheDeviceClockAndEchoes) {
  int64 host = 500;
  SimDevice dev(DeviceConfig{}, [&] { return host; });
  auto echo = ask<VelSetTimeCmd>(dev, request(std::make_shared<VelSetTimeCmd>(1700000000)));
  ASSERT_TRUE(echo);
  EXPECT_EQ(echo->time(), 1700000000);
  EXPECT_EQ(dev.deviceTime(), 1700000000);
  host += 7;
  EXPECT_EQ(dev.deviceTime(), 1700000007);
}

TEST(SimDevice, AcceptedJobIsEchoedEnquiredAndDrivesTheStreams) {
  SimDevice dev(DeviceConfig{});
  const JobTagMap job = tags({std::make_shared<VelWavSampleRateTag>(96000u),
                              std::make_shared<VelWavBitDepthTag>(16u),
                              std::make_shared<VelPtsPerFftTag>(2048u),
                              std::make_shared<VelSpecSampRateTag>(32000u)});
  auto echo = ask<VelJobSetupCmd>(dev, request(std::make_shared<VelJobSetupCmd>(job)));
  ASSERT_TRUE(echo);
  EXPECT_FALSE(echo->isError());
  EXPECT_EQ(texts(echo->jobSetup()), texts(job));

  auto enq = ask<VelJobSetupEnq>(dev, request(std::make_shared<VelJobSetupEnq>()));
  ASSERT_TRUE(enq);
  EXPECT_EQ(enq->status(), 0);
  for (const auto& [key, tag] : job) {
    ASSERT_TRUE(enq->containsTag(key));
    EXPECT_EQ(enq->jobSetup().at(key)->toString(), tag->toString());
  }
  const StreamParams p = dev.streamParams();
  EXPECT_EQ(p.sampleRate, 96000u);
  EXPECT_EQ(p.bitDepth, 16u);
  EXPECT_EQ(p.fftPoints, 2048u);
  EXPECT_EQ(p.fftSampleRate, 32000u);
}

TEST(SimDevice, RejectedValuesGetOneVerdictPerTagAndLeaveTheJob) {
  SimDevice dev(DeviceConfig{});
  const auto before = dev.job();
  const JobTagMap job = tags({std::make_shared<VelWavSampleRateTag>(44100u),   // not offered
                              std::make_shared<VelSpecSampRateTag>(1024000u),  // above the set
                              std::make_shared<VelPtsPerFftTag>(128u),         // too few
                              std::make_shared<VelWavBitDepthTag>(20u),        // no such depth
                              std::make_shared<VelWavGainTag>(1u)});           // fine
  LogCapture log;
  auto r = ask<VelJobSetupCmd>(dev, request(std::make_shared<VelJobSetupCmd>(job)));
  ASSERT_TRUE(r);
  ASSERT_TRUE(r->isError());
  ASSERT_TRUE(r->error());
  EXPECT_EQ(r->error()->errorCode(), 0xFFF5);
  const std::map<JobTagKey, TagErrCode> want = {{FFT_SAMPLE_RATE, static_cast<TagErrCode>(4)},
                                                {FFT_PTS_PER, static_cast<TagErrCode>(5)},
                                                {WAVE_SAMPLE_RATE, static_cast<TagErrCode>(1)},
                                                {WAVE_BIT_DEPTH, static_cast<TagErrCode>(1)},
                                                {WAVE_GAIN, static_cast<TagErrCode>(0)}};
  EXPECT_EQ(r->error()->tagErrors(), want);
  EXPECT_EQ(dev.job(), before);

  // A spectrum rate above the waveform rate conflicts with it.
  r = ask<VelJobSetupCmd>(dev, request(std::make_shared<VelJobSetupCmd>(tags(
                                   {std::make_shared<VelSpecSampRateTag>(96000u)}))));
  ASSERT_TRUE(r && r->error());
  EXPECT_EQ(r->error()->tagErrors().at(FFT_SAMPLE_RATE), static_cast<TagErrCode>(2));
}

TEST(SimDevice, UnknownKeysAndBadLengthsAreNamed) {
  struct Case {
    int type;
    Bytes payload;  // setup type 20, one tag
    uint16 code;
    uint16 key;
  };
  const std::vector<Case> cases = {
      // Key 21 is no tag at all.
      {5, {0x14, 0, 1, 0, 0x15, 0, 4, 0, 1, 0, 0, 0}, 0xFFF3, 21},
      // Array keys mean nothing to a single hydrophone, but a hub takes them.
      {5, {0x14, 0, 1, 0, 0x01, 0x40, 4, 0, 1, 0, 0, 0}, 0xFFF3, 0x4001},
      // WAVE_GAIN sent with two value bytes.
      {5, {0x14, 0, 1, 0, 0x10, 0, 2, 0, 1, 0}, 0xFFF4, 16},
  };
  for (const Case& c : cases) {
    DeviceConfig cfg;
    cfg.type = c.type;
    SimDevice dev(cfg);
    LogCapture log;
    auto r = ask<VelJobSetupCmd>(dev, rawRequest(0x44, c.payload));
    ASSERT_TRUE(r && r->isError() && r->error()) << c.key;
    EXPECT_EQ(r->error()->errorCode(), c.code);
    EXPECT_EQ(r->error()->badTagKey(), c.key);
  }
  DeviceConfig hubCfg;
  hubCfg.type = 8;
  SimDevice hub(hubCfg);
  auto ok = ask<VelJobSetupCmd>(hub, rawRequest(0x44, cases[1].payload));
  ASSERT_TRUE(ok);
  EXPECT_FALSE(ok->isError());
  EXPECT_TRUE(ok->containsTag(ARRAY_CTRL_MODE));
}

std::shared_ptr<VelTrigger_5_6> bandTrigger(uint8 num, uint32 lo, uint32 hi) {
  auto t = std::make_shared<VelTrigger_5_6>(5);
  t->setTrigNum(num);
  t->setEnabled(1);
  t->setDuration(3);
  t->setEventHold(2);
  t->setMinFreq(lo);
  t->setMaxFreq(hi);
  t->setThreshold(-40);
  t->setPreTrigger(1);
  return t;
}

TEST(SimDevice, TriggersAreSetUpEnquiredAndRemoved) {
  SimDevice dev(DeviceConfig{});
  const auto t1 = bandTrigger(1, 1000, 2000);
  auto r = ask<VelTrigger>(dev, request(t1));
  ASSERT_TRUE(r);
  EXPECT_EQ(r->errorCode(), 0);
  EXPECT_TRUE(*r == *t1);

  // Refusals name their reason in the error byte; nothing is stored.
  const struct {
    std::shared_ptr<VelTrigger_5_6> t;
    uint8 err;
  } bad[] = {{bandTrigger(2, 3000, 2000), 249}, {bandTrigger(2, 1000, 30000), 0x02}};
  for (const auto& b : bad) {
    r = ask<VelTrigger>(dev, request(b.t));
    ASSERT_TRUE(r);
    EXPECT_EQ(r->errorCode(), b.err);
  }

  auto list = ask<VelEnquireTrigger>(dev, request(std::make_shared<VelEnquireTrigger>()));
  ASSERT_TRUE(list);
  ASSERT_EQ(list->triggers().size(), 1u);
  ASSERT_TRUE(list->triggers()[0]);
  EXPECT_TRUE(*list->triggers()[0] == *t1);

  auto removal = bandTrigger(1, 0, 0);
  removal->setCommandCode(0x54);
  Bytes reply = dev.handleControl(request(removal).data(), request(removal).size());
  EXPECT_FALSE(reply.empty());
  EXPECT_TRUE(dev.triggers().empty());
  list = ask<VelEnquireTrigger>(dev, request(std::make_shared<VelEnquireTrigger>()));
  ASSERT_TRUE(list);
  EXPECT_TRUE(list->triggers().empty());
}

TEST(SimDevice, DataCollectAnswersEveryRequestedChunk) {
  SimDevice dev(DeviceConfig{});
  uint64 len = 0;
  VelMsgPayload req(0x43, 0x36);
  const uint8* frame = req.getMessage(len);
  auto r = ask<VelDataCollectCmd>(dev, Bytes(frame, frame + len));
  ASSERT_TRUE(r);
  EXPECT_EQ(r->mask(), 0x36);
  auto hum = r->chunk<DataCollHumidityChunk>();
  auto temp = r->chunk<DataCollTemperatureChunk>();
  auto spec = r->chunk<DataCollSpecChunk>();
  auto wav = r->chunk<DataCollWavChunk>();
  ASSERT_TRUE(hum && temp && spec && wav);
  EXPECT_FLOAT_EQ(hum->humidity(), 31.2f);
  EXPECT_FLOAT_EQ(temp->temperature(), 21.5f);
  EXPECT_EQ(spec->ptsPerFft(), 1024);
  EXPECT_EQ(spec->numBytes(), 512);
  EXPECT_EQ(spec->specData().size(), 512u);
  EXPECT_EQ(wav->sampleRate(), 48000u);
  EXPECT_EQ(wav->numBytes(), 1024 * 3);
  EXPECT_EQ(wav->wavData().size(), 1024u * 3u);
  EXPECT_EQ(wav->seqNum(), 0);
  EXPECT_FALSE(r->getChunk(DC_HEADING));

  // Extended data: heading and the time of the waveform snapshot; sequence numbers count on.
  len = 0;
  VelMsgPayload ext(0x43, 0x28);
  frame = ext.getMessage(len);
  r = ask<VelDataCollectCmd>(dev, Bytes(frame, frame + len));
  ASSERT_TRUE(r);
  ASSERT_TRUE(r->chunk<DataCollHeadingChunk>());
  EXPECT_EQ(r->chunk<DataCollHeadingChunk>()->accZ(), 1002);
  ASSERT_TRUE(r->chunk<DataCollWavTimeChunk>());
  EXPECT_FALSE(r->chunk<DataCollSpecTimeChunk>());
  ASSERT_TRUE(r->chunk<DataCollWavChunk>());
  EXPECT_EQ(r->chunk<DataCollWavChunk>()->seqNum(), 1);
}

TEST(SimDevice, DiscoveryEnquiryIsAnsweredOnlyForThisDevice) {
  DeviceConfig cfg;
  cfg.serial = 1234;
  cfg.ipAddr = MavIpAddr("192.168.7.20").toInt();
  SimDevice dev(cfg);
  const auto marco = [](VelDeviceType type, uint16 serial) {
    auto p = std::make_shared<VelNetworkEnqireCmd>(type, serial, MavNetHostInfo());
    p->setResponsePort(40000);
    Bytes buf(64);
    uint64 len = 0;
    VelMarcoCommand(p).serialize(&len, buf.data());
    buf.resize(len);
    return buf;
  };
  Bytes req = marco(DEV_NONE, 0);
  auto replies = dev.handleDiscovery(req.data(), req.size());
  ASSERT_EQ(replies.size(), 1u);
  EXPECT_EQ(replies[0].port, 40000);
  CircularByteBuffer buf(128);
  buf.write(replies[0].frame.data(), replies[0].frame.size());
  VelMarcoProcessor proc;
  auto msg = proc.pump(buf);
  ASSERT_TRUE(msg);
  auto w = std::dynamic_pointer_cast<VelNetworkEnqireCmd>(msg->payload());
  ASSERT_TRUE(w);
  EXPECT_EQ(w->serialNo(), 1234);
  EXPECT_EQ(w->deviceType(), DEV_AUREL_HF);
  EXPECT_EQ(w->netInfo().ipAddr().toString(), "192.168.7.20");
  EXPECT_EQ(w->netInfo().macAddr(), MavMacAddr(cfg.mac));

  for (const Bytes& other : {marco(DEV_NONE, 999), marco(DEV_ARRAY_HUB, 0)}) {
    EXPECT_TRUE(dev.handleDiscovery(other.data(), other.size()).empty());
  }
}

}  // namespace
}  // namespace velsim
