#pragma once
// What velrec tells about a running recording: the live status line, the recording's events
// on the terminal and in the log, and the same as JSON lines for a supervisor.

#include "Console.h"
#include "Session.h"
#include "StatusJson.h"

#include <chrono>
#include <string>

namespace velrec {

/// Reports one run.
class Reporter {
 public:
  /// Where the files go and how long each is, for the format line; `verbose` shows the
  /// library's diagnostics on the terminal too.
  Reporter(Console& console, StatusJson& json, std::string outDir, int period, bool verbose)
      : console_(console), json_(json), outDir_(std::move(outDir)), period_(period), verbose_(verbose) {}
  /// Reports the events of `session` from now on.
  void attach(Session& session);
  /// Shows the status line (at most twice a second on a terminal, every ten seconds
  /// elsewhere) and a JSON status every five seconds; `force` shows both now.
  void tick(const Session& session, bool force = false);
  /// A connection event ("connection_lost", "reconnected") with its text, to the log and as JSON.
  void connection(const std::string& event, const std::string& text);
  /// The run's figures at its end, as the summary states them, and its exit status.
  void end(const Session& session, int exitCode);
  /// The console.
  Console& console() { return console_; }
  /// The JSON status output.
  StatusJson& json() { return json_; }
  /// True when the library's diagnostics are shown on the terminal.
  bool verbose() const { return verbose_; }

 private:
  using Clock = std::chrono::steady_clock;
  nlohmann::ordered_json figures(const Session& session) const;
  void event(const Session& session, const veliface::host::RecordingEvent& e);

  Console& console_;
  StatusJson& json_;
  std::string outDir_;
  int period_;
  bool verbose_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point lastLine_ = Clock::now();
  Clock::time_point lastJson_ = Clock::now();
  uint64 lastReceived_ = 0;
};

}  // namespace velrec
