#include <veliface/host/ControlSession.h>

#include <veliface/common/VelCommandCode.h>

#include <sstream>

namespace veliface::host {

namespace {

// Header, the largest payload a 16-bit length allows, CRC.
constexpr std::size_t kMaxFrame = 4 + 0xFFFF + 2;

std::string hexCode(uint8 code) {
  std::ostringstream os;
  os << "0x" << std::hex << static_cast<int>(code);
  return os.str();
}

}  // namespace

const char* controlStatusText(ControlStatus status) {
  switch (status) {
    case ControlStatus::Idle: return "no request";
    case ControlStatus::Waiting: return "waiting for the answer";
    case ControlStatus::Answered: return "answered";
    case ControlStatus::TimedOut: return "no answer";
    case ControlStatus::BadCrc: return "damaged answer (bad CRC)";
  }
  return "?";
}

ControlSession::ControlSession(Settings settings) : settings_(settings), ring_(kMaxFrame) {
  if (settings_.tries < 1) settings_.tries = 1;
}

std::vector<uint8> ControlSession::frame(const std::shared_ptr<VelControlMsgPayload>& request) {
  std::vector<uint8> out(kMaxFrame);
  uint64 len = 0;
  VelControlMessage(request).serialize(&len, out.data());
  out.resize(static_cast<std::size_t>(len));
  return out;
}

void ControlSession::start(std::shared_ptr<VelControlMsgPayload> request, HostTime now) {
  request_ = std::move(request);
  code_ = request_->commandCode();
  requestFrame_ = frame(request_);
  answer_.reset();
  tries_ = 0;
  status_ = ControlStatus::Waiting;
  // Whatever came before belongs to no request of ours.
  noiseBefore_ += framer_.buffered();
  framer_.clear();
  send(now);
}

void ControlSession::send(HostTime now) {
  ++tries_;
  badThisTry_ = false;
  outgoing_.insert(outgoing_.end(), requestFrame_.begin(), requestFrame_.end());
  deadline_ = now + settings_.timeout;
}

std::vector<uint8> ControlSession::takeOutgoing() {
  std::vector<uint8> out;
  out.swap(outgoing_);
  return out;
}

std::vector<ControlNote> ControlSession::takeNotes() {
  std::vector<ControlNote> out;
  out.swap(notes_);
  return out;
}

void ControlSession::fail(ControlStatus why) {
  status_ = why;
  request_.reset();
}

void ControlSession::receive(const uint8* data, std::size_t n, HostTime now) {
  framer_.feed(data, n);
  while (auto f = framer_.next()) {
    if (!f->crcGood) {
      ++badCrc_;
      if (waiting() && f->code() == code_) badThisTry_ = true;
      continue;
    }
    if (waiting()) decode(*f);
  }
  if (waiting() && badThisTry_) {
    if (tries_ >= settings_.tries) {
      fail(ControlStatus::BadCrc);
      return;
    }
    notes_.push_back({ControlNote::Kind::Resent,
                      "bad CRC on the answer to " + VelUtil::cmdCodeStr(static_cast<VelCommandCode>(code_)) +
                          ", asking again"});
    send(now);
  }
}

void ControlSession::decode(const ResponseFrame& f) {
  if (f.code() != code_) {
    notes_.push_back({ControlNote::Kind::Unrelated,
                      "set aside a response of code " + hexCode(f.code()) + " while waiting for " +
                          VelUtil::cmdCodeStr(static_cast<VelCommandCode>(code_))});
    return;
  }
  // The processor sees exactly one whole frame, so it never drops or mixes up a payload
  // that came in pieces; a fresh one each time carries no state from a damaged frame.
  ring_.clear();
  ring_.write(f.bytes.data(), f.bytes.size());
  VelControlProcessor processor;
  auto msg = processor.pump(ring_);
  ring_.clear();
  if (!msg) return;  // a code the processor consumes without a message
  answer_ = std::move(msg);
  status_ = ControlStatus::Answered;
  request_.reset();
}

void ControlSession::tick(HostTime now) {
  if (!waiting() || now < deadline_) return;
  if (tries_ >= settings_.tries) {
    fail(ControlStatus::TimedOut);
    return;
  }
  notes_.push_back({ControlNote::Kind::Resent,
                    "no answer to " + VelUtil::cmdCodeStr(static_cast<VelCommandCode>(code_)) +
                        " within " + std::to_string(settings_.timeout.count()) + " ms, asking again"});
  send(now);
}

}  // namespace veliface::host
