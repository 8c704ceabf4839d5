#pragma once
/// \file The few pieces of JSON the recorders write (sidecars, status lines): always valid
/// JSON, whatever bytes a device or a user put into a text.

#include <mavcommon/MavTypes.h>

#include <string>

namespace veliface::record {

/// `text` as a JSON string, quotes included: control characters escaped, and bytes that are
/// no valid UTF-8 taken as the replacement character, so that any reader accepts it.
std::string jsonString(const std::string& text);

/// `micros` (microseconds since 1970-01-01 UTC) as ISO 8601 UTC with six decimals and "Z",
/// e.g. 2026-11-24T10:15:00.000021Z.
std::string isoTimeMicros(int64 micros);

}  // namespace veliface::record
