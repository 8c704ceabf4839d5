#include "Network.h"

#include <veliface/host/StreamSession.h>

namespace velrec {

using asio::ip::tcp;

namespace {

const volatile std::sig_atomic_t* g_stopFlag = nullptr;

// Runs `io` until `done`, `timeout` or a stop request; what is still pending is cancelled
// through `cancel`. It looks at the stop request ten times a second, so that a signal ends a
// wait on a silent device at once.
template <typename Cancel>
void runUntil(asio::io_context& io, const bool& done, std::chrono::milliseconds timeout, Cancel cancel) {
  io.restart();
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!done && std::chrono::steady_clock::now() < deadline && !stopRequested()) {
    io.run_one_until(std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(100)));
  }
  if (!done) {
    cancel();
    io.restart();
    while (!done && io.run_one() > 0) {
    }
  }
}

}  // namespace

void setStopFlag(const volatile std::sig_atomic_t* flag) { g_stopFlag = flag; }

bool stopRequested() { return g_stopFlag != nullptr && *g_stopFlag != 0; }

bool TcpLink::connect(const std::string& host, uint16 port, std::chrono::milliseconds timeout,
                      std::string& error) {
  asio::error_code ec;
  tcp::resolver resolver(io_);
  const auto endpoints = resolver.resolve(host, std::to_string(port), ec);
  if (ec) {
    error = ec.message();
    return false;
  }
  bool done = false;
  asio::error_code result = asio::error::timed_out;
  asio::async_connect(socket_, endpoints, [&](const asio::error_code& e, const tcp::endpoint&) {
    result = e;
    done = true;
  });
  runUntil(io_, done, timeout, [&] { socket_.close(ec); });
  if (result) {
    error = done && result != asio::error::operation_aborted ? result.message() : "timed out";
    socket_.close(ec);
    return false;
  }
  return true;
}

bool TcpLink::send(const std::vector<uint8>& frame) {
  asio::error_code ec;
  asio::write(socket_, asio::buffer(frame), ec);
  return !ec;
}

std::size_t TcpLink::receive(uint8* buf, std::size_t max, std::chrono::milliseconds timeout) {
  bool done = false;
  std::size_t got = 0;
  socket_.async_read_some(asio::buffer(buf, max), [&](const asio::error_code& e, std::size_t n) {
    got = e ? 0 : n;
    closed_ = closed_ || e == asio::error::eof || e == asio::error::connection_reset;
    done = true;
  });
  runUntil(io_, done, timeout, [&] { socket_.cancel(); });
  return got;
}

StreamConn::StreamConn(asio::io_context& io, std::string host, uint16 port, Channel ch,
                       Session& session, Console& console)
    : io_(io), host_(std::move(host)), port_(port), ch_(ch), session_(session), console_(console) {}

void StreamConn::connect() {
  if (stopped_) return;
  auto sock = std::make_shared<tcp::socket>(io_);
  socket_ = sock;
  asio::error_code ec;
  tcp::resolver resolver(io_);
  const auto endpoints = resolver.resolve(host_, std::to_string(port_), ec);
  if (ec) {
    lose(ec.message());
    return;
  }
  asio::async_connect(*sock, endpoints, [this, sock](const asio::error_code& e, const tcp::endpoint&) {
    if (sock != socket_ || stopped_) return;
    if (e) {
      lose(e.message());
      return;
    }
    asio::error_code wec;
    asio::write(*sock, asio::buffer(veliface::host::StreamSession::startMessage()), wec);
    if (wec) {
      lose(wec.message());
      return;
    }
    read();
  });
}

void StreamConn::read() {
  auto sock = socket_;
  sock->async_read_some(asio::buffer(buf_), [this, sock](const asio::error_code& e, std::size_t n) {
    if (sock != socket_ || stopped_) return;
    if (n > 0) session_.receive(ch_, buf_.data(), n);
    if (e) {
      lose(e == asio::error::eof ? "closed by the device" : e.message());
      return;
    }
    read();
  });
}

void StreamConn::lose(const std::string& why) {
  asio::error_code ec;
  if (socket_) socket_->close(ec);
  socket_.reset();
  if (lost_ || stopped_) return;
  lost_ = true;
  session_.connectionLost(ch_);
  console_.log(std::string(channelName(ch_)) + " connection to " + host_ + ":" + std::to_string(port_) +
               " lost (" + why + ")");
}

void StreamConn::stop() {
  stopped_ = true;
  asio::error_code ec;
  if (socket_) socket_->close(ec);
  socket_.reset();
}

}  // namespace velrec
