// Runs a fuzz target over files instead of under libFuzzer, so that compilers without
// libFuzzer (and every sanitizer build) replay the seed and regression corpora as tests.
//
// Usage: <target> PATH...   (a directory stands for every regular file in it)
// Fails when a path cannot be read or when no input at all was found, so that an empty or
// mistyped corpus cannot pass unnoticed.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

bool runFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::cerr << "cannot read " << path << "\n";
    return false;
  }
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // A private copy the size of the input, as libFuzzer gives, so that a read past its end
  // is caught by the address sanitizer.
  std::vector<uint8_t> copy(bytes.begin(), bytes.end());
  static uint8_t none = 0;  // libFuzzer never passes a null pointer, even for no bytes
  LLVMFuzzerTestOneInput(copy.empty() ? &none : copy.data(), copy.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    const fs::path arg(argv[i]);
    std::error_code ec;
    if (fs::is_directory(arg, ec)) {
      for (const auto& entry : fs::directory_iterator(arg)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
      }
    } else {
      files.push_back(arg);
    }
  }
  std::sort(files.begin(), files.end());
  if (files.empty()) {
    std::cerr << "no inputs to replay\n";
    return 1;
  }
  for (const fs::path& f : files) {
    if (!runFile(f)) return 1;
  }
  std::cout << "replayed " << files.size() << " inputs\n";
  return 0;
}
