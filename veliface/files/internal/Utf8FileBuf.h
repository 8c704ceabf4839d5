#pragma once
// The stream buffer behind a spectrum file: wide characters in, UTF-8 bytes out, gathered in
// memory and written to the file descriptor when the stream is flushed (once per line).

#include <filesystem>
#include <streambuf>
#include <string>

namespace veliface::files {

class Utf8FileBuf : public std::wstreambuf {
 public:
  Utf8FileBuf() = default;
  ~Utf8FileBuf() override;
  Utf8FileBuf(const Utf8FileBuf&) = delete;
  Utf8FileBuf& operator=(const Utf8FileBuf&) = delete;

  // Opens `path` for appending (created when missing); false when it cannot be opened.
  bool openAppend(const std::filesystem::path& path);
  bool isOpen() const { return fd_ >= 0; }
  // Writes what is gathered and closes; false when either failed.
  bool close();
  // Appends bytes that are UTF-8 already and writes everything gathered, as a flush of the
  // stream would; false when the file is not open or the write failed.
  bool writeBytes(const std::string& utf8);

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const wchar_t* s, std::streamsize n) override;
  int sync() override;

 private:
  bool writeOut();

  int fd_ = -1;
  std::string out_;  // encoded bytes not yet written
};

}  // namespace veliface::files
