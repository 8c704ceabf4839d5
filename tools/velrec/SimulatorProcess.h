#pragma once
// The simulated device that velrec records when no device is named: the velsim program,
// started as a child on free loopback ports and recorded over TCP like any device. velrec
// thus knows nothing of the simulator's insides; the two meet only on the wire.

#include <mavcommon/MavTypes.h>

#include <sys/types.h>

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace velrec {

/// velsim as a child process.
class SimulatorProcess {
 public:
  SimulatorProcess() = default;
  /// Stops the child if it still runs.
  ~SimulatorProcess();
  SimulatorProcess(const SimulatorProcess&) = delete;
  SimulatorProcess& operator=(const SimulatorProcess&) = delete;

  /// Starts velsim with `args` (ports are added) and waits up to `timeout` for it to name
  /// its ports. False with `error` (naming the program and the reason) when it cannot.
  bool start(const std::vector<std::string>& args, std::chrono::milliseconds timeout, std::string& error);

  /// Its control port.
  uint16 controlPort() const { return ports_[0]; }
  /// Its waveform stream port.
  uint16 waveformPort() const { return ports_[1]; }
  /// Its spectrum stream port.
  uint16 spectrumPort() const { return ports_[2]; }

  /// Waits up to `grace` for the child to end by itself, then stops it (SIGTERM, then
  /// SIGKILL), and returns its stream summaries ("waveform samples=... checksum=...").
  std::vector<std::string> stop(std::chrono::milliseconds grace);

  /// The program velrec starts: $VELREC_SIMULATOR, else velsim beside velrec (installed
  /// side by side, or in the build tree), else velsim on the PATH.
  static std::string program();

 private:
  void readLines(int fd);
  bool waitExit(std::chrono::milliseconds timeout);

  pid_t pid_ = -1;
  std::thread reader_;
  std::mutex mutex_;
  std::vector<std::string> lines_;  // every line the child wrote, "velsim: " removed
  bool eof_ = false;
  uint16 ports_[3] = {0, 0, 0};
};

}  // namespace velrec
