// A duty-cycled stream of the simulated device recorded through the host layer, for every
// phase of the cycle against the period: each run lands whole in files, pauses are never
// filled, and the duration counts the frames recorded.

#include <sim/SimDevice.h>
#include <sim/SimStream.h>

#include <veliface/host/DeviceRecording.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace veliface::host;

TEST(DutyCycleRecording, EveryPhaseRecordsWholeRunsAndFillsNoPause) {
  velsim::DeviceConfig config;
  config.sampleRate = 8000;
  velsim::SimDevice sim(config);
  for (int64 phase = 0; phase < 12; ++phase) {
    SCOPED_TRACE("stream starts at second " + std::to_string(phase) + " of the cycles");
    const fs::path dir = fs::temp_directory_path() / ("duty_" + std::to_string(getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
    RecordingSettings settings;
    settings.outDir = dir;
    settings.period = 3;
    settings.duration = 8;
    velsim::StreamSetup setup = sim.streamSetup(velsim::StreamKind::Waveform, 1800000000 + phase, 0);
    setup.dutyCycle = 4;
    setup.dutyRun = 2;
    velsim::SimStream wave(setup);
    {
      DeviceRecording rec(settings, nullptr);
      HostTime now{0};
      rec.opened(StreamPort::Waveform, now);
      for (uint64 second = 1; second <= 20 && !rec.limitReached(); ++second) {
        wave.produce(second * 8000);
        rec.receive(StreamPort::Waveform, wave.output().data(), wave.output().size(), now);
        wave.output().clear();
      }
      EXPECT_TRUE(rec.limitReached());
      rec.finish();
      uint64 frames = 0;
      for (const RecordedFile& f : rec.files()) {
        if (!f.wav) continue;
        EXPECT_GT(f.samples, 0u) << f.path;
        EXPECT_EQ(f.gapFrames, 0u) << f.path;
        frames += f.samples;
      }
      EXPECT_EQ(frames, 64000u);
      EXPECT_EQ(rec.counters().missedSamples, 0u);
    }
    fs::remove_all(dir);
  }
}

}  // namespace
