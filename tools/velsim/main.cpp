// velsim: a simulated device on the network. Control channel, waveform and spectrum stream
// ports over TCP, discovery over UDP; everything the device says comes from the transport-
// agnostic core in tools/sim. One thread runs all sockets.

#include <sim/SimDevice.h>
#include <sim/SimStream.h>

#include <veliface/common/VelLog.h>

#include <CLI/CLI.hpp>
#include <asio.hpp>

#include <chrono>
#include <cmath>
#include <csignal>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace {

using asio::ip::tcp;
using asio::ip::udp;
using velsim::Bytes;

struct Options {
  std::string bind = "127.0.0.1";
  uint16 controlPort = 5000;
  uint16 waveformPort = 5001;
  uint16 spectrumPort = 5002;
  uint16 discoveryPort = 30303;
  int type = 5;
  uint16 serial = 1201;
  unsigned members = 2;
  uint32 sampleRate = 48000;
  unsigned bitDepth = 24;
  unsigned channels = 1;
  uint16 samplesPerFrame = 1024;
  uint32 fftPoints = 1024;
  double duration = 0;
  bool fast = false;
  double badCrc = 0;
  double dropFrames = 0;
  double garbage = 0;
  bool splitWrites = false;
  double disconnectAfter = 0;
  uint64 seed = 1;
};

void say(const std::string& line) { std::cout << "velsim: " << line << std::endl; }

velsim::FaultConfig faultsOf(const Options& o, uint64 salt) {
  velsim::FaultConfig f;
  f.seed = o.seed * 1000003 + salt;
  f.garbageRate = o.garbage;
  f.maxPieces = o.splitWrites ? 8 : 1;
  return f;
}

class Server;

// One stream port: accepts hosts, checks the start message, then streams until the host
// leaves, the duration is reached or a disconnect fault fires.
class StreamPort {
 public:
  StreamPort(Server& server, asio::io_context& io, const tcp::endpoint& ep,
             velsim::StreamKind kind)
      : server_(server), acceptor_(io, ep), timer_(io), kind_(kind) {}

  uint16 port() const { return acceptor_.local_endpoint().port(); }
  const char* name() const { return kind_ == velsim::StreamKind::Waveform ? "waveform" : "spectrum"; }
  bool active() const { return static_cast<bool>(stream_); }
  void start() { accept(); }
  void stop(const char* why);

 private:
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

class Server {
 public:
  Server(asio::io_context& io, const Options& o, velsim::SimDevice& device)
      : io_(io), opts_(o), device_(device),
        control_(io, tcp::endpoint(asio::ip::make_address(o.bind), o.controlPort)),
        wave_(*this, io, tcp::endpoint(asio::ip::make_address(o.bind), o.waveformPort),
              velsim::StreamKind::Waveform),
        spec_(*this, io, tcp::endpoint(asio::ip::make_address(o.bind), o.spectrumPort),
              velsim::StreamKind::Spectrum),
        discovery_(io, udp::endpoint(asio::ip::make_address(o.bind), o.discoveryPort)),
        signals_(io, SIGINT, SIGTERM) {}

