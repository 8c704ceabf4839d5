#pragma once
/// \file Date stamps for recording files, time-stamped file names and byte counts as text.

#include <ctime>
#include <string>

namespace VelUtil {
/// WAV metadata stamp of `t` (seconds since 1970 UTC): "1970-01-01T00:00:00+00".
std::string wavDateStamp(long long t);
/// Spectrum-file date column of `t`: "2000-02-29".
std::string specDateStamp(long long t);
/// Spectrum-file time column of `t`: "00:00:00".
std::string specTimeStamp(long long t);
/// `prefix` followed by the date and time digits of `t`: "log19700101_000000" (no extension).
std::string dateTimeFname(const std::string& prefix, const long long& t);
/// A byte count as two significant digits and a unit: "1.5 KB", "1e+02 B", "16 EB".
std::string sizeString(unsigned long long bytes);
/// The C library's broken-down local time of now; a static buffer overwritten by the next
/// breakdown, never to be freed.
std::tm* currentTD();
}  // namespace VelUtil
