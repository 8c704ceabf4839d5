#pragma once
/// \file One device's control channel seen from the host: a request out, its answer back.

#include <veliface/common/VelCommand.h>
#include <veliface/common/VelCommandPayload.h>
#include <veliface/control/VelControlProcessor.h>
#include <veliface/host/HostTime.h>
#include <veliface/host/ResponseFramer.h>

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/MavTypes.h>

#include <memory>
#include <string>
#include <vector>

namespace veliface::host {

/// How a request ended.
enum class ControlStatus {
  Idle,      ///< no request has been started
  Waiting,   ///< the request is out; no answer yet
  Answered,  ///< the answer came with a good CRC
  TimedOut,  ///< every try went unanswered
  BadCrc,    ///< the last try was answered with a damaged frame
};

/// Text of a status ("answered", "no answer", ...), for messages.
const char* controlStatusText(ControlStatus status);

/// What the session tells its host as a request goes on.
struct ControlNote {
  /// The kind of note.
  enum class Kind {
    Resent,     ///< asked again: `text` says why
    Unrelated,  ///< a good frame of another command arrived and was set aside
  } kind;
  std::string text;  ///< one line for a log
};

/// Sans-I/O request/answer conversation over a control channel.
///
/// The host starts a request, sends the bytes that `takeOutgoing` gives it, feeds every
/// received byte to `receive` and calls `tick` now and then with the time. Received bytes
/// are framed first (`ResponseFramer`), so a response split over any number of reads is
/// decoded whole and the CRC of every response frame is checked, also of those codes whose
/// CRC the control processor leaves unread. A response with a bad CRC is asked for again at
/// once; a silent device after `timeout`; the request fails after `tries` tries. The answer
/// is the first good frame that carries the request's command code.
class ControlSession {
 public:
  /// Tries and waiting time per try.
  struct Settings {
    int tries = 6;                   ///< sends of one request before it fails
    HostTime timeout{2000};          ///< silence after which a request is sent again
  };

  /// A session with default settings.
  ControlSession() : ControlSession(Settings{}) {}
  /// A session with the given settings.
  explicit ControlSession(Settings settings);

  /// Starts `request` at `now` (a request still waiting is abandoned): its frame is queued
  /// for `takeOutgoing`.
  void start(std::shared_ptr<VelControlMsgPayload> request, HostTime now);
  /// Bytes to send now; the queue is emptied.
  std::vector<uint8> takeOutgoing();
  /// Bytes received on the control channel at `now`.
  void receive(const uint8* data, std::size_t n, HostTime now);
  /// Lets time pass: a try that has waited its timeout is sent again, or the request fails.
  void tick(HostTime now);

  /// True while a request waits for its answer.
  bool waiting() const { return status_ == ControlStatus::Waiting; }
  /// How the last request stands.
  ControlStatus status() const { return status_; }
  /// The decoded answer once `status()` is `Answered`, else null.
  std::shared_ptr<VelControlMessage> answer() const { return answer_; }
  /// When the current try times out (meaningful while waiting), so that a host knows how
  /// long it may block on its transport.
  HostTime deadline() const { return deadline_; }
  /// Tries made for the current or last request.
  int tries() const { return tries_; }
  /// Notes since the last call (resends and set-aside frames), for a log.
  std::vector<ControlNote> takeNotes();

  /// Response frames whose CRC was wrong, over the session's life.
  uint64 badCrcFrames() const { return badCrc_; }
  /// Bytes dropped as line noise, over the session's life.
  uint64 noiseBytes() const { return noiseBefore_ + framer_.noiseBytes(); }

  /// The frame of `request` as it goes on the wire.
  static std::vector<uint8> frame(const std::shared_ptr<VelControlMsgPayload>& request);

 private:
  void send(HostTime now);
  void fail(ControlStatus why);
  void decode(const ResponseFrame& frame);

  Settings settings_;
  std::shared_ptr<VelControlMsgPayload> request_;
  std::vector<uint8> requestFrame_;
  uint8 code_ = 0;
  std::vector<uint8> outgoing_;
  ResponseFramer framer_;
  CircularByteBuffer ring_;
  ControlStatus status_ = ControlStatus::Idle;
  std::shared_ptr<VelControlMessage> answer_;
  HostTime deadline_{0};
  int tries_ = 0;
  bool badThisTry_ = false;
  uint64 badCrc_ = 0;
  uint64 noiseBefore_ = 0;
  std::vector<ControlNote> notes_;
};

}  // namespace veliface::host
