#pragma once
/// \file Deterministic faults on what the simulated device sends, to exercise receivers.

#include <sim/Random.h>
#include <sim/StreamFrameEncoder.h>

#include <mavcommon/MavTypes.h>

#include <cstddef>
#include <vector>

namespace velsim {

/// Which faults, how often. Rates are probabilities per frame, 0 turns a fault off.
struct FaultConfig {
  uint64 seed = 1;               ///< equal seeds give equal faults for equal traffic
  double crcCorruptRate = 0;     ///< control responses sent with a wrong CRC
  double dataDropRate = 0;       ///< stream data frames (code 0x31) not sent at all
  double garbageRate = 0;        ///< frames preceded by garbage bytes
  std::size_t maxGarbage = 16;   ///< garbage runs are 1..maxGarbage bytes long
  std::size_t maxPieces = 1;     ///< a write is split into 1..maxPieces pieces (1: never)
};

/// Applies the configured faults frame by frame and counts exactly what it did.
class FaultInjector {
 public:
  /// Starts the fault sequence of `config.seed`.
  explicit FaultInjector(const FaultConfig& config);

  /// Appends one whole control response frame (CRC included) to `out`, possibly preceded by
  /// garbage and possibly with its CRC made wrong. Returns true when the CRC was corrupted.
  bool controlResponse(const uint8* frame, std::size_t n, Bytes& out);
  /// Appends one whole stream frame to `out`, possibly preceded by garbage, unless it is a
  /// data frame chosen to be dropped. Returns false when the frame was dropped.
  bool streamFrame(const uint8* frame, std::size_t n, Bytes& out);
  /// Cuts `n` bytes into 1..maxPieces non-empty pieces at random points, in order.
  std::vector<Bytes> split(const uint8* data, std::size_t n);

  /// Control responses sent with a wrong CRC.
  uint64 corruptedCrcs() const { return corrupted_; }
  /// Data frames dropped.
  uint64 droppedFrames() const { return dropped_; }
  /// Garbage bytes inserted.
  uint64 garbageBytes() const { return garbage_; }

 private:
  void maybeGarbage(Bytes& out);

  FaultConfig config_;
  Rng rng_;
  uint64 corrupted_ = 0;
  uint64 dropped_ = 0;
  uint64 garbage_ = 0;
};

}  // namespace velsim
