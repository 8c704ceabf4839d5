#pragma once
/// \file One stream port of a device seen from the host: start, decode, count what was lost.

#include <veliface/host/HostTime.h>
#include <veliface/stream/VelStreamMessage.h>
#include <veliface/stream/VelStreamProcessor.h>
#include <veliface/stream/VelStreamType.h>

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/MavTypes.h>

#include <functional>
#include <string>
#include <vector>

namespace veliface::host {

/// Something that happened on a stream port.
struct StreamEvent {
  /// The kind of event.
  enum class Kind {
    Started,  ///< the port answered the start message with "No error."
    Notice,   ///< the port sent another notification (`code`, `text`)
    Stalled,  ///< nothing arrived for the stall time while the port was open
  } kind;
  uint32 code = 0;   ///< notification code (Started, Notice)
  std::string text;  ///< the notification's text, or why the port stalled
};

/// What a stream port has carried.
struct StreamCounters {
  uint64 bytes = 0;       ///< bytes received
  uint64 messages = 0;    ///< messages decoded
  uint64 samples = 0;     ///< sample frames received in data messages
  uint64 lostFrames = 0;  ///< data frames that never arrived (from sample-number gaps)
  uint64 position = 0;    ///< stream time in samples over all connections, gaps included
  uint64 restarts = 0;    ///< connections started again
  uint64 stalls = 0;      ///< stalls noticed
};

/// Sans-I/O decoding of one stream port.
///
/// The host opens the port, sends `startMessage()`, feeds every received byte to `receive`
/// and calls `tick` with the time; each decoded message goes to the sink. In front of the
/// stream processor it skips line noise between frames, which the processor's own search
/// would sometimes pay for with the next frame's code byte. For a waveform port it follows
/// the sample numbers, so that frames that never came are counted and stream time runs on
/// through them. Nothing arriving for the stall time is reported once as a stall, which a
/// host handles like a lost connection.
class StreamSession {
 public:
  /// Who receives each decoded message.
  using Sink = std::function<void(const VelStreamMessage&)>;
  /// Stall time and ring size.
  struct Settings {
    HostTime stallAfter{5000};  ///< silence after which an open port counts as stalled
  };

  /// A session for a port of `type`.
  explicit StreamSession(VelStreamType type) : StreamSession(type, Settings{}) {}
  /// A session for a port of `type` with the given settings.
  StreamSession(VelStreamType type, Settings settings);

  /// The message that opens a stream port: code 'S', the marker, payload length 0.
  static std::vector<uint8> startMessage();

  /// Sets who receives the decoded messages.
  void setSink(Sink sink) { sink_ = std::move(sink); }
  /// The port was (re)connected at `now` and the start message sent: decoding starts clean
  /// and the stall clock runs.
  void opened(HostTime now);
  /// The connection ended: nothing more is expected until `opened`.
  void closed();
  /// Bytes received at `now`: decoded, each message handed to the sink.
  void receive(const uint8* data, std::size_t n, HostTime now);
  /// Lets time pass; a port silent for the stall time is reported once.
  void tick(HostTime now);
  /// Frames missing past the sample position `limit` (waveform, over all connections) are
  /// not counted as lost: the recording ends there. 0 means no limit.
  void setSampleLimit(uint64 limit) { limit_ = limit; }
  /// Ignores every byte from now on (the recording is complete); also from inside the sink.
  void stop() { stopped_ = true; }

  /// True once the port has answered the start message with "No error.".
  bool started() const { return started_; }
  /// True while the port is open and has been silent for the stall time.
  bool stalled() const { return stalled_; }
  /// The figures so far, over every connection.
  const StreamCounters& counters() const { return counters_; }
  /// Events since the last call.
  std::vector<StreamEvent> takeEvents();
  /// The stream type of the port.
  VelStreamType type() const { return type_; }

 private:
  void skipNoise();
  void follow(const VelStreamMessage& msg);
  void countGap(uint64 upto);

  VelStreamType type_;
  Settings settings_;
  VelStreamProcessor parser_;
  CircularByteBuffer ring_;
  bool atFrame_ = true;  // the parser waits for the start of a frame
  bool open_ = false;
  bool started_ = false;
  bool stalled_ = false;
  bool stopped_ = false;
  HostTime lastData_{0};
  uint64 limit_ = 0;
  uint64 base_ = 0;           // stream time of the connections before this one
  uint64 connPos_ = 0;        // stream time on this connection (samples)
  bool expectKnown_ = false;  // connPos_ is where the next data frame starts
  bool haveSecond_ = false;   // lastSecond_ holds the second of the last event header
  int64 lastSecond_ = 0;
  uint64 frameSize_ = 0;      // the largest data frame seen (samples)
  StreamCounters counters_;
  std::vector<StreamEvent> events_;
  Sink sink_;
};

}  // namespace veliface::host
