#pragma once
/// \file Test helpers: a temporary directory removed with everything in it, and whole-file
/// reads.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

namespace veldump::test {

/// A new directory under the system's temporary directory, removed at the end of scope.
struct TempDir {
  std::filesystem::path dir;  ///< the directory
  /// Creates it; `stem` names it ("stem-XXXXXX").
  explicit TempDir(const std::string& stem) {
    std::string t = (std::filesystem::temp_directory_path() / (stem + "-XXXXXX")).string();
    dir = ::mkdtemp(t.data());
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
};

/// The bytes of the file at `p` (empty when it cannot be read).
inline std::string slurp(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace veldump::test