  void start() {
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

  void shutdown() {
    wave_.stop("shutdown");
    spec_.stop("shutdown");
    io_.stop();
  }

  // A stream reached its end; with a duration set, the simulator ends when none is left.
  void streamEnded(bool completed) {
    if (completed) completedOnce_ = true;
    if (completedOnce_ && opts_.duration > 0 && !wave_.active() && !spec_.active()) {
      asio::post(io_, [this] { shutdown(); });
    }
  }

  // The disconnect fault takes the control connection down with the stream, as when a
  // device loses its network link.
  void dropControl() {
    if (!controlClient_) return;
    asio::error_code ec;
    controlClient_->shutdown(tcp::socket::shutdown_both, ec);
    controlClient_->close(ec);
    controlClient_.reset();
    say("control client dropped: disconnect fault");
  }

  // In fast mode streams run ahead of the wall clock; a new connection starts after the
  // seconds the last one used, so that device time never repeats a second.
  int64 streamStart(int64 deviceNow) const { return std::max(deviceNow, nextFastSecond_); }
  void streamUsedUpTo(int64 second) { nextFastSecond_ = std::max(nextFastSecond_, second + 1); }

  const Options& opts() const { return opts_; }
  velsim::SimDevice& device() { return device_; }

 private:
  void acceptControl() {
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

  void readControl(std::shared_ptr<tcp::socket> s) {
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

  void receiveDiscovery() {
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
  bool completedOnce_ = false;
  int64 nextFastSecond_ = 0;
};

void StreamPort::accept() {
  acceptor_.async_accept([this](const asio::error_code& ec, tcp::socket sock) {
    if (ec) return;
    handshake(std::make_shared<tcp::socket>(std::move(sock)));
    accept();
  });
}

void StreamPort::handshake(std::shared_ptr<tcp::socket> sock) {
  say(std::string(name()) + " client connected from " +
      sock->remote_endpoint().address().to_string());
  auto first = std::make_shared<std::array<uint8, 4>>();
  asio::async_read(*sock, asio::buffer(*first), [this, sock, first](const asio::error_code& ec,
                                                                    std::size_t) {
    if (ec) {
      say(std::string(name()) + " client left before the start message");
      return;
    }
    const velsim::NotifyCode verdict = velsim::SimStream::startVerdict(first->data(), active());
    Bytes note;
    velsim::StreamFrameEncoder::appendNotifyFrame(note, verdict);
    asio::error_code wec;
    asio::write(*sock, asio::buffer(note), wec);
    if (verdict != velsim::NotifyCode::NoError) {
      say(std::string(name()) + " start refused with notification " +
          std::to_string(static_cast<unsigned>(verdict)));
      sock->close(wec);
      return;
    }
    begin(sock);
  });
}

void StreamPort::begin(std::shared_ptr<tcp::socket> sock) {
  const Options& o = server_.opts();
  velsim::SimDevice& dev = server_.device();
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const uint32 nanos =
      o.fast ? 0 : static_cast<uint32>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count() % 1000000000);
  velsim::StreamSetup setup =
      dev.streamSetup(kind_, o.fast ? server_.streamStart(dev.deviceTime()) : dev.deviceTime(), nanos);
  setup.samplesPerFrame = o.samplesPerFrame;
  setup.faults = faultsOf(o, kind_ == velsim::StreamKind::Waveform ? 1 : 2);
  setup.faults.dataDropRate = o.dropFrames;
  try {
    stream_ = std::make_unique<velsim::SimStream>(setup);
  } catch (const std::exception& e) {
    say(std::string(name()) + " cannot stream this job: " + e.what());
    sock->close();
    return;
  }
  client_ = sock;
  fastTarget_ = 0;
  pace_.emplace(setup.sampleRate, setup.startSeconds, setup.startNanos, o.fast);
  endSample_ = o.duration > 0 ? static_cast<uint64>(std::llround(o.duration * setup.sampleRate)) : 0;
  disconnectAt_ =
      o.disconnectAfter > 0 ? static_cast<uint64>(std::llround(o.disconnectAfter * setup.sampleRate)) : 0;
  say(std::string(name()) + " streaming at " + std::to_string(setup.sampleRate) + " samples/s");
  watch(sock);
  tick();
}

void StreamPort::watch(std::shared_ptr<tcp::socket> sock) {
  // Notice a host that closes its side; bytes it sends after the start message mean nothing.
  sock->async_read_some(asio::buffer(sink_), [this, sock](const asio::error_code& ec, std::size_t) {
    if (client_ != sock) return;
    if (ec) {
      finish("client disconnected", false);
      return;
    }
    watch(sock);
  });
}

void StreamPort::tick() {
  if (!stream_ || writing_) return;
  const uint32 rate = stream_->setup().sampleRate;
  uint64 upto = 0;
  if (pace_->fast()) {
    // A tenth of a second per step, and at least one frame's worth so that every step moves.
    fastTarget_ += std::max<uint64>(rate / 10 + 1, stream_->setup().samplesPerFrame);
    upto = fastTarget_;
  } else {
    const auto elapsed = velsim::StreamClock::SteadyClock::now() - pace_->deadlineOf(0);
    upto = static_cast<uint64>(std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count()) *
           rate / 1000000000ull;
  }
  bool last = false;
  if (disconnectAt_ && upto >= disconnectAt_) upto = disconnectAt_, last = true;
  if (endSample_ && upto >= endSample_) upto = endSample_, last = true;
  stream_->produce(upto);
  if (last && disconnectAt_ && upto == disconnectAt_ && (!endSample_ || disconnectAt_ < endSample_)) {
    // The connection drops without a word after what was produced so far.
    endWhy_ = "disconnect fault";
    endNotify_ = false;
  } else if (last) {
    endWhy_ = "duration reached";
    endNotify_ = true;
  }
  if (stream_->output().empty() && !last) {
    schedule();
    return;
  }
  writeOut(last);
}

void StreamPort::schedule() {
  timer_.expires_after(std::chrono::milliseconds(pace_->fast() ? 0 : 20));
  timer_.async_wait([this](const asio::error_code& ec) {
    if (!ec) tick();
  });
}

void StreamPort::writeOut(bool last) {
  Bytes& out = stream_->output();
  pending_ = stream_->faults().split(out.data(), out.size());
  out.clear();
  nextPiece_ = 0;
  lastPending_ = last;
  writing_ = true;
  writeNext();
}

void StreamPort::writeNext() {
  if (nextPiece_ == pending_.size()) {
    writing_ = false;
    if (lastPending_) {
      finish(endWhy_, endNotify_);
    } else {
      schedule();
    }
    return;
  }
  // Pieces go out one write each, so that a receiver sees the cuts.
  auto sock = client_;
  asio::async_write(*sock, asio::buffer(pending_[nextPiece_++]),
                    [this, sock](const asio::error_code& ec, std::size_t) {
                      if (client_ != sock) return;
                      if (ec) {
                        finish("client disconnected", false);
                        return;
                      }
                      writeNext();
                    });
}

void StreamPort::finish(const char* why, bool sendStopped) {
  if (!stream_) return;
  asio::error_code ec;
  if (sendStopped && client_) {
    Bytes note;
    velsim::StreamFrameEncoder::appendNotifyFrame(note, velsim::NotifyCode::Stopped);
    asio::write(*client_, asio::buffer(note), ec);
  }
  say(std::string(name()) + " stream ended: " + why);
  say(stream_->summary());
  server_.streamUsedUpTo(stream_->clock().secondOf(stream_->nextSample()));
  if (client_) {
    client_->shutdown(tcp::socket::shutdown_both, ec);
    client_->close(ec);
  }
  client_.reset();
  stream_.reset();
  timer_.cancel();
  writing_ = false;
  if (std::string(why) == "disconnect fault") server_.dropControl();
  server_.streamEnded(std::string(why) == "duration reached");
}

void StreamPort::stop(const char* why) {
  if (stream_) finish(why, true);
  asio::error_code ec;
  acceptor_.close(ec);
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  CLI::App app{
      "velsim: a simulated acoustic sensor that speaks the device protocol over TCP and UDP.\n"
      "The control port answers commands (enquire, set time, reset, job setup and enquiry,\n"
      "triggers, data collect); the stream ports send the waveform and the spectrum after the\n"
      "start message; the discovery port answers 'W', 'X' and 'Y' requests.\n\n"
      "Example: velsim --fast --duration 10 --drop-frames 0.01 --seed 7 --waveform-port 0"};
  app.add_option("--bind", o.bind, "address to listen on (example: --bind 0.0.0.0)")->capture_default_str();
  app.add_option("--control-port", o.controlPort, "control TCP port; 0 picks a free one (example: --control-port 0)")->capture_default_str();
  app.add_option("--waveform-port", o.waveformPort, "waveform stream TCP port; 0 picks a free one")->capture_default_str();
  app.add_option("--spectrum-port", o.spectrumPort, "spectrum stream TCP port; 0 picks a free one")->capture_default_str();
  app.add_option("--discovery-port", o.discoveryPort, "discovery UDP port; 0 picks a free one")->capture_default_str();
  app.add_option("--type", o.type, "device type: 5 Aurel HF, 7 Aurel AF, 8 array hub, 13 recorder (example: --type 8)")
      ->check(CLI::IsMember({5, 7, 8, 13}))->capture_default_str();
  app.add_option("--serial", o.serial, "serial number (example: --serial 1201)")->capture_default_str();
  app.add_option("--members", o.members, "array hub: number of member devices, one channel each (example: --members 4)")
      ->check(CLI::Range(1u, 85u))->capture_default_str();
  app.add_option("--sample-rate", o.sampleRate, "waveform and FFT sample rate (example: --sample-rate 96000)")
      ->check(CLI::IsMember({8000u, 16000u, 32000u, 48000u, 64000u, 96000u, 128000u, 256000u, 512000u}))
      ->capture_default_str();
  app.add_option("--bit-depth", o.bitDepth, "waveform bits per sample, 16 or 24 (example: --bit-depth 16)")
      ->check(CLI::IsMember({16u, 24u}))->capture_default_str();
  app.add_option("--channels", o.channels, "waveform channels (example: --channels 4)")->check(CLI::Range(1u, 85u))->capture_default_str();
  app.add_option("--samples-per-frame", o.samplesPerFrame, "sample frames per waveform data frame (example: --samples-per-frame 512)")
      ->check(CLI::Range(1, 65535))->capture_default_str();
  app.add_option("--fft-points", o.fftPoints, "FFT length, a power of two 256..8192 (example: --fft-points 2048)")
      ->check(CLI::IsMember({256u, 512u, 1024u, 2048u, 4096u, 8192u}))->capture_default_str();
  app.add_option("--duration", o.duration, "end each stream after this many simulated seconds and exit when none is left; 0 runs until stopped (example: --duration 60)")
      ->check(CLI::NonNegativeNumber)->capture_default_str();
  app.add_flag("--fast", o.fast, "stream as fast as the host reads instead of in real time");
  app.add_option("--bad-crc", o.badCrc, "fraction of control responses sent with a wrong CRC (example: --bad-crc 0.1)")
      ->check(CLI::Range(0.0, 1.0))->capture_default_str();
  app.add_option("--drop-frames", o.dropFrames, "fraction of stream data frames not sent (example: --drop-frames 0.01)")
      ->check(CLI::Range(0.0, 1.0))->capture_default_str();
  app.add_option("--garbage", o.garbage, "fraction of frames preceded by garbage bytes (example: --garbage 0.05)")
      ->check(CLI::Range(0.0, 1.0))->capture_default_str();
  app.add_flag("--split-writes", o.splitWrites, "cut every write into up to 8 pieces at random points");
  app.add_option("--disconnect-after", o.disconnectAfter, "drop a stream connection after this many simulated seconds (example: --disconnect-after 5)")
      ->check(CLI::NonNegativeNumber)->capture_default_str();
  app.add_option("--seed", o.seed, "seed of the signal and of the faults; equal seeds repeat a run (example: --seed 42)")->capture_default_str();
  CLI11_PARSE(app, argc, argv);

  // The library's own diagnostics go to standard error, so standard output stays ours.
  VelLog::setSink([](const std::string& line) { std::cerr << "velsim: library: " << line << std::endl; });

  velsim::DeviceConfig cfg;
  cfg.type = o.type;
  cfg.serial = o.serial;
  cfg.model = o.type == 13 ? "SoundTrap Rec" : o.type == 8 ? "Array Hub" : o.type == 7 ? "Aurel AF" : "Aurel HF";
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
    Server server(io, o, device);
    server.start();
    io.run();
  } catch (const std::exception& e) {
    say(std::string("error: ") + e.what());
    return 1;
  }
  say("exit");
  return 0;
}
