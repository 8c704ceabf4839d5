#include <veliface/device/MavDevice.h>
#include <veliface/device/VelDevice.h>
#include <veliface/device/VelDeviceId.h>

#include <gtest/gtest.h>

#include <limits>
#include <memory>

TEST(MavDevice, DefaultsConstructionAndIdentity) {
  const VelDevice d(DEV_AUREL_HF);
  EXPECT_EQ(d.status(), 2);
  EXPECT_EQ(d.firmwareVer(), "n/a");
  EXPECT_EQ(d.getNumBins(), 410);
  EXPECT_EQ(d.getNumPtsFft(), 1024);
  EXPECT_EQ(d.netStat(), 4);
  EXPECT_EQ(d.sensitivity(), -170.0f);

  MavNetHostInfo info;
  info.setIpAddr(MavIpAddr("10.0.0.7"));
  VelDevice full(321, DEV_AUREL_AF, info,
                 {{WAVE_SAMPLE_RATE, std::make_shared<VelWavSampleRateTag>(48000u)}});
  EXPECT_EQ(full.jobSettings().wavRate(), 48000u);
  const VelDeviceId id(full);
  EXPECT_EQ(id, VelDeviceId(DEV_AUREL_AF, 321));
  EXPECT_EQ(id.netHostInfo(), info);
  EXPECT_EQ(full.friendlyName(), "Aurel AF #321");

  // Equality looks at type and serial only.
  VelDevice twin(321, DEV_AUREL_AF, MavNetHostInfo(), {});
  twin.setSensitivity(-150.0f);
  EXPECT_TRUE(full == twin);
  twin.setSerial(322);
  EXPECT_TRUE(full != twin);
}

TEST(MavDevice, BinsAndFftLengthAreDeliberatelyNotInverse) {
  MavDevice d(DEV_AUREL_HF);
  d.setNumPtsFft(1500);  // divides first: a partial block of 1024 brings no bins
  EXPECT_EQ(d.getNumBins(), 410);
  d.setNumPtsFft(1000);
  EXPECT_EQ(d.getNumBins(), 0);
  d.setNumBins(300);  // multiplies first
  EXPECT_EQ(d.getNumPtsFft(), 749);
}

TEST(MavDevice, DataScale) {
  const MavDevice plain(1, DEV_AUREL_HF, MavNetHostInfo(),
                        {{FFT_REF_LEVEL, std::make_shared<VelSpecRefTag>(-150)}});
  const MavDataScale s = plain.getDataScale(eRefPressure, 1024.0, true);
  EXPECT_EQ(s.fullScale, 3.0f);
  EXPECT_EQ(s.sensitivity, -170.0f);
  EXPECT_EQ(s.reference, -180.0f);  // the common device ignores the tag
  EXPECT_EQ(s.binCorrection, 0.0f);
  EXPECT_NEAR(s.binCorrectionRef, 26.1236, 1e-4);
  EXPECT_EQ(s.refType, eRefPressure);
  EXPECT_NEAR(plain.getDataScale(eRefVolts, 32000.0, false).binCorrection, 14.9485, 1e-4);

  // A sensor device brings its own sensitivity and, when asked, the spectrum-reference tag.
  VelDevice d(7, DEV_AUREL_HF, MavNetHostInfo(), plain.jobSettings().map());
  d.setSensitivity(-165.5f);
  EXPECT_EQ(d.getDataScale(eRefVolts, 1024.0, true).reference, -150.0f);
  EXPECT_EQ(d.getDataScale(eRefVolts, 1024.0, true).sensitivity, -165.5f);
  EXPECT_EQ(d.getDataScale(eRefVolts, 1024.0, false).reference, -180.0f);
  d.setJobSettings(VelJobSettings({{FFT_REF_LEVEL, std::make_shared<VelPtsPerFftTag>(7u)}}));
  EXPECT_EQ(d.getDataScale(eRefVolts, 1024.0, true).reference, -180.0f);  // mistyped tag

  MavDataScale other = s;
  EXPECT_TRUE(other == s);
  other.refType = eRefVolts;
  EXPECT_TRUE(other != s);
  other.binCorrectionRef = std::numeric_limits<float>::quiet_NaN();
  EXPECT_FALSE(other == other);
}

TEST(MavDevice, StreamPortsAndJobSettings) {
  MavDevice d(DEV_AUREL_HF);
  d.setStreamStatus(PORT_SPECTRUM, PORTCONN_CONNECTED);
  d.setStreamStatus(PORT_SPECTRUM, PORTCONN_CONNECTION_LOST);
  EXPECT_EQ(d.streamStatus(PORT_SPECTRUM), PORTCONN_CONNECTION_LOST);
  EXPECT_EQ(d.streamStatus(PORT_WAVEFORM), PORTCONN_UNKNOWN);

  VelJobSettings wav, fft;
  wav.setWavRate(SAMP_RATE_128000);
  fft.setFftRate(SAMP_RATE_64000);
  d.setJobSettings(wav);
  d.setJobSettings(fft);  // replaces
  EXPECT_EQ(d.jobSettings().wavRate(), 32000u);
  d.mergeJobSettings(wav);  // adds
  EXPECT_EQ(d.jobSettings().wavRate(), 128000u);
  EXPECT_EQ(d.jobSettings().fftRate(), 64000u);
}

TEST(MavDevice, TriggerLookUpsSeeOnlyBandTriggers) {
  auto band = [](TEST_TYPE type, uint8 num, uint8 enabled) {
    auto t = std::make_shared<VelTrigger_5_6>(type);
    t->setTrigNum(num);
    t->setEnabled(enabled);
    return t;
  };
  const auto first3 = band(5, 3, 0);
  const auto second3 = band(6, 3, 1);
  MavDevice d(DEV_AUREL_HF);
  d.setTriggers({std::make_shared<VelTrigger_4>(), first3, second3});
  EXPECT_EQ(d.trigger(0x103), first3);  // numbers compare on their low 8 bits
  EXPECT_EQ(d.trigger(4), nullptr);
  EXPECT_TRUE(d.hasActiveTriggers());
  d.updateTriggers(3, TRIG_CONFIRMED);
  EXPECT_EQ(first3->trgRegime(), TRIG_CONFIRMED);
  EXPECT_EQ(second3->trgRegime(), TRIG_INACTIVE);  // only the first match
  d.setTriggers({std::make_shared<VelTrigger_4>(), first3});
  EXPECT_FALSE(d.hasActiveTriggers());
}
