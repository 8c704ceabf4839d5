#include <veliface/files/internal/TimeBreakdown.h>

#include <ctime>

std::tm veliface::files::breakDownUtc(long long t) {
  std::tm out{};
  const std::time_t tt = static_cast<std::time_t>(t);
  if (gmtime_r(&tt, &out) != nullptr) return out;
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) != nullptr) return local;
  return std::tm{};
}
