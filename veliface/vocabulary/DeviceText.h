#pragma once
/// \file Text that came from a device (model, firmware, build date), made safe to show and
/// to store. A device is not trusted: its texts may carry escape sequences, bells or line
/// breaks that would take over a terminal, forge a log line or break a text file.

#include <string>

namespace veliface {

/// `text` for a terminal or a log line: control characters (below 0x20, and 0x7F) and
/// backslashes are written as "\xNN" and "\\"; everything else is kept.
std::string escapeDeviceText(const std::string& text);

/// `text` for a file: each control character (below 0x20, and 0x7F) becomes '?', so that the
/// text stays on one line of the file.
std::string cleanDeviceText(const std::string& text);

}  // namespace veliface
