#pragma once
/// \file One stream port of velsim: accepts hosts, checks the start message, then streams
/// until the host leaves, the duration is reached or a disconnect fault fires.

#include <sim/SimStream.h>
#include <sim/StreamClock.h>

#include <asio.hpp>

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace velsim::net {

class Server;

/// A waveform or spectrum stream port, one host at a time.
class StreamPort {
 public:
  /// A port listening on `ep` for streams of `kind`, run by `server`.
  StreamPort(Server& server, asio::io_context& io, const asio::ip::tcp::endpoint& ep,
             velsim::StreamKind kind)
      : server_(server), acceptor_(io, ep), timer_(io), kind_(kind) {}

  /// The port listened on.
  uint16 port() const { return acceptor_.local_endpoint().port(); }
  /// "waveform" or "spectrum".
  const char* name() const { return kind_ == velsim::StreamKind::Waveform ? "waveform" : "spectrum"; }
  /// Whether a stream is running.
  bool active() const { return static_cast<bool>(stream_); }
  /// Starts accepting hosts.
  void start() { accept(); }
  /// Ends a running stream (the host is told) and stops accepting.
  void stop(const char* why);

 private:
  using tcp = asio::ip::tcp;

  void accept();
  void handshake(std::shared_ptr<tcp::socket> sock);
  void begin(std::shared_ptr<tcp::socket> sock);
  void tick();
  void watch(std::shared_ptr<tcp::socket> sock);
  void schedule();
  void writeOut(bool last);
  void writeNext();
  void finish(const char* why, bool sendStopped);

  Server& server_;
  tcp::acceptor acceptor_;
  asio::steady_timer timer_;
  velsim::StreamKind kind_;
  std::shared_ptr<tcp::socket> client_;
  std::unique_ptr<velsim::SimStream> stream_;
  std::optional<velsim::StreamClock> pace_;
  uint64 endSample_ = 0;      // 0: no end
  uint64 disconnectAt_ = 0;   // 0: never
  uint64 fastTarget_ = 0;     // fast mode: the sample the next step produces up to
  bool writing_ = false;
  std::vector<Bytes> pending_;  // pieces of the current write
  std::size_t nextPiece_ = 0;
  bool lastPending_ = false;    // the stream ends after these pieces
  const char* endWhy_ = "";     // why it ends then
  bool endNotify_ = false;      // whether the host is told it stopped
  std::array<uint8, 256> sink_{};
};

}  // namespace velsim::net
