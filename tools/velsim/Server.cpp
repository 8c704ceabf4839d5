#include "Server.h"

#include <chrono>
#include <csignal>
#include <string>

namespace velsim::net {

Server::Server(asio::io_context& io, const Options& o, velsim::SimDevice& device)
    : io_(io), opts_(o), device_(device),
      control_(io, tcp::endpoint(asio::ip::make_address(o.bind), o.controlPort)),
      wave_(*this, io, tcp::endpoint(asio::ip::make_address(o.bind), o.waveformPort),
            velsim::StreamKind::Waveform),
      spec_(*this, io, tcp::endpoint(asio::ip::make_address(o.bind), o.spectrumPort),
            velsim::StreamKind::Spectrum),
      discovery_(io, udp::endpoint(asio::ip::make_address(o.bind), o.discoveryPort)),
      signals_(io, SIGINT, SIGTERM) {}

void Server::start() {
  say("control port " + std::to_string(control_.local_endpoint().port()));
  say("waveform port " + std::to_string(wave_.port()));
  say("spectrum port " + std::to_string(spec_.port()));
  say("discovery port " + std::to_string(discovery_.local_endpoint().port()));
  acceptControl();
  wave_.start();
  spec_.start();
  receiveDiscovery();
  signals_.async_wait([this](const asio::error_code& ec, int sig) {
    if (ec) return;
    say(std::string("stopping on ") + (sig == SIGINT ? "SIGINT" : "SIGTERM"));
    shutdown();
  });
}

void Server::shutdown() {
  wave_.stop("shutdown");
  spec_.stop("shutdown");
  io_.stop();
}

void Server::streamEnded(bool completed) {
  if (completed) completedOnce_ = true;
  if (!completedOnce_ || opts_.duration <= 0 || wave_.active() || spec_.active()) return;
  idle_.expires_after(std::chrono::seconds(1));
  idle_.async_wait([this](const asio::error_code& ec) {
    if (!ec && !wave_.active() && !spec_.active()) shutdown();
  });
}

// The disconnect fault takes the control connection down with the stream.
void Server::dropControl() {
  if (!controlClient_) return;
  asio::error_code ec;
  controlClient_->shutdown(tcp::socket::shutdown_both, ec);
  controlClient_->close(ec);
  controlClient_.reset();
  say("control client dropped: disconnect fault");
}

void Server::acceptControl() {
  control_.async_accept([this](const asio::error_code& ec, tcp::socket sock) {
    if (ec) return;
    auto s = std::make_shared<tcp::socket>(std::move(sock));
    if (controlClient_) {
      say("control client refused: another host holds the control channel");
      s->close();
    } else {
      controlClient_ = s;
      device_.resetControlChannel();
      say("control client connected from " + s->remote_endpoint().address().to_string());
      readControl(s);
    }
    acceptControl();
  });
}

void Server::readControl(std::shared_ptr<tcp::socket> s) {
  s->async_read_some(asio::buffer(controlBuf_), [this, s](const asio::error_code& ec, std::size_t n) {
    if (ec) {
      if (controlClient_ == s) {
        say("control client disconnected");
        controlClient_.reset();
      }
      return;
    }
    const Bytes reply = device_.handleControl(controlBuf_.data(), n);
    asio::error_code wec;
    for (const Bytes& piece : controlSplit_.split(reply.data(), reply.size())) {
      asio::write(*s, asio::buffer(piece), wec);
      if (wec) break;
    }
    readControl(s);
  });
}

void Server::receiveDiscovery() {
  discovery_.async_receive_from(
      asio::buffer(udpBuf_), udpPeer_, [this](const asio::error_code& ec, std::size_t n) {
        if (ec) return;
        for (const auto& r : device_.handleDiscovery(udpBuf_.data(), n)) {
          udp::endpoint to(udpPeer_.address(), r.port ? r.port : udpPeer_.port());
          asio::error_code sec;
          discovery_.send_to(asio::buffer(r.frame), to, 0, sec);
        }
        receiveDiscovery();
      });
}

}  // namespace velsim::net
