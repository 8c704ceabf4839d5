#pragma once
/// \file The one process-wide sink of the library's diagnostic lines.

#include <functional>
#include <string>

/// Every diagnostic line that the library writes goes through here. The default sink writes
/// the line and a newline to standard output; a host may redirect the lines to its logger.
class VelLog {
 public:
  /// Receives one complete line, without its trailing newline.
  using Sink = std::function<void(const std::string& line)>;

  /// Installs `sink` for every later line; an empty function restores the default sink.
  static void setSink(Sink sink);
  /// Sends one complete line (without newline) to the current sink.
  static void write(const std::string& line);
  /// A sink that drops every line.
  static void discard(const std::string&) {}

  /// Installs a sink for as long as it lives, then puts back the sink it replaced (scopes
  /// nest; end them in the reverse order of their start).
  class SinkScope {
   public:
    /// Installs `sink`; an empty function selects the default sink for the scope.
    explicit SinkScope(Sink sink) : previous_(exchangeSink(std::move(sink))) {}
    /// Puts back the sink that was installed when the scope began.
    ~SinkScope() { exchangeSink(std::move(previous_)); }
    SinkScope(const SinkScope&) = delete;
    SinkScope& operator=(const SinkScope&) = delete;

   private:
    Sink previous_;
  };

 private:
  // Installs `sink` and returns the one it replaces, in one step under the lock.
  static Sink exchangeSink(Sink sink);
};
