#pragma once
/// \file Decoding a capture: the raw bytes received on one channel, in order, run through
/// the library's processor for that channel.
#include <veliface/stream/VelStreamType.h>

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>

namespace veldump {

/// The channel a capture was taken on.
enum class Channel { Control, Stream, Discovery };

/// How to decode and print a capture.
struct CaptureOptions {
  Channel channel = Channel::Control;                ///< processor to use
  VelStreamType streamType = VEL_STREAM_WAVEFORM;   ///< stamped into stream payloads
  bool json = false;                                ///< one JSON object per line
};

/// What a capture held.
struct CaptureSummary {
  std::uint64_t bytes = 0;                      ///< bytes read from the capture
  std::uint64_t messages = 0;                   ///< messages decoded
  std::map<std::string, std::uint64_t> byKind;  ///< messages per payload class
  std::uint64_t logLines = 0;                   ///< diagnostic lines of the library
  std::uint64_t undecoded = 0;                  ///< bytes left at the end (a cut frame)
};

/// Decodes every message of the capture in `in` and writes one line per message and per
/// library diagnostic line, then the summary line, to `out`. The library's log sink is
/// redirected while this runs and restored afterwards.
CaptureSummary dumpCapture(std::istream& in, const CaptureOptions& options, std::ostream& out);

/// The summary as the last line prints it (without newline).
std::string summaryLine(const CaptureSummary& s, bool json);

}  // namespace veldump
