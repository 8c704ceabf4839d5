#include <veliface/settings/VelJobSettings.h>

#include <gtest/gtest.h>

namespace {

TEST(JobSettings, EmptyContainerGivesTheDefaults) {
  const VelJobSettings s;
  EXPECT_EQ(s.auxFunc(), 0);
  EXPECT_EQ(s.auxMsg(), 1u);
  EXPECT_EQ(s.wavLogStartTime(), -1);
  EXPECT_EQ(s.fftRate(), 32000u);
  EXPECT_EQ(s.realFftRate(), 0u);
  EXPECT_EQ(s.fftRef(), -180);
  EXPECT_EQ(s.fftPoints(), 1024u);
  EXPECT_EQ(s.fftPointsBtw(), 512u);
  EXPECT_EQ(s.fftProcType(), 0);
  EXPECT_EQ(s.fftAccum(), 4u);
  EXPECT_EQ(s.fftWeight(), 1u);
  EXPECT_EQ(s.fftLogMode(), 0);
  EXPECT_EQ(s.fftLogLen(), 1u);
  EXPECT_EQ(s.dutyCyclePeriod(), 0u);
  EXPECT_EQ(s.dutyCycleActive(), 0u);
  EXPECT_EQ(s.dutyCycleIgn(), 0u);
  EXPECT_EQ(s.wavRate(), 32000u);
  EXPECT_EQ(s.realWavRate(), 0u);
  EXPECT_EQ(s.wavBitDepth(), 24);
  EXPECT_EQ(s.wavByteOrder(), 1);
  EXPECT_EQ(s.wavDataFormat(), 0x83);
  EXPECT_EQ(s.wavGain(), 0u);
  EXPECT_EQ(s.wavLogMode(), 0);
  EXPECT_EQ(s.wavLogLen(), 1u);
  EXPECT_EQ(s.toString(), "");
}

TEST(JobSettings, SettersStoreTheKeysClass) {
  VelJobSettings s;
  s.setAuxFunc(AUX_FUNC_TRIGGER_IN);
  s.setAuxMsg(AUX_MSG_STATUS);
  s.setWavLogStartTime(-20);
  s.setFftRate(SAMP_RATE_64000);
  s.setFftRef(-170);
  s.setFftPoints(2048);
  s.setFftPointsBtw(256);
  s.setFftProcType(FFT_PROC_RMS);
  s.setFftAccum(8);
  s.setFftWeight(2);
  s.setFftLogMode(LOG_MODE_CONTINUOUS);
  s.setFftLogLen(30);
  s.setDutyCyclePeriod(3600);
  s.setDutyCycleActive(60);
  s.setDutyCycleIgn(1);
  s.setWavRate(SAMP_RATE_128000);
  s.setWavBitDepth(WAV_BITS_32);
  s.setWavGain(12);
  s.setWavByteOrder(WAV_BIG_ENDIAN);
  s.setWavLogMode(LOG_MODE_DUTY_CYCLE);
  s.setWavLogLen(600);
  EXPECT_EQ(s.toString(),
            "$AUX_PIN=1\n$LOG_START_TIME=-20\n$FFT_SAMPLE_RATE=64000\n$FFT_REF_LEVEL=-170\n"
            "$FFT_PTS_PER=2048\n$FFT_PTS_BTW=256\n$FFT_TYPE=3\n$FFT_ACCUM=8\n$FFT_WEIGHT=2\n"
            "$FFT_LOG_MODE=1\n$FFT_LOG_LENGTH=30\n$DUTY_CYCLE_TIME=3600\n$DUTY_RUN_TIME=60\n"
            "$DUTY_IGNORE_TIME_CHANGE=1\n$WAVE_SAMPLE_RATE=128000\n$WAVE_BIT_DEPTH=32\n"
            "$WAVE_GAIN=12\n$WAVE_ENDIAN=0\n$WAVE_LOG_MODE=2\n$WAVE_LOG_LENGTH=600\n"
            "$AUX_MSG=3\n");
  EXPECT_EQ(s.auxMsg(), AUX_MSG_STATUS);
  EXPECT_EQ(s.fftProcType(), FFT_PROC_RMS);
  EXPECT_EQ(s.wavDataFormat(), 0x04);
}

TEST(JobSettings, MissingOrMistypedTagsGiveTheDefault) {
  JobTagMap m;
  m[FFT_PTS_PER] = std::make_shared<VelFftAccumTag>(99u);  // wrong class for its key
  m[FFT_ACCUM] = nullptr;
  m[FFT_SAMPLE_RATE] = std::make_shared<VelSpecSampRateTag>(0u);
  m[WAVE_SAMPLE_RATE] = std::make_shared<VelWavSampleRateTag>(0u);
  VelJobSettings s;
  s.setMap(m);
  EXPECT_EQ(s.fftPoints(), 1024u);
  EXPECT_EQ(s.fftAccum(), 4u);
  EXPECT_EQ(s.fftRate(), 32000u);
  EXPECT_EQ(s.realFftRate(), 0u);
  EXPECT_EQ(s.wavRate(), 32000u);
  EXPECT_EQ(s.realWavRate(), 0u);

  // Getters narrow to their own width.
  s.setTag(std::make_shared<VelSpecLogModeTag>(0x10002u));
  EXPECT_EQ(s.fftLogMode(), 2);
}

TEST(JobSettings, TagsAreSharedAndSettersReplaceRatherThanModify) {
  VelJobSettings a;
  a.setFftAccum(8);
  const VelJobSettings copy(a);
  EXPECT_EQ(copy.map().at(FFT_ACCUM), a.map().at(FFT_ACCUM));  // the same object
  a.setFftAccum(16);
  EXPECT_EQ(copy.fftAccum(), 8u);
  EXPECT_EQ(a.fftAccum(), 16u);

  a.setTag(nullptr);
  EXPECT_EQ(a.map().size(), 1u);

  // mergeMap inserts and replaces; other entries stay.
  JobTagMap more;
  more[FFT_ACCUM] = std::make_shared<VelFftAccumTag>(2u);
  more[WAVE_GAIN] = std::make_shared<VelWavGainTag>(5u);
  VelJobSettings b;
  b.setFftRef(-100);
  b.mergeMap(more);
  EXPECT_EQ(b.toString(), "$FFT_REF_LEVEL=-100\n$FFT_ACCUM=2\n$WAVE_GAIN=5\n");
}

TEST(JobSettings, EqualityIsOverEffectiveValuesAndEntryCounts) {
  VelJobSettings empty;
  VelJobSettings explicitDefault;
  explicitDefault.setFftPoints(1024);
  EXPECT_FALSE(empty == explicitDefault);  // entry counts differ

  VelJobSettings otherDefault;
  otherDefault.setFftAccum(4);
  EXPECT_TRUE(explicitDefault == otherDefault);

  VelJobSettings changed;
  changed.setWavGain(3);
  EXPECT_FALSE(explicitDefault == changed);
  changed.setWavGain(0);
  EXPECT_TRUE(explicitDefault == changed);

  // The aux pin is part of equality, and the packed format compares through its parts.
  VelJobSettings aux;
  aux.setAuxFunc(AUX_FUNC_SERIAL);
  EXPECT_FALSE(aux == otherDefault);

  EXPECT_TRUE(explicitDefault.compareSetupMap(otherDefault.map()));
  EXPECT_FALSE(explicitDefault.compareSetupMap(aux.map()));
  EXPECT_FALSE(explicitDefault.compareSetupMap({}));
}

TEST(JobSettings, CheckSetupMapCopiesTheJobButNotTheAuxPin) {
  VelJobSettings mine;
  mine.setAuxFunc(AUX_FUNC_TRIGGER_OUT);
  VelJobSettings device;
  device.setAuxFunc(AUX_FUNC_SYNC_IN);
  device.setAuxMsg(AUX_MSG_NMEA);
  EXPECT_TRUE(mine.checkSetupMap(device));
  EXPECT_EQ(mine.map().size(), 1u);
  EXPECT_EQ(mine.auxFunc(), AUX_FUNC_TRIGGER_OUT);

  device.setFftAccum(16);
  device.setWavBitDepth(WAV_BITS_16);
  EXPECT_FALSE(mine.checkSetupMap(device));
  // Every job setting (keys 1 to 19) is now an explicit tag holding the device's effective
  // value, beside the untouched aux pin.
  EXPECT_EQ(mine.map().size(), 20u);
  EXPECT_EQ(mine.fftAccum(), 16u);
  EXPECT_EQ(mine.wavBitDepth(), WAV_BITS_16);
  EXPECT_EQ(mine.fftRate(), 32000u);
  EXPECT_EQ(mine.realFftRate(), 32000u);
  EXPECT_EQ(mine.auxFunc(), AUX_FUNC_TRIGGER_OUT);
  EXPECT_EQ(mine.auxMsg(), 1u);
  EXPECT_TRUE(mine.checkSetupMap(device));
}

TEST(JobSettings, PackedWaveFormat) {
  VelJobSettings s;
  s.setWavDataFormat(0x82);
  EXPECT_EQ(s.wavBitDepth(), 16);
  EXPECT_EQ(s.wavByteOrder(), 1);
  EXPECT_EQ(s.wavDataFormat(), 0x82);
  // 0x24 * 8 = 0x120: only the low byte survives, on purpose.
  s.setWavDataFormat(0x24);
  EXPECT_EQ(s.wavBitDepth(), 32);
  EXPECT_EQ(s.wavByteOrder(), 0);
  EXPECT_EQ(s.wavDataFormat(), 0x04);

  EXPECT_EQ(VelJobSettings::bitDepth(0x83), 0x418u);  // bit 7 not masked off
  EXPECT_EQ(VelJobSettings::byteOrder(0x83), 1);
  EXPECT_EQ(VelJobSettings::byteOrder(0x03), 0);
}

TEST(JobSettings, FftPlanningHelpers) {
  EXPECT_EQ(VelUtil::calcFftAccum(0), 1u);
  EXPECT_EQ(VelUtil::calcFftAccum(4096), 1u);
  EXPECT_EQ(VelUtil::calcFftAccum(4097), 2u);
  EXPECT_EQ(VelUtil::calcFftAccum(0xFFFFFFFFu), 1u);  // the sum wraps to 4094
  EXPECT_EQ(VelUtil::calcFftAccum(0xFFFFF000u), 0xFFFFFu);
  EXPECT_DOUBLE_EQ(VelUtil::calcFftAccumD(0), 1.0);
  EXPECT_DOUBLE_EQ(VelUtil::calcFftAccumD(2048), 0.5);
  EXPECT_DOUBLE_EQ(VelUtil::calcFftAccumD(-4096), 1.0);
  EXPECT_DOUBLE_EQ(VelUtil::calcFftAccumD(40960), 10.0);

  EXPECT_EQ(VelUtil::fftAccums(1.0f, 64000, 1024), 63u);  // 62.5 rounds up
  EXPECT_EQ(VelUtil::fftAccums(1.0f, 64000, 1000), 64u);  // already whole
  EXPECT_EQ(VelUtil::fftAccums(0.001f, 8000, 4096), 1u);
  EXPECT_EQ(VelUtil::fftAccums(0.0f, 8000, 4096), 0u);
  EXPECT_EQ(VelUtil::fftAccums(1.0e4f, 1024, 1), 10240000u);  // past 2^23: taken as it is

  EXPECT_FLOAT_EQ(VelUtil::fftUpdateIval(4, 32000, 1024), 0.128f);
  EXPECT_FLOAT_EQ(VelUtil::fftUpdateRate(4, 32000, 1024), 7.8125f);
  // The product of two 16-bit counts is formed in 32 bits without overflow.
  EXPECT_FLOAT_EQ(VelUtil::fftUpdateIval(65535, 1, 65535), 4294836225.0f);

  EXPECT_EQ(VelUtil::calcAccumsPerUpdate(64000.0f, 1.0f, 1024.0f), 63u);
  EXPECT_EQ(VelUtil::calcAccumsPerUpdate(-2.5f, 1.0f, 1.0f), static_cast<unsigned>(-2));
  EXPECT_FLOAT_EQ(VelUtil::calcFftUpdateRate(32000.0f, 4096.0f, 1.0f), 7.8125f);
  EXPECT_EQ(VelJobSettings::calcAccumsPerUpdate(1.0f, 3.0f, 2.0f), 2u);
  EXPECT_EQ(VelJobSettings::calcFftAccum(8192), 2u);
}

}  // namespace
