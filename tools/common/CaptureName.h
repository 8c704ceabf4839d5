#pragma once
/// \file The names velrec --capture gives its files and veldump and velrec --replay read back:
/// the channel, then the connection's number after the first ("control.bin", "waveform.2.bin").

#include <optional>
#include <string>

namespace tools {

/// A capture file's channel ("control", "waveform", "spectrum", "discovery") and connection.
struct CaptureName {
  std::string channel;  ///< The channel the bytes came from.
  int connection = 1;   ///< 1 for the first connection, 2 for the one after the first reconnect, ...
};

/// The file name velrec gives the capture of `channel` on connection `connection`.
inline std::string captureFileName(const std::string& channel, int connection) {
  return channel + (connection == 1 ? "" : "." + std::to_string(connection)) + ".bin";
}

/// Reads a capture file name (no directory); nothing when it is not one velrec writes.
inline std::optional<CaptureName> parseCaptureFileName(const std::string& file) {
  static const char* const kChannels[] = {"control", "waveform", "spectrum", "discovery"};
  const std::string suffix = ".bin";
  if (file.size() <= suffix.size() || file.compare(file.size() - suffix.size(), suffix.size(), suffix) != 0)
    return std::nullopt;
  const std::string stem = file.substr(0, file.size() - suffix.size());
  const std::size_t dot = stem.find('.');
  CaptureName out;
  out.channel = stem.substr(0, dot);
  bool known = false;
  for (const char* c : kChannels) known = known || out.channel == c;
  if (!known) return std::nullopt;
  if (dot == std::string::npos) return out;
  const std::string number = stem.substr(dot + 1);
  // At most six digits, no sign: a connection count, never anything else.
  if (number.empty() || number.size() > 6 || number.find_first_not_of("0123456789") != std::string::npos)
    return std::nullopt;
  out.connection = std::stoi(number);
  if (out.connection < 1) return std::nullopt;
  return out;
}

}  // namespace tools
