#pragma once
// The text of a storage failure for a host: the writer's own words, then the file and the
// system's reason, e.g. "Failed to write wav data. (/data/x.wav: No space left on device)".

#include <cstring>
#include <filesystem>
#include <string>

namespace veliface::record {

// `text` with `path` and the reason of `err` (an errno value; 0 when unknown) in brackets.
inline std::string storageErrorText(const std::string& text, const std::filesystem::path& path, int err) {
  if (path.empty()) return text;
  return text + " (" + path.string() + (err != 0 ? std::string(": ") + std::strerror(err) : std::string()) + ")";
}

}  // namespace veliface::record
