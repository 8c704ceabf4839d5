#pragma once
// Test helpers: a temporary directory removed with everything in it, and whole-file reads.
// ctest runs tests in parallel processes, so every test makes a directory of its own.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <stdlib.h>

namespace testsupport {

// A new directory under the system's temporary directory ("<stem>-XXXXXX"), removed with
// everything in it at the end of scope.
struct TempDir {
  std::filesystem::path dir;
  explicit TempDir(const std::string& stem = "veliface") {
    std::string t = (std::filesystem::temp_directory_path() / (stem + "-XXXXXX")).string();
    dir = ::mkdtemp(t.data());
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  // The path of `name` in the directory, as a string.
  std::string file(const std::string& name) const { return (dir / name).string(); }
};

// The working directory is `dir` while in scope, and what it was before afterwards.
struct WorkingDir {
  explicit WorkingDir(const std::filesystem::path& dir) : before(std::filesystem::current_path()) {
    std::filesystem::current_path(dir);
  }
  ~WorkingDir() {
    std::error_code ec;
    std::filesystem::current_path(before, ec);
  }
  WorkingDir(const WorkingDir&) = delete;
  WorkingDir& operator=(const WorkingDir&) = delete;
  std::filesystem::path before;
};

// The bytes of the file at `p` (empty when it cannot be read).
inline std::string readFile(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// The file descriptors this process holds now.
inline std::size_t openFds() {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

}  // namespace testsupport
