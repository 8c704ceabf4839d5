#pragma once
/// \file Turns collect-data responses into stream payloads, so that a scan can be recorded
/// by the same writers as a stream.

#include <mavcommon/MavTypes.h>

/// Converts collect-data responses ("scans") into the payloads of a stream and keeps
/// watch over the waveform sequence numbers so that gaps between scans are reported.
///
/// The conversions themselves -- getEventKeyChunk, extractEventHdr, extractSpectrumData
/// and extractWaveData -- belong to this class too; they build on the stream payload and
/// device classes, and extractWaveData reports lost data through checkSequence().
class VelScanStreamConv {
 public:
  /// Expects waveform sequence 0 next, with no rollovers counted.
  VelScanStreamConv() = default;

  /// Checks a waveform chunk's sequence number against the one expected and advances the
  /// expectation. Returns true when blocks were lost; losses and 16-bit rollovers are
  /// logged.
  bool checkSequence(uint16 seqNum);

  /// The waveform sequence number expected next. It keeps counting past 0xFFFF.
  uint64 next() const { return next_; }
  /// Rollovers of the sequence number since the last loss.
  uint32 rollovers() const { return rollovers_; }

 private:
  uint64 next_ = 0;
  uint32 rollovers_ = 0;
};
