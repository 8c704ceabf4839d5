// Control frames, built and parsed: a host's request framed by VelControlMessage and the
// device's answer decoded by VelControlProcessor::pump from the host's ring buffer. Each
// frame is built with the library's own builders and pushed through the ring, then the
// processor delivers it; the anchor is memcpy of the same frame. Figures are nanoseconds of
// thread CPU time per frame; ours and the anchor alternate in batches inside one loop.

#include "PathTiming.h"

#include <mavcommon/CircularByteBuffer.h>
#include <veliface/common/VelCommand.h>
#include <veliface/control/VelControlProcessor.h>
#include <veliface/control/VelEnquireCmd.h>
#include <veliface/settings/VelJobSetup.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

// Frames per timed batch: enough to make the clock reads negligible.
constexpr int kBatch = 512;

// The enquire response of a hydrophone with a version-5 record, as the device sends it. The
// library only ever writes the (empty) request, so this payload is framed as raw bytes.
class EnquireResponseBytes : public VelControlMsgPayload {
 public:
  void serialize(uint64* len, uint8* buf) const override {
    std::memcpy(buf, kBytes.data(), kBytes.size());
    *len += kBytes.size();
  }
  uint8 commandCode() const override { return 0x45; }

 private:
  static constexpr std::array<uint8, 59> kBytes = {
      0x34, 0x12, '1', '.', '2', '.', '3', 0, 0, 0,                                // serial, firmware
      'J', 'a', 'n', ' ', '0', '2', ' ', '2', '0', '2', '4', 0, 0, 0, 0, 0, 0, 0,  // build date
      0x05, 0x01, 0x00, 0x00,                                   // type, status, reserved
      0x05, 0x02, 0x01, 0x04, 0x03, 0x06, 0x05, 0x07, 0x50, 0x02, 0x03,  // HF record v5
      'R', '1', '.', '5', 0, 0, 0, 0, 0x01, 0x02, 'A', 'u', 'r', 'e', 'l', 0};
};

// A tag-based job setup of the twenty single-device tags, keys 0 to 19.
std::shared_ptr<VelControlMsgPayload> jobSetup20() {
  static const char* const kTags[] = {
      "$AUX_PIN=1",          "$LOG_START_TIME=1700000000", "$FFT_SAMPLE_RATE=512000",
      "$FFT_REF_LEVEL=-20",  "$FFT_PTS_PER=1024",          "$FFT_PTS_BTW=512",
      "$FFT_TYPE=1",         "$FFT_ACCUM=8",               "$FFT_WEIGHT=2",
      "$FFT_LOG_MODE=1",     "$FFT_LOG_LENGTH=3600",       "$DUTY_CYCLE_TIME=600",
      "$DUTY_RUN_TIME=300",  "$DUTY_IGNORE_TIME_CHANGE=0", "$WAVE_SAMPLE_RATE=512000",
      "$WAVE_BIT_DEPTH=24",  "$WAVE_GAIN=2",               "$WAVE_ENDIAN=0",
      "$WAVE_LOG_MODE=1",    "$WAVE_LOG_LENGTH=3600"};
  JobTagMap tags;
  for (const char* text : kTags) {
    auto tag = VelJobSettingsTag::fromString(text);
    tags[tag->tagKey()] = tag;
  }
  return std::make_shared<VelJobSetupCmd>(std::move(tags));
}

// Builds the frame of `payload` into `frame` and returns its length.
uint64 build(const std::shared_ptr<VelControlMsgPayload>& payload, uint8* frame) {
  uint64 len = 0;
  VelControlMessage(payload).serialize(&len, frame);
  return len;
}

void runControlPath(benchmark::State& state, const std::shared_ptr<VelControlMsgPayload>& payload) {
  std::vector<uint8> frame(4096);
  std::vector<uint8> copy(4096);
  CircularByteBuffer ring(64 * 1024);
  VelControlProcessor processor;

  // The answer must come back whole, or the figure would be of a different path.
  const uint64 frameLength = build(payload, frame.data());
  ring.write(frame.data(), frameLength);
  const auto first = processor.pump(ring);
  if (!first || first->payload()->commandCode() != payload->commandCode()) {
    state.SkipWithError("frame not delivered");
    return;
  }

  velbench::PathTimes t;
  int64 delivered = 0;
  for (auto _ : state) {
    velbench::PathTimes::time(&t.ours, [&] {
      for (int i = 0; i < kBatch; ++i) {
        const uint64 n = build(payload, frame.data());
        ring.write(frame.data(), n);
        delivered += processor.pump(ring) != nullptr;
      }
    });
    velbench::PathTimes::time(&t.anchor, [&] {
      for (int i = 0; i < kBatch; ++i) {
        benchmark::DoNotOptimize(frame.data());
        std::memcpy(copy.data(), frame.data(), frameLength);
        benchmark::ClobberMemory();
      }
    });
  }
  const double frames = static_cast<double>(state.iterations()) * kBatch;
  if (delivered != static_cast<int64>(frames)) state.SkipWithError("a frame was lost");
  velbench::setPathCounters(state, t.ours / frames * 1e9, t.anchor / frames * 1e9);
  state.counters["frame_bytes"] = static_cast<double>(frameLength);
}

void BM_Path_ControlEnquireResponse(benchmark::State& state) {
  runControlPath(state, std::make_shared<EnquireResponseBytes>());
}
BENCHMARK(BM_Path_ControlEnquireResponse);

void BM_Path_ControlJobSetup20(benchmark::State& state) { runControlPath(state, jobSetup20()); }
BENCHMARK(BM_Path_ControlJobSetup20);

}  // namespace

BENCHMARK_MAIN();
