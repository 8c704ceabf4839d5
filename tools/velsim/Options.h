#pragma once
/// \file What velsim was asked to be on its command line, the fault settings that follow from
/// it, and velsim's own output lines.

#include <sim/FaultInjector.h>

#include <mavcommon/MavTypes.h>

#include <string>

namespace velsim::net {

/// The command-line options of velsim.
struct Options {
  std::string bind = "127.0.0.1";   ///< address to listen on
  uint16 controlPort = 5000;        ///< control TCP port (0: any free one)
  uint16 waveformPort = 5001;       ///< waveform stream TCP port (0: any free one)
  uint16 spectrumPort = 5002;       ///< spectrum stream TCP port (0: any free one)
  uint16 discoveryPort = 30303;     ///< discovery UDP port (0: any free one)
  int type = 5;                     ///< device type
  uint16 serial = 1201;             ///< serial number
  unsigned members = 2;             ///< array hub: number of member devices
  uint32 sampleRate = 48000;        ///< waveform and FFT sample rate
  unsigned bitDepth = 24;           ///< waveform bits per sample
  unsigned channels = 1;            ///< waveform channels
  uint16 samplesPerFrame = 1024;    ///< sample frames per waveform data frame
  uint32 fftPoints = 1024;          ///< FFT length
  double duration = 0;              ///< simulated seconds per stream (0: no end)
  bool fast = false;                ///< stream as fast as the host reads
  double badCrc = 0;                ///< fraction of control responses with a wrong CRC
  double dropFrames = 0;            ///< fraction of stream data frames not sent
  double garbage = 0;               ///< fraction of frames preceded by garbage bytes
  bool splitWrites = false;         ///< cut every write into pieces
  double disconnectAfter = 0;       ///< simulated seconds before a stream drops (0: never)
  uint64 seed = 1;                  ///< seed of the signal and of the faults
};

/// The fault settings common to every channel; `salt` gives each channel its own sequence.
FaultConfig faultsOf(const Options& o, uint64 salt);

/// Writes one line to standard output, "velsim: " first.
void say(const std::string& line);

}  // namespace velsim::net
