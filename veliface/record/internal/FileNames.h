#pragma once
// File names of a recorder: "<prefix>YYYYMMDD_HHMMSS" after the first second a file holds,
// with "_1", "_2", ... when another file must open within the same second (a setup change
// right after a boundary), so that no file is ever replaced or continued by mistake.

#include <filesystem>
#include <string>

namespace veliface::record {

// The name a file opened now for time `t` gets; `lastBase` and `count` are what
// `noteOpened` keeps. A name whose file `<dir>/<name><ext>` exists already (a stream that
// started over after a reconnection can repeat its seconds) is passed over for the next suffix.
std::string freshName(const std::filesystem::path& dir, const char* ext, const std::string& prefix, long long t,
                      const std::string& lastBase, int count);
// Notes that a file of `name` was opened.
void noteOpened(const std::string& name, std::string& lastBase, int& count);

// The directory a recorder writes into: the writers join directory and name with "/", so an
// empty directory would put every file at the root of the file system; ours means "here".
inline std::filesystem::path directoryOrHere(std::filesystem::path dir) {
  return dir.empty() ? std::filesystem::path(".") : dir;
}

}  // namespace veliface::record
