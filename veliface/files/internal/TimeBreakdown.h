#pragma once
// Breakdown of recording times shared by the date stamps and the WAV INFO date.

#include <ctime>

namespace veliface::files {

// Breaks `t` (seconds since 1970 UTC) down as UTC. A time that the C library cannot
// represent falls back, deliberately, to the current time broken down as local time: a bad
// time stamp never fails a file, it just reads "now". Thread-safe (uses the _r variants).
std::tm breakDownUtc(long long t);

}  // namespace veliface::files
