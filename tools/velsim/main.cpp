// velsim: a simulated device on the network. Control channel, waveform and spectrum stream
// ports over TCP, discovery over UDP; everything the device says comes from the transport-
// agnostic core in tools/sim. One thread runs all sockets (Server, StreamPort); this file
// reads the options and starts the device.

#include "Options.h"
#include "Server.h"

#include <sim/SimDevice.h>
#include <sim/SimStream.h>

#include <veliface/common/VelLog.h>
#include <veliface/vocabulary/VelDeviceType.h>

#include <common/CommandLine.h>

#include <CLI/CLI.hpp>
#include <asio.hpp>

#include <iostream>
#include <string>

using velsim::net::Options;
using velsim::net::faultsOf;
using velsim::net::say;

int main(int argc, char** argv) {
  Options o;
  CLI::App app{
      "velsim: a simulated acoustic sensor that speaks the device protocol over TCP and UDP.\n"
      "The control port answers commands (enquire, set time, reset, job setup and enquiry,\n"
      "triggers, data collect); the stream ports send the waveform and the spectrum after the\n"
      "start message; the discovery port answers 'W', 'X' and 'Y' requests.\n\n"
      "Example: velsim --fast --duration 10 --drop-frames 0.01 --seed 7 --waveform-port 0\n\n"
      "Exit status: 0 done; 1 failed (a port that cannot be opened: the message says which and\n"
      "why); 2 wrong options or values."};
  app.add_option("--bind", o.bind, "address to listen on (example: --bind 0.0.0.0)")->capture_default_str();
  app.add_option("--control-port", o.controlPort, "control TCP port; 0 picks a free one (example: --control-port 0)")->capture_default_str();
  app.add_option("--waveform-port", o.waveformPort, "waveform stream TCP port; 0 picks a free one")->capture_default_str();
  app.add_option("--spectrum-port", o.spectrumPort, "spectrum stream TCP port; 0 picks a free one")->capture_default_str();
  app.add_option("--discovery-port", o.discoveryPort, "discovery UDP port; 0 picks a free one")->capture_default_str();
  app.add_option("--type", o.type, "device type: 5 Aurel HF, 7 Aurel AF, 8 Array Hub, 13 Power Module (example: --type 8)")
      ->check(CLI::IsMember({5, 7, 8, 13}))->capture_default_str();
  app.add_option("--serial", o.serial, "serial number (example: --serial 1201)")->capture_default_str();
  app.add_option("--members", o.members, "array hub: number of member devices, one channel each (example: --members 4)")
      ->check(tools::wholeNumber(1, 85))->capture_default_str();
  app.add_option("--sample-rate", o.sampleRate, "waveform and FFT sample rate (example: --sample-rate 96000)")
      ->check(CLI::IsMember({8000u, 16000u, 32000u, 48000u, 64000u, 96000u, 128000u, 256000u, 512000u}))
      ->capture_default_str();
  app.add_option("--bit-depth", o.bitDepth, "waveform bits per sample, 16 or 24 (example: --bit-depth 16)")
      ->check(CLI::IsMember({16u, 24u}))->capture_default_str();
  app.add_option("--channels", o.channels, "waveform channels (example: --channels 4)")->check(tools::wholeNumber(1, 85))->capture_default_str();
  app.add_option("--samples-per-frame", o.samplesPerFrame, "sample frames per waveform data frame (example: --samples-per-frame 512)")
      ->check(tools::wholeNumber(1, 65535))->capture_default_str();
  app.add_option("--fft-points", o.fftPoints, "FFT length, a power of two 256..8192 (example: --fft-points 2048)")
      ->check(CLI::IsMember({256u, 512u, 1024u, 2048u, 4096u, 8192u}))->capture_default_str();
  app.add_option("--duration", o.duration, "end each stream after this many simulated seconds and exit when none is left; 0 runs until stopped (example: --duration 60)")
      ->check(tools::decimalNumber(0, 1e9, "a number of seconds"))->capture_default_str();
  app.add_flag("--fast", o.fast, "stream as fast as the host reads instead of in real time");
  app.add_option("--bad-crc", o.badCrc, "fraction of control responses sent with a wrong CRC (example: --bad-crc 0.1)")
      ->check(tools::decimalNumber(0, 1, "a fraction"))->capture_default_str();
  app.add_option("--drop-frames", o.dropFrames, "fraction of stream data frames not sent (example: --drop-frames 0.01)")
      ->check(tools::decimalNumber(0, 1, "a fraction"))->capture_default_str();
  app.add_option("--garbage", o.garbage, "fraction of frames preceded by garbage bytes (example: --garbage 0.05)")
      ->check(tools::decimalNumber(0, 1, "a fraction"))->capture_default_str();
  app.add_flag("--split-writes", o.splitWrites, "cut every write into up to 8 pieces at random points");
  app.add_option("--disconnect-after", o.disconnectAfter, "drop a stream connection after this many simulated seconds (example: --disconnect-after 5)")
      ->check(tools::decimalNumber(0, 1e9, "a number of seconds"))->capture_default_str();
  app.add_option("--seed", o.seed, "seed of the signal and of the faults; equal seeds repeat a run (example: --seed 42)")->capture_default_str();
  if (const int rc = tools::parseCommandLine(app, argc, argv); rc >= 0) return rc;

  // The library's own diagnostics go to standard error, so standard output stays ours.
  VelLog::setSink([](const std::string& line) { std::cerr << "velsim: library: " << line << std::endl; });

  velsim::DeviceConfig cfg;
  cfg.type = o.type;
  cfg.serial = o.serial;
  // The model text is the name the device type table gives the type.
  cfg.model = VelUtil::deviceTypeStr(static_cast<VelDeviceType>(o.type));
  cfg.channels = o.channels;
  if (o.type == 8) {
    for (unsigned i = 0; i < o.members; ++i) cfg.members.push_back(static_cast<uint16>(o.serial + 1 + i));
  }
  cfg.sampleRate = o.sampleRate;
  cfg.bitDepth = o.bitDepth;
  cfg.fftPoints = o.fftPoints;
  cfg.seed = o.seed;
  cfg.controlFaults = faultsOf(o, 0);
  cfg.controlFaults.crcCorruptRate = o.badCrc;
  cfg.controlFaults.maxPieces = 1;
  try {
    cfg.ipAddr = asio::ip::make_address_v4(o.bind).to_uint();
  } catch (const std::exception&) {
    say("--bind needs an IPv4 address");
    return 2;
  }
  try {
    velsim::SimDevice device(cfg);
    device.setEventSink([](const std::string& line) { say(line); });
    // Refuse a configuration the streams cannot carry before anyone connects.
    for (auto kind : {velsim::StreamKind::Waveform, velsim::StreamKind::Spectrum}) {
      velsim::StreamSetup s = device.streamSetup(kind, 0, 0);
      s.samplesPerFrame = o.samplesPerFrame;
      velsim::SimStream check(s);
    }
    asio::io_context io;
    velsim::net::Server server(io, o, device);
    server.start();
    io.run();
  } catch (const std::exception& e) {
    say(std::string("error: ") + e.what());
    return 1;
  }
  say("exit");
  return 0;
}
