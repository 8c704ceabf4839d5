#include <veliface/files/MavWavOutFile.h>

#include <veliface/files/internal/FileIo.h>

#include <mavcommon/Endian.h>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

MavWavOutFile::MavWavOutFile(std::size_t batchBytes) : capacity_(batchBytes == 0 ? 1 : batchBytes) {}

MavWavOutFile::~MavWavOutFile() { close(); }

bool MavWavOutFile::open(const std::filesystem::path& path) {
  close();
  onDisk_ = 0;
  used_ = 0;
  failed_ = false;
  do {
    fd_ = veliface::files::fileIo().open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  } while (fd_ < 0 && errno == EINTR);
  if (fd_ < 0) failed_ = true;
  // An advisory lock for as long as the file is being written, so that a repair tool can
  // tell a recording in progress from one that was cut off. Not having it changes nothing.
  if (fd_ >= 0) (void)::flock(fd_, LOCK_EX | LOCK_NB);
  return fd_ >= 0;
}

bool MavWavOutFile::writeAt(const uint8* data, std::size_t n, uint64 offset, std::size_t& written) {
  written = 0;
  while (written < n) {
    const ssize_t r = veliface::files::fileIo().pwrite(fd_, data + written, n - written, static_cast<off_t>(offset + written));
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) {
      failed_ = true;
      return false;
    }
    written += static_cast<std::size_t>(r);
  }
  return true;
}

bool MavWavOutFile::flush() {
  if (fd_ < 0) return used_ == 0;
  if (used_ == 0) return true;
  std::size_t written = 0;
  const bool ok = writeAt(buf_.get(), used_, onDisk_, written);
  onDisk_ += written;
  // Whatever did not reach the file moves to the front and is tried again later.
  if (written > 0 && written < used_) std::memmove(buf_.get(), buf_.get() + written, used_ - written);
  used_ -= written;
  return ok;
}

bool MavWavOutFile::append(const void* data, std::size_t n) {
  if (fd_ < 0) return false;
  if (n > capacity_ - used_ && !flush()) return false;
  const auto* bytes = static_cast<const uint8*>(data);
  if (n >= capacity_) {
    // Blocks as large as the batch go straight to the file at the next data offset; a partial
    // write is simply overwritten by the next attempt.
    std::size_t written = 0;
    if (!writeAt(bytes, n, onDisk_, written)) return false;
    onDisk_ += n;
    return true;
  }
  if (!buf_) buf_.reset(new uint8[capacity_]);
  std::memcpy(buf_.get() + used_, bytes, n);
  used_ += n;
  return true;
}

bool MavWavOutFile::patch(uint64 offset, uint32 value) {
  if (fd_ < 0) return false;
  uint8 le[4];
  mav::storeLE(le, value);
  std::size_t written = 0;
  return writeAt(le, sizeof le, offset, written);
}

bool MavWavOutFile::sync() {
  if (fd_ < 0) return false;
  if (veliface::files::fileIo().fdatasync(fd_) != 0) {
    failed_ = true;
    return false;
  }
  return true;
}

bool MavWavOutFile::close() {
  if (fd_ < 0) return true;
  bool ok = flush();
  // The descriptor is released even when close reports an error; retrying is not safe.
  if (veliface::files::fileIo().close(fd_) != 0) ok = false;
  fd_ = -1;
  if (!ok) failed_ = true;
  releaseBuffer();
  return ok;
}

void MavWavOutFile::releaseBuffer() {
  if (used_ == 0) buf_.reset();
}
