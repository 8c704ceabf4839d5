// The library's host layer against the simulated device in memory: a whole enquire, job
// setup, set time, start, record, stop conversation over a damaged, noisy line whose bytes
// arrive split at every position.

#include <sim/SimDevice.h>
#include <sim/SimStream.h>

#include <veliface/device/VelDevice.h>
#include <veliface/host/Commands.h>
#include <veliface/host/ControlSession.h>
#include <veliface/host/DeviceRecording.h>
#include <veliface/host/JobSettings.h>
#include <veliface/settings/VelJobSetup.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;
using namespace veliface::host;

// Answers one request of `session` from `sim`, delivering the answer in two pieces cut at
// `cut` (0: whole) with `noise` bytes in front; returns how many tries it took.
int converse(ControlSession& session, velsim::SimDevice& sim, std::shared_ptr<VelControlMsgPayload> req,
             std::size_t cut, const std::vector<uint8>& noise) {
  HostTime now{0};
  session.start(std::move(req), now);
  while (session.waiting()) {
    const auto out = session.takeOutgoing();
    if (!out.empty()) {
      velsim::Bytes reply = noise;
      const velsim::Bytes answer = sim.handleControl(out.data(), out.size());
      reply.insert(reply.end(), answer.begin(), answer.end());
      const std::size_t at = cut == 0 ? reply.size() : std::min(cut + noise.size(), reply.size());
      session.receive(reply.data(), at, now);
      if (at < reply.size()) session.receive(reply.data() + at, reply.size() - at, now);
    }
    now += HostTime(2500);  // silence: the try times out
    session.tick(now);
  }
  return session.tries();
}

TEST(HostConversation, EveryAnswerSplitAtEveryPositionIsTakenWhole) {
  velsim::DeviceConfig cfg;
  velsim::SimDevice sim(cfg);
  ControlSession session;
  JobTagMap tags;
  std::string error;
  ASSERT_TRUE(parseJobSettings({"WAVE_SAMPLE_RATE=64000", "WAVE_BIT_DEPTH=16"}, tags, error)) << error;
  // Each answer of the conversation split at each of its byte positions, behind a run of
  // line noise that holds a stray start byte.
  const std::vector<uint8> noise = {0x00, 0x2A, 0x13, 0x7F};
  const std::vector<std::shared_ptr<VelControlMsgPayload>> requests = {
      enquireRequest(), jobSetupRequest(tags), setTimeRequest(1700000000), jobEnquiryRequest()};
  for (const auto& request : requests) {
    const auto frame = ControlSession::frame(request);
    const std::size_t answerSize = sim.handleControl(frame.data(), frame.size()).size();
    ASSERT_GT(answerSize, 6u);
    for (std::size_t cut = 1; cut < answerSize; ++cut) {
      converse(session, sim, request, cut, noise);
      ASSERT_EQ(session.status(), ControlStatus::Answered) << "code " << int(request->commandCode()) << " cut at " << cut;
      EXPECT_EQ(session.tries(), 1);
      EXPECT_EQ(session.answer()->payload()->commandCode(), request->commandCode());
    }
  }
  const auto id = identify(session.answer());
  EXPECT_FALSE(id);  // the last answer was the job enquiry's
  converse(session, sim, enquireRequest(), 5, noise);
  const auto who = identify(session.answer());
  ASSERT_TRUE(who && who->device);
  EXPECT_NE(who->description.find("serial 1201"), std::string::npos);
}

