#pragma once
// Where velrec talks to its user: log lines and the live status line on standard error,
// results on standard output.

#include <string>

namespace velrec {

/// Log lines and one status line. On a terminal the status line is redrawn in place with
/// \r and every log line first clears it; elsewhere each status is a plain log line.
class Console {
 public:
  /// `tty`: standard error is a terminal.
  explicit Console(bool tty) : tty_(tty) {}
  /// One log line, "velrec: " + text, on standard error.
  void log(const std::string& text);
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
  bool tty_;
  bool statusShown_ = false;
  std::string lastStatus_;
};

}  // namespace velrec
