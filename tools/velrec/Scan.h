#pragma once
// Finding devices: velrec --scan broadcasts the library's network enquiry (or sends it to one
// address) and lists every device that answers within a couple of seconds.

#include <chrono>
#include <iosfwd>
#include <string>

namespace velrec {

/// Asks `target` ("" for every device on the local network by broadcast, or
/// "ADDRESS[:PORT]", port 30303 when not given) and prints each device that answers to
/// `out`, one line each, or one JSON object per line with `json`. Returns the exit status:
/// 0 when at least one device answered, 1 when none did or the request could not be sent
/// (the reason printed to `err`), 2 for a target that is not an address.
int scanForDevices(const std::string& target, bool json, std::chrono::milliseconds wait, std::ostream& out,
                   std::ostream& err);

}  // namespace velrec
