#include "RunLog.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>

namespace velrec {

std::string utcNow() {
  const auto now = std::chrono::system_clock::now();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
  const std::time_t t = static_cast<std::time_t>(ms / 1000);
  std::tm tm{};
  gmtime_r(&t, &tm);
  char buf[96];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                tm.tm_hour, tm.tm_min, tm.tm_sec, static_cast<int>(ms % 1000));
  return buf;
}

RunLog::RunLog(const std::filesystem::path& path, std::string& error) {
  file_ = std::fopen(path.c_str(), "a");
  if (file_ == nullptr) error = path.string() + ": " + std::strerror(errno);
}

RunLog::~RunLog() {
  if (file_) std::fclose(file_);
}

void RunLog::write(const std::string& line) {
  if (!file_) return;
  std::fprintf(file_, "%s %s\n", utcNow().c_str(), line.c_str());
  std::fflush(file_);
}

}  // namespace velrec
