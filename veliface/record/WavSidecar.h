#pragma once
/// \file The JSON file beside each WAV file: what a scientist needs to use the samples as
/// data (true start time, gaps, device, calibration, clock, deployment), which a WAV header
/// has no room for.

#include <mavcommon/MavTypes.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace veliface::record {

/// Samples that never arrived and stand in the file as zeros.
struct FilledGap {
  uint64 startFrame = 0;  ///< first zero frame, counted from the file's first frame
  uint64 frames = 0;      ///< zero frames
};

/// One member of an array (a channel of the file).
struct ChannelDevice {
  unsigned channel = 0;     ///< channel, 1 first
  int type = 0;             ///< device type
  std::string typeText;     ///< its name in the device type table
  uint16 serial = 0;        ///< serial number
  double sensitivityDb = 0; ///< sensitivity, dB re 1 V/uPa
};

/// Everything the sidecar of one WAV file says.
struct WavFileFacts {
  std::string file;                 ///< the WAV file's name
  int64 startMicros = 0;            ///< time of the first sample, microseconds since 1970 UTC
  bool startFromClock = false;      ///< start measured against a whole-second header (else the header's second)
  uint32 sampleRate = 0;            ///< frames per second
  unsigned channels = 0;            ///< channels per frame
  unsigned bits = 0;                ///< bits per sample
  uint64 frames = 0;                ///< frames in the file, zero frames of gaps included
  std::vector<FilledGap> gaps;      ///< where samples are missing, in order
  uint64 sequenceNumber = 0;        ///< the stream's sample count at the first frame
  int deviceType = 0;               ///< device type
  std::string deviceTypeText;       ///< its name in the device type table
  uint16 serial = 0;                ///< serial number
  std::string firmware;             ///< firmware release text
  std::vector<ChannelDevice> members;  ///< an array's members, one per channel
  double sensitivityDb = 0;         ///< sensitivity, dB re 1 V/uPa (negative: volts per micropascal below 1)
  double fullScaleVolts = 0;        ///< peak voltage at the largest sample value (0: not reported)
  int maxCount = 0;                 ///< the largest sample value
  int gain = 0;                     ///< gain of the waveform setup
  std::string clockSource;          ///< the device clock's source, as the enquiry reports it
  std::string syncStatus;           ///< its synchronisation status
  std::vector<std::pair<std::string, std::string>> deployment;  ///< the user's facts, in order
  std::string creator;              ///< the program that wrote the file
};

/// The sidecar text of `facts`: one JSON object, keys in a fixed order, ending in a newline.
std::string sidecarJson(const WavFileFacts& facts);

/// Where the sidecar of `wavPath` goes: the same name with ".json".
std::filesystem::path sidecarPath(const std::filesystem::path& wavPath);

/// Writes the sidecar of `wavPath` whole or not at all (a temporary file renamed over it), so
/// that a reader never sees half of one; false with `error` (path and reason) on failure.
bool writeSidecar(const std::filesystem::path& wavPath, const WavFileFacts& facts, std::string& error);

/// Adds `frames` zero frames at `startFrame` to `gaps`, joined to the last gap when they
/// follow it directly.
void addGap(std::vector<FilledGap>& gaps, uint64 startFrame, uint64 frames);

}  // namespace veliface::record
