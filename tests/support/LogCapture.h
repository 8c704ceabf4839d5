#pragma once
// Test helper: collects the library's log lines while in scope, then puts back the sink that
// was there before.

#include <veliface/common/VelLog.h>

#include <string>
#include <vector>

class LogCapture {
 public:
  LogCapture() : scope_([this](const std::string& line) { lines_.push_back(line); }) {}

  const std::vector<std::string>& lines() const { return lines_; }
  void clear() { lines_.clear(); }

 private:
  std::vector<std::string> lines_;  // declared first: it outlives the scope that fills it
  VelLog::SinkScope scope_;
};
