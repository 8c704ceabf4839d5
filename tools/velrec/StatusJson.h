#pragma once
// Machine-readable status of a run for a supervisor: one JSON object per line, for each event
// (file opened, file finished with its figures, gap, restart, reconnection, error) and a
// periodic status, each with the UTC time.

#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>

namespace velrec {

/// Writes JSON lines to a file or to standard output ("-").
class StatusJson {
 public:
  /// No status output.
  StatusJson() = default;
  /// Writes to `target` (a path, or "-" for standard output); `error` gets the path and
  /// the system's reason when it cannot be opened.
  StatusJson(const std::string& target, std::string& error);
  ~StatusJson();
  StatusJson(const StatusJson&) = delete;
  StatusJson& operator=(const StatusJson&) = delete;
  /// Writes `fields` with "time" and "event" first; nothing when there is no output.
  void event(const std::string& name, nlohmann::ordered_json fields = nlohmann::ordered_json::object());
  /// True when status lines are written.
  bool active() const { return file_ != nullptr; }

 private:
  std::FILE* file_ = nullptr;
  bool own_ = false;
};

}  // namespace velrec