TEST(HostConversation, EnquireJobClockStartRecordStopOverADamagedLine) {
  velsim::DeviceConfig cfg;
  cfg.controlFaults.crcCorruptRate = 0.5;  // many answers come back damaged
  cfg.controlFaults.garbageRate = 0.5;
  cfg.controlFaults.seed = 7;
  velsim::SimDevice sim(cfg);
  ControlSession session({8, HostTime(2000)});

  converse(session, sim, enquireRequest(), 7, {});
  ASSERT_EQ(session.status(), ControlStatus::Answered);
  const auto id = identify(session.answer());
  ASSERT_TRUE(id && id->device);

  JobTagMap tags;
  std::string error;
  ASSERT_TRUE(parseJobSettings({"WAVE_SAMPLE_RATE=64000"}, tags, error)) << error;
  converse(session, sim, jobSetupRequest(tags), 3, {0x2A});
  ASSERT_EQ(session.status(), ControlStatus::Answered);
  const auto jobAnswer = session.answer();
  const auto* job = answerAs<VelJobSetupCmd>(jobAnswer);
  ASSERT_NE(job, nullptr);
  EXPECT_TRUE(judgeJobSetup(tags, *job).confirmed);

  converse(session, sim, setTimeRequest(1700000000), 0, {});
  EXPECT_EQ(session.status(), ControlStatus::Answered);
  EXPECT_GT(sim.corruptedResponses(), 0u);  // the line really was damaged
  EXPECT_GT(session.badCrcFrames(), 0u);

  // Start both ports and record two seconds, the stream bytes split and with noise.
  const fs::path dir = fs::temp_directory_path() / ("host_conversation_" + std::to_string(getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  RecordingSettings settings;
  settings.outDir = dir;
  settings.period = 1;
  settings.duration = 2;
  uint64 checksum = 0;
  {
    DeviceRecording rec(settings, std::dynamic_pointer_cast<VelDevice>(id->device));
    HostTime now{0};
    // Line noise between frames (the device's garbage never holds the frame marker).
    auto noisy = [&](velsim::StreamKind kind) {
      velsim::StreamSetup setup = sim.streamSetup(kind, 1700000000, 0);
      setup.faults.garbageRate = 0.3;
      return setup;
    };
    velsim::SimStream wave(noisy(velsim::StreamKind::Waveform));
    velsim::SimStream spec(noisy(velsim::StreamKind::Spectrum));
    ASSERT_EQ(wave.setup().sampleRate, 64000u);
    for (auto port : {StreamPort::Waveform, StreamPort::Spectrum}) rec.opened(port, now);
    std::size_t piece = 1;
    for (uint64 tenth = 1; tenth <= 25 && !(rec.limitReached() && rec.spectrumDone()); ++tenth) {
      now += HostTime(100);
      for (auto [s, port] : {std::pair{&wave, StreamPort::Waveform}, std::pair{&spec, StreamPort::Spectrum}}) {
        s->produce(tenth * s->setup().sampleRate / 10);
        velsim::Bytes& out = s->output();
        for (std::size_t at = 0; at < out.size(); at += piece, piece = piece % 997 + 1)
          rec.receive(port, out.data() + at, std::min(piece, out.size() - at), now);
        out.clear();
      }
      rec.tick(now);
    }
    EXPECT_TRUE(rec.limitReached());
    rec.finish();
    EXPECT_EQ(rec.failure(), "");
    checksum = rec.checksum();
    EXPECT_EQ(rec.counters().missedSamples, 0u);
    EXPECT_EQ(rec.counters().sequenceLosses, 0u);
    EXPECT_GT(wave.faults().garbageBytes(), 0u);  // the line really was noisy
    EXPECT_EQ(rec.stream(StreamPort::Waveform).counters().lostFrames, 0u);
    uint64 frames = 0;
    int wavs = 0;
    for (const RecordedFile& f : rec.files()) {
      EXPECT_EQ(f.bytes, fs::file_size(f.path)) << f.path;
      if (f.wav) frames += f.samples, ++wavs;
    }
    EXPECT_EQ(frames, 128000u);  // two seconds at the rate the job set
    EXPECT_EQ(wavs, 2);
    // Every sample the device sent in those two seconds, and nothing else, is in the files.
    velsim::SimStream again(sim.streamSetup(velsim::StreamKind::Waveform, 1700000000, 0));
    again.produce(128000);
    EXPECT_EQ(checksum, again.stats().checksum);
  }
  fs::remove_all(dir);
}

}  // namespace
