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
};
