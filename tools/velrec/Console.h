#pragma once
// Where velrec talks to its user: log lines and the live status line on standard error,
// results on standard output.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace velrec {

/// Log lines and one status line. On a terminal the status line is redrawn in place with
/// \r and every log line first clears it; elsewhere each status is a plain log line.
///
/// A flood of the same diagnostic (lines that differ in their numbers at most, each within a
/// second of the one before, as a device sending garbage can cause) is cut short: after a
/// few such lines in a row the rest are
/// counted and summed up as "... repeated N times" when another line comes, every ten
/// seconds while the flood lasts, and at the end.
class Console {
 public:
  /// `tty`: standard error is a terminal.
  explicit Console(bool tty) : tty_(tty) {}
  /// Sums up a flood still being counted.
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  /// One log line, "velrec: " + text, on standard error.
  void log(const std::string& text);
  /// A diagnostic line of the library: to the copy (see `setCopy`) always, to standard error
  /// only when `show`.
  void diagnostic(const std::string& text, bool show);
  /// Every line written (log, diagnostic, result, and each status when not on a terminal)
  /// also goes to `copy`, without the "velrec: " in front: a log file.
  void setCopy(std::function<void(const std::string&)> copy) { copy_ = std::move(copy); }
  /// Shows `text` as the current status.
  void status(const std::string& text);
  /// Ends the status line so that what follows starts on a fresh line.
  void endStatus();
  /// One result line, "velrec: " + text, on standard output.
  void out(const std::string& text);
  /// True on a terminal.
  bool tty() const { return tty_; }

 private:
  void clearStatus();
  void write(const std::string& text, bool toTerminal = true);
  void filtered(const std::string& text, bool toTerminal);
  std::function<void(const std::string&)> copy_;
  void sumUp(std::chrono::steady_clock::time_point now);
  bool tty_;
  std::string lastShape_;       // the last line with its digits blanked out
  int inARow_ = 0;              // lines of that shape in a row
  std::uint64_t suppressed_ = 0;  // of them not shown and not yet summed up
  std::string lastSuppressed_;
  std::chrono::steady_clock::time_point lastSum_{};
  std::chrono::steady_clock::time_point lastTime_{};  // of the last line
  bool statusShown_ = false;
  std::string lastStatus_;
};

}  // namespace velrec
