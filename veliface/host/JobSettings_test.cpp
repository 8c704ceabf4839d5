#include <veliface/host/JobSettings.h>
#include <veliface/host/SettingsCatalog.h>

#include <mavcommon/ByteStream.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace veliface::host {
namespace {

JobTagMap parsed(const std::vector<std::string>& settings) {
  JobTagMap tags;
  std::string error;
  EXPECT_TRUE(parseJobSettings(settings, tags, error)) << error;
  return tags;
}

std::unique_ptr<VelJobSetupCmd> decoded(const std::vector<uint8>& payload) {
  ByteStream s(payload.data(), payload.size());
  return std::unique_ptr<VelJobSetupCmd>(VelJobSetupCmd::deserialize(&s));
}

TEST(JobSettings, ParsingNamesTheSettingThatIsWrong) {
  JobTagMap tags;
  std::string error;
  EXPECT_TRUE(parseJobSettings({"WAVE_SAMPLE_RATE=96000", "WAVE_BIT_DEPTH=16"}, tags, error));
  ASSERT_EQ(tags.size(), 2u);
  EXPECT_EQ(tags.at(WAVE_SAMPLE_RATE)->toString(), "$WAVE_SAMPLE_RATE=96000");

  EXPECT_FALSE(parseJobSettings({"WAVE_RATE=1"}, tags, error));
  EXPECT_EQ(error, "unknown setting WAVE_RATE");
  EXPECT_FALSE(parseJobSettings({"WAVE_SAMPLE_RATE=99999999999999"}, tags, error));
  EXPECT_NE(error.find("out of range"), std::string::npos) << error;
  // The tag parser would take each of these for a number it starts with.
  for (const char* typed : {"WAVE_SAMPLE_RATE=fast", "WAVE_SAMPLE_RATE=96k", "WAVE_SAMPLE_RATE=96000.5",
                            "WAVE_SAMPLE_RATE= 96000", "WAVE_SAMPLE_RATE=-1", "WAVE_SAMPLE_RATE=", "LOG_START_TIME=2026-11-24",
                            "LOG_START_TIME=2026-11-24T10:00:00", "ARRAY_SERIALS=1201,,1202", "ARRAY_SERIALS=70000",
                            "ARRAY_NETMASK=255.255.255.256", "ARRAY_IP_ADDR=10.0.0.1,10.0.0"}) {
    EXPECT_FALSE(parseJobSettings({typed}, tags, error)) << typed;
    EXPECT_NE(error.find("is not a"), std::string::npos) << typed << ": " << error;
  }
  EXPECT_FALSE(parseJobSettings({"WAVE_SAMPLE_RATE"}, tags, error));
  EXPECT_NE(error.find("expected NAME=VALUE"), std::string::npos) << error;
}

TEST(JobSettings, TimesTakeIso8601WithAZoneOrSecondsAndListsTheirOwnSyntax) {
  std::string canonical, error;
  ASSERT_TRUE(checkSetting("LOG_START_TIME=2026-11-24T10:00:00Z", canonical, error)) << error;
  EXPECT_EQ(canonical, "LOG_START_TIME=1795514400");
  ASSERT_TRUE(checkSetting("LOG_START_TIME=2026-11-24T11:30:00+01:30", canonical, error)) << error;
  EXPECT_EQ(canonical, "LOG_START_TIME=1795514400");
  ASSERT_TRUE(checkSetting("ARRAY_LOG_START_TIME=2026-11-24T10:00:00.250-0100", canonical, error)) << error;
  EXPECT_EQ(canonical, "ARRAY_LOG_START_TIME=1795518000");
  ASSERT_TRUE(checkSetting("LOG_START_TIME=1795514400", canonical, error)) << error;
  ASSERT_TRUE(checkSetting("FFT_REF_LEVEL=-5", canonical, error)) << error;
  ASSERT_TRUE(checkSetting("ARRAY_SERIALS=1201,1202", canonical, error)) << error;
  ASSERT_TRUE(checkSetting("ARRAY_IP_ADDR=192.168.0.10,192.168.0.21", canonical, error)) << error;
  // Every name of the library's tag table is in the catalog, with a kind and a meaning.
  EXPECT_EQ(settingsCatalog().size(), 38u);
  for (const SettingInfo& s : settingsCatalog()) {
    const char* sample = s.kind == SettingKind::Ipv4 || s.kind == SettingKind::AddressList ? "10.0.0.1"
                         : s.kind == SettingKind::SerialList                                ? "1201"
                                                                                             : "7";
    ASSERT_TRUE(checkSetting(s.name + "=" + sample, canonical, error)) << error;
    const auto tag = VelJobSettingsTag::fromString("$" + canonical);
    ASSERT_NE(tag, nullptr) << s.name;
    EXPECT_EQ(tag->tagKey(), s.key) << s.name;
    EXPECT_FALSE(std::string(s.what).empty()) << s.name;
  }
}

TEST(JobSettings, AnEchoConfirmsEachSettingOrSaysWhatTheDeviceApplied) {
  const JobTagMap sent = parsed({"WAVE_SAMPLE_RATE=96000", "WAVE_BIT_DEPTH=16"});
  const auto all = judgeJobSetup(sent, VelJobSetupCmd(sent));
  EXPECT_TRUE(all.confirmed);
  EXPECT_FALSE(all.rejected);
  ASSERT_EQ(all.settings.size(), 2u);
  EXPECT_TRUE(all.settings[0].accepted && all.settings[1].accepted);

  // The device rounded the rate and left the depth out.
  const auto changed = judgeJobSetup(sent, VelJobSetupCmd(parsed({"WAVE_SAMPLE_RATE=64000"})));
  EXPECT_FALSE(changed.confirmed);
  EXPECT_FALSE(changed.rejected);
  EXPECT_EQ(changed.settings[0].answered, "$WAVE_SAMPLE_RATE=64000");
  EXPECT_EQ(changed.settings[1].reason, "not echoed by the device");
  EXPECT_EQ(changed.error.find('\n'), std::string::npos);
}

TEST(JobSettings, AnAnswerThatIsNotTagBasedConfirmsNothing) {
  const JobTagMap sent = parsed({"WAVE_SAMPLE_RATE=96000"});
  const auto out = judgeJobSetup(sent, VelJobSetupCmd({}, static_cast<JobSetupType>(7)));
  EXPECT_FALSE(out.confirmed);
  EXPECT_FALSE(out.rejected);
  EXPECT_NE(out.error.find("did not confirm the settings"), std::string::npos) << out.error;
}

TEST(JobSettings, ARejectionGivesEachSettingItsVerdictOnOneLine) {
  const JobTagMap sent = parsed({"WAVE_SAMPLE_RATE=96000", "WAVE_BIT_DEPTH=16"});
  // Error record: type 0xFFFF, code 0xFFF5, setup type 20, two verdicts:
  // sample rate too high (4), bit depth accepted (0).
  const auto answer = decoded({0xFF, 0xFF, 0xF5, 0xFF, 0x14, 0x00, 0x02, 0x00,  //
                               0x0E, 0x00, 0x04, 0x00, 0x0F, 0x00, 0x00, 0x00});
  ASSERT_TRUE(answer && answer->isError());
  const auto out = judgeJobSetup(sent, *answer);
  EXPECT_TRUE(out.rejected);
  EXPECT_FALSE(out.confirmed);
  EXPECT_EQ(out.error.find('\n'), std::string::npos) << out.error;
  EXPECT_NE(out.error.find("WAVE_SAMPLE_RATE: "), std::string::npos) << out.error;
  EXPECT_EQ(out.error.find("WAVE_BIT_DEPTH"), std::string::npos) << out.error;
  EXPECT_FALSE(out.settings[0].reason.empty());
  EXPECT_NE(out.settings[0].reason, out.settings[1].reason);

  // An unrecognised tag names the setting.
  const auto unknown = decoded({0xFF, 0xFF, 0xF3, 0xFF, 0x14, 0x00, 0x0F, 0x00});
  ASSERT_TRUE(unknown);
  const auto byKey = judgeJobSetup(sent, *unknown);
  EXPECT_EQ(byKey.error, "Job Setup Error: Unrecognized Tag: WAVE_BIT_DEPTH");
  EXPECT_EQ(byKey.settings[1].reason, "named by the device as the cause");
}

}  // namespace
}  // namespace veliface::host
