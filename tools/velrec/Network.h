#pragma once
// velrec on the network: the control channel and the two stream ports of a device (or of
// velsim) over TCP, with the start message and reconnection with back-off.

#include "Console.h"
#include "DeviceControl.h"
#include "Session.h"

#include <csignal>
#include <asio.hpp>

#include <array>
#include <chrono>
#include <memory>
#include <string>

namespace velrec {

/// Makes every wait on the network end early once `*flag` is set (by a signal handler).
void setStopFlag(const volatile std::sig_atomic_t* flag);
/// True once the flag given to `setStopFlag` is set.
bool stopRequested();


/// The control channel over a TCP connection.
class TcpLink : public ControlLink {
 public:
  /// Not yet connected.
  explicit TcpLink(asio::io_context& io) : io_(io), socket_(io) {}
  /// Connects to `host`:`port` within `timeout`; on failure `error` says why.
  bool connect(const std::string& host, uint16 port, std::chrono::milliseconds timeout,
               std::string& error);
  bool send(const std::vector<uint8>& frame) override;
  std::size_t receive(uint8* buf, std::size_t max, std::chrono::milliseconds timeout) override;
  bool closed() const override { return closed_; }

 private:
  asio::io_context& io_;
  asio::ip::tcp::socket socket_;
  bool closed_ = false;
};

/// One stream port: connects, sends the start message and hands every received byte to the
/// session. A lost or refused connection is reported once and not tried again here: the
/// recorder starts the whole device connection over (see `lost`).
class StreamConn {
 public:
  /// The port `port` of `host` carrying `ch`; nothing happens before `start`.
  StreamConn(asio::io_context& io, std::string host, uint16 port, Channel ch, Session& session,
             Console& console);
  /// Starts connecting.
  void start() { connect(); }
  /// Closes the connection.
  void stop();
  /// True once the connection has been lost (or could not be made).
  bool lost() const { return lost_; }

 private:
  void connect();
  void read();
  void lose(const std::string& why);

  asio::io_context& io_;
  std::string host_;
  uint16 port_;
  Channel ch_;
  Session& session_;
  Console& console_;
  std::shared_ptr<asio::ip::tcp::socket> socket_;
  bool stopped_ = false;
  bool lost_ = false;
  std::array<uint8, 64 * 1024> buf_{};
};

}  // namespace velrec
