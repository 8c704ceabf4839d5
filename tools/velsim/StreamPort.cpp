#include "StreamPort.h"

#include "Options.h"
#include "Server.h"

#include <sim/StreamFrameEncoder.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>

namespace velsim::net {

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
  stream_->setEnd(endSample_);  // exactly the duration, whichever frame the end falls in
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

}  // namespace velsim::net
