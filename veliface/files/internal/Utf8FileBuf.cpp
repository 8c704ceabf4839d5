#include <veliface/files/internal/Utf8FileBuf.h>

#include <veliface/files/internal/FileIo.h>
#include <veliface/files/VelWideText.h>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace veliface::files {

namespace {
// Bytes gathered before a write even without a flush.
constexpr std::size_t kHighWater = 64 * 1024;
}  // namespace

Utf8FileBuf::~Utf8FileBuf() { close(); }

bool Utf8FileBuf::openAppend(const std::filesystem::path& path) {
  close();
  out_.clear();
  fd_ = fileIo().open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (fd_ >= 0) out_.reserve(kHighWater);
  return fd_ >= 0;
}

bool Utf8FileBuf::close() {
  if (fd_ < 0) return true;
  bool ok = writeOut();
  ok = fileIo().close(fd_) == 0 && ok;
  fd_ = -1;
  out_.clear();
  return ok;
}

bool Utf8FileBuf::writeOut() {
  std::size_t done = 0;
  while (done < out_.size()) {
    const ssize_t n = fileIo().write(fd_, out_.data() + done, out_.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      out_.erase(0, done);  // keep what is left for the next attempt
      return false;
    }
    done += static_cast<std::size_t>(n);
  }
  out_.clear();
  return true;
}

bool Utf8FileBuf::writeBytes(const std::string& utf8) {
  if (fd_ < 0) return false;
  out_ += utf8;
  return writeOut();
}

Utf8FileBuf::int_type Utf8FileBuf::overflow(int_type c) {
  if (fd_ < 0) return traits_type::eof();
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  appendUtf8(out_, traits_type::to_char_type(c));
  if (out_.size() >= kHighWater && !writeOut()) return traits_type::eof();
  return c;
}

std::streamsize Utf8FileBuf::xsputn(const wchar_t* s, std::streamsize n) {
  if (fd_ < 0) return 0;
  // Spectrum text is ASCII but for the odd name: copy bytes straight, encode the rest.
  const std::size_t start = out_.size();
  out_.resize(start + static_cast<std::size_t>(n));
  char* p = out_.data() + start;
  std::streamsize i = 0;
  for (; i < n && static_cast<unsigned long>(s[i]) < 0x80; ++i) *p++ = static_cast<char>(s[i]);
  if (i < n) {
    out_.resize(static_cast<std::size_t>(p - out_.data()));
    for (; i < n; ++i) appendUtf8(out_, s[i]);
  }
  if (out_.size() >= kHighWater && !writeOut()) return 0;
  return n;
}

int Utf8FileBuf::sync() {
  if (fd_ < 0) return -1;
  return writeOut() ? 0 : -1;
}

}  // namespace veliface::files
