#include <veliface/record/StreamTimeline.h>

#include <cstdint>

namespace veliface::record {

StreamTimeline::Step StreamTimeline::header(int64 second, uint64 seq, uint32 rate) {
  if (!haveHeader_) {
    reset();
    haveHeader_ = true;
    lastSecond_ = second, lastSeq_ = seq, rate_ = rate;
    return Step::Start;
  }
  // A device clock and its sample clock drift apart by a few samples a second at most.
  const uint64 most = uint64{rate_} + rate_ / 50 + 1;
  if (second != lastSecond_ + 1) {
    reason_ = second == lastSecond_ ? "the device clock repeated second " + std::to_string(second)
                                    : "the device clock went from second " + std::to_string(lastSecond_) +
                                          " to " + std::to_string(second);
  } else if (rate != rate_) {
    reason_ = "the sample rate changed from " + std::to_string(rate_) + " to " + std::to_string(rate);
  } else if (seq <= lastSeq_ || seq - lastSeq_ > most) {
    reason_ = "the sample count went from " + std::to_string(lastSeq_) + " to " + std::to_string(seq) +
              " in one second";
  } else {
    lastSecond_ = second, lastSeq_ = seq;
    return Step::Continue;
  }
  const std::string why = reason_;
  reset();
  reason_ = why;
  haveHeader_ = true;
  lastSecond_ = second, lastSeq_ = seq, rate_ = rate;
  return Step::Restart;
}

StreamTimeline::Placement StreamTimeline::place(uint32 sampleNum) {
  if (!haveHeader_) return {sampleNum, 0};
  if (!expectKnown_) {
    // The stream's first block: it belongs at or shortly after the header's first sample
    // (blocks of the first moments may have been lost). A number anywhere else is a count
    // of the device's own; it is taken to start where the header does.
    const auto ahead = static_cast<std::int64_t>(static_cast<std::int32_t>(sampleNum - static_cast<uint32>(lastSeq_)));
    if (ahead < 0 || ahead > static_cast<std::int64_t>(rate_)) offset_ = static_cast<uint32>(lastSeq_) - sampleNum;
    expectKnown_ = true;
    expected_ = lastSeq_;
  }
  const auto diff = static_cast<std::int64_t>(
      static_cast<std::int32_t>(sampleNum + offset_ - static_cast<uint32>(expected_)));
  return {static_cast<uint64>(static_cast<std::int64_t>(expected_) + diff), diff};
}

uint64 StreamTimeline::gapBeforeHeader() const {
  return expectKnown_ && lastSeq_ > expected_ ? lastSeq_ - expected_ : 0;
}

void StreamTimeline::advance(uint64 frames) {
  if (!expectKnown_) {
    expectKnown_ = true;
    expected_ = lastSeq_;
  }
  expected_ += frames;
}

void StreamTimeline::reset() { *this = StreamTimeline(); }

}  // namespace veliface::record
