#pragma once
// velrec on the network: the control channel and the two stream ports of a device (or of
// velsim) over TCP, with the start message and reconnection with back-off.

#include "Console.h"
#include "DeviceControl.h"
#include "Session.h"

#include <asio.hpp>

#include <array>
#include <chrono>
#include <memory>
#include <string>

namespace velrec {

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

 private:
  asio::io_context& io_;
  asio::ip::tcp::socket socket_;
};

/// One stream port: connects, sends the start message, hands every received byte to the
/// session, and after a lost or refused connection tries again after 1, 2, 4 ... 30 s.
class StreamConn {
 public:
  /// The port `port` of `host` carrying `ch`; nothing happens before `start`.
  StreamConn(asio::io_context& io, std::string host, uint16 port, Channel ch, Session& session,
             Console& console);
  /// Starts connecting.
  void start() { connect(); }
  /// Closes the connection and stops trying.
  void stop();
  /// The device accepted the start message (the back-off starts over).
  void started() { backoff_ = std::chrono::seconds(1); }

 private:
  void connect();
  void read();
  void lost(const std::string& why);

  asio::io_context& io_;
  std::string host_;
  uint16 port_;
  Channel ch_;
  Session& session_;
  Console& console_;
  std::shared_ptr<asio::ip::tcp::socket> socket_;
  asio::steady_timer retry_;
  std::chrono::seconds backoff_{1};
  bool stopped_ = false;
  std::array<uint8, 64 * 1024> buf_{};
};

}  // namespace velrec
