#include <veliface/files/VelDateStamp.h>

#include <veliface/files/internal/TimeBreakdown.h>

#include <iomanip>
#include <sstream>

namespace {

// Width 2, fill 0: 7 prints as 07. The fill sticks to the stream, the width does not.
std::ostream& two(std::ostream& os, int v) { return os << std::setw(2) << std::setfill('0') << v; }

void writeDate(std::ostream& os, const std::tm& tm, const char* sep) {
  two(two(os << (tm.tm_year + 1900) << sep, tm.tm_mon + 1) << sep, tm.tm_mday);
}

void writeTime(std::ostream& os, const std::tm& tm, const char* sep) {
  two(two(two(os, tm.tm_hour) << sep, tm.tm_min) << sep, tm.tm_sec);
}

}  // namespace

std::string VelUtil::wavDateStamp(long long t) {
  const std::tm tm = veliface::files::breakDownUtc(t);
  std::ostringstream os;
  writeDate(os, tm, "-");
  writeTime(os << "T", tm, ":");
  // Always labelled UTC, also after the fall-back to local time.
  os << "+00";
  return os.str();
}

std::string VelUtil::specDateStamp(long long t) {
  std::ostringstream os;
  writeDate(os, veliface::files::breakDownUtc(t), "-");
  return os.str();
}

std::string VelUtil::specTimeStamp(long long t) {
  std::ostringstream os;
  writeTime(os, veliface::files::breakDownUtc(t), ":");
  return os.str();
}

std::string VelUtil::dateTimeFname(const std::string& prefix, const long long& t) {
  const std::tm tm = veliface::files::breakDownUtc(t);
  std::ostringstream name;
  // Only here is the year given a width (4, space-filled), so names sort by date.
  name << prefix << std::setw(4) << std::setfill(' ') << (tm.tm_year + 1900);
  two(two(name, tm.tm_mon + 1), tm.tm_mday) << "_";
  writeTime(name, tm, "");
  return name.str();
}

std::string VelUtil::sizeString(unsigned long long bytes) {
  static const char* const units[] = {"B", "KB", "MB", "GB", "TB", "PB", "EB"};
  double v = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (v >= 1024.0 && unit != 6) {
    v *= 0.0009765625;
    ++unit;
  }
  // Two significant digits in general notation, deliberately: 100 bytes reads "1e+02 B".
  std::ostringstream os;
  os << std::setprecision(2) << v << " " << units[unit];
  return os.str();
}

std::tm* VelUtil::currentTD() {
  const std::time_t now = std::time(nullptr);
  // The caller gets the C library's own buffer, as documented; hence not localtime_r.
  return std::localtime(&now);  // NOLINT(concurrency-mt-unsafe)
}
