#pragma once
/// \file The time a host hands to the host layer.

#include <chrono>

namespace veliface::host {

/// The host's monotonic time in milliseconds since any start it likes (for example
/// `steady_clock` since boot). The host layer keeps no clock of its own: every call that
/// depends on time takes the current value, so tests drive time by hand.
using HostTime = std::chrono::milliseconds;

}  // namespace veliface::host
