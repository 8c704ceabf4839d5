#pragma once
/// \file Where the samples of one waveform stream stand: in the stream's own count, and
/// whether the stream goes on or starts over.

#include <mavcommon/MavTypes.h>

#include <string>

namespace veliface::record {

/// Follows one stream through its event headers and data blocks.
///
/// An event header comes at every whole second of the device clock; its event key names that
/// second and the sequence number (a 64-bit count of samples) of the first sample in it. Data
/// blocks count samples in 32 bits, the low half of the same count, so they wrap every 2^32
/// samples (2.3 hours at 512 kHz); they are placed by their distance from the sample expected
/// next, which is always small.
///
/// Consecutive headers one second and at most about one second of samples apart continue the
/// stream: samples missing in between are a gap, to be filled so that time stays true. Any
/// other header (a second skipped, as after a pause of a duty cycle, the device clock set to
/// another time, a sample count that went back after a reset, a new rate) starts the stream
/// over: nothing is filled across it.
class StreamTimeline {
 public:
  /// What an event header means for the stream.
  enum class Step {
    Start,     ///< the first header: the stream starts, mid-second as a rule
    Continue,  ///< the next whole second of the same stream
    Restart,   ///< the stream starts over (see `restartReason`)
  };

  /// Where a data block belongs.
  struct Placement {
    uint64 position = 0;  ///< the stream position of its first sample
    int64 gap = 0;        ///< samples missing before it; negative when it repeats samples already taken
  };

  /// Takes a header of `second` whose first sample is `seq`, at `rate` samples per second.
  Step header(int64 second, uint64 seq, uint32 rate);
  /// Why the last header restarted the stream, for a log line.
  const std::string& restartReason() const { return reason_; }
  /// Places a block whose 32-bit sample number is `sampleNum`. Before a header nothing is
  /// known and the block is at its own number.
  Placement place(uint32 sampleNum);
  /// Samples between what was taken and the last header's first sample (0 when none are
  /// known to be missing).
  uint64 gapBeforeHeader() const;
  /// `frames` samples from `expected()` on were taken (written or filled).
  void advance(uint64 frames);
  /// The first sample of the next block, in the stream's 64-bit count.
  uint64 expected() const { return expectKnown_ ? expected_ : lastSeq_; }
  /// Sequence number and second of the last header.
  uint64 lastSeq() const { return lastSeq_; }
  /// Second of the last header.
  int64 lastSecond() const { return lastSecond_; }
  /// Rate of the last header.
  uint32 rate() const { return rate_; }
  /// Forgets everything: the next header starts a new stream.
  void reset();

 private:
  bool haveHeader_ = false;
  int64 lastSecond_ = 0;
  uint64 lastSeq_ = 0;
  uint32 rate_ = 0;
  bool expectKnown_ = false;
  uint64 expected_ = 0;
  // Added to a block's sample number when the device counts its blocks apart from its
  // headers, so that both counts agree from the stream's first block on.
  uint32 offset_ = 0;
  std::string reason_;
};

}  // namespace veliface::record
