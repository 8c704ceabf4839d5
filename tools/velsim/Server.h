#pragma once
/// \file velsim on the network: the control port, the two stream ports and the discovery
/// port of one simulated device, all run by one asio context.

#include "Options.h"
#include "StreamPort.h"

#include <sim/FaultInjector.h>
#include <sim/SimDevice.h>

#include <asio.hpp>

#include <algorithm>
#include <array>
#include <memory>

namespace velsim::net {

/// The sockets of one simulated device.
class Server {
 public:
  /// Opens every port named in `o` for `device`; nothing is accepted before start().
  Server(asio::io_context& io, const Options& o, velsim::SimDevice& device);

  /// Prints the ports and starts accepting, receiving and watching for SIGINT and SIGTERM.
  void start();
  /// Ends the streams and stops the context.
  void shutdown();
  /// A stream reached its end; with a duration set, the simulator ends once none has run for
  /// a second (a host opens its ports one after the other, so the other may be on its way).
  void streamEnded(bool completed);
  /// Drops the control connection, as when a device loses its network link.
  void dropControl();
  /// In fast mode streams run ahead of the wall clock; a new connection starts after the
  /// seconds the last one used, so that device time never repeats a second.
  int64 streamStart(int64 deviceNow) const { return std::max(deviceNow, nextFastSecond_); }
  /// Records that a stream used device time up to `second`.
  void streamUsedUpTo(int64 second) { nextFastSecond_ = std::max(nextFastSecond_, second + 1); }

  /// The options velsim runs with.
  const Options& opts() const { return opts_; }
  /// The simulated device.
  velsim::SimDevice& device() { return device_; }

 private:
  using tcp = asio::ip::tcp;
  using udp = asio::ip::udp;

  void acceptControl();
  void readControl(std::shared_ptr<tcp::socket> s);
  void receiveDiscovery();

  asio::io_context& io_;
  const Options& opts_;
  velsim::SimDevice& device_;
  tcp::acceptor control_;
  StreamPort wave_;
  StreamPort spec_;
  udp::socket discovery_;
  asio::signal_set signals_;
  std::shared_ptr<tcp::socket> controlClient_;
  std::array<uint8, 4096> controlBuf_{};
  std::array<uint8, 2048> udpBuf_{};
  udp::endpoint udpPeer_;
  // Splits control writes only; the device applies the other control faults itself.
  velsim::FaultInjector controlSplit_{faultsOf(opts_, 7)};
  asio::steady_timer idle_{io_};  // the second of grace before the simulator ends
  bool completedOnce_ = false;
  int64 nextFastSecond_ = 0;
};

}  // namespace velsim::net
