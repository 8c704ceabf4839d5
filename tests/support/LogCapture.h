#pragma once
// Test helper: collects the library's log lines while in scope, then restores the default.

#include <veliface/common/VelLog.h>

#include <string>
#include <vector>

class LogCapture {
 public:
  LogCapture() {
    VelLog::setSink([this](const std::string& line) { lines_.push_back(line); });
  }
  ~LogCapture() { VelLog::setSink(nullptr); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<std::string>& lines() const { return lines_; }
  void clear() { lines_.clear(); }

 private:
  std::vector<std::string> lines_;
};
