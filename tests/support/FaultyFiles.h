#pragma once
// Test helper: while in scope, the writers' file calls go through here. Every call is traced;
// one chosen call can be made to fail (the 1st, 2nd, ... nth of a kind) with a chosen errno,
// and a byte budget makes every write past it fail with ENOSPC, as on a full disk. Calls that
// are allowed go to the real system, so the files are there to be read back afterwards.

#include <veliface/files/internal/FileIo.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

/// The kinds of call a writer makes; write and pwrite are both writes.
enum class FileCall { Open, Write, Sync, Close };

/// One call as it was made.
struct TracedCall {
  FileCall kind;
  int fd;             // -1 for open
  std::size_t size;   // bytes asked to write
  int64_t offset;     // pwrite offset; -1 for write and the other kinds
  bool failed;        // made to fail here
};

class FaultyFiles {
 public:
  FaultyFiles() {
    self() = this;
    veliface::files::fileIo() = {&onOpen, &onWrite, &onPwrite, &onSync, &onClose};
  }
  ~FaultyFiles() {
    veliface::files::fileIo() = veliface::files::realFileIo();
    self() = nullptr;
  }
  FaultyFiles(const FaultyFiles&) = delete;
  FaultyFiles& operator=(const FaultyFiles&) = delete;

  /// The `n`th call (from 1) of `kind` fails with `err`; the ones after it work again.
  void failNth(FileCall kind, int n, int err) {
    failKind_ = kind;
    failAt_ = n;
    failErr_ = err;
  }
  /// Writes succeed until `budget` bytes in all have been written; the write that crosses it
  /// is cut short, and every write after it fails with ENOSPC.
  void fullAfter(uint64_t budget) { budget_ = budget; }

  /// Every call so far, in order.
  const std::vector<TracedCall>& trace() const { return trace_; }
  /// Calls of `kind` so far.
  int count(FileCall kind) const { return counts_[static_cast<int>(kind)]; }
  /// Bytes written so far.
  uint64_t written() const { return written_; }

 private:
  static FaultyFiles*& self() {
    static FaultyFiles* current = nullptr;
    return current;
  }
  // Counts the call and says whether it is the one chosen to fail (errno set then).
  bool chosen(FileCall kind, int fd, std::size_t size, int64_t offset) {
    const int n = ++counts_[static_cast<int>(kind)];
    const bool fail = kind == failKind_ && n == failAt_;
    trace_.push_back({kind, fd, size, offset, fail});
    if (fail) errno = failErr_;
    return fail;
  }
  // How much of a write of `n` bytes the budget lets through; 0 with errno ENOSPC when none.
  std::size_t allowed(std::size_t n) {
    const uint64_t left = written_ >= budget_ ? 0 : budget_ - written_;
    if (left == 0) {
      trace_.back().failed = true;
      errno = ENOSPC;
    }
    return n < left ? n : static_cast<std::size_t>(left);
  }

  static int onOpen(const char* path, int flags, mode_t mode) {
    if (self()->chosen(FileCall::Open, -1, 0, -1)) return -1;
    return veliface::files::realFileIo().open(path, flags, mode);
  }
  static ssize_t onWrite(int fd, const void* data, std::size_t n) {
    if (self()->chosen(FileCall::Write, fd, n, -1)) return -1;
    const std::size_t ok = self()->allowed(n);
    if (ok == 0 && n > 0) return -1;
    const ssize_t r = veliface::files::realFileIo().write(fd, data, ok);
    if (r > 0) self()->written_ += static_cast<uint64_t>(r);
    return r;
  }
  static ssize_t onPwrite(int fd, const void* data, std::size_t n, off_t offset) {
    if (self()->chosen(FileCall::Write, fd, n, offset)) return -1;
    const std::size_t ok = self()->allowed(n);
    if (ok == 0 && n > 0) return -1;
    const ssize_t r = veliface::files::realFileIo().pwrite(fd, data, ok, offset);
    if (r > 0) self()->written_ += static_cast<uint64_t>(r);
    return r;
  }
  static int onSync(int fd) {
    if (self()->chosen(FileCall::Sync, fd, 0, -1)) return -1;
    return veliface::files::realFileIo().fdatasync(fd);
  }
  static int onClose(int fd) {
    // The descriptor is released even when close reports an error, as the kernel does.
    const bool fail = self()->chosen(FileCall::Close, fd, 0, -1);
    const int r = veliface::files::realFileIo().close(fd);
    if (fail) {
      errno = self()->failErr_;
      return -1;
    }
    return r;
  }

  std::vector<TracedCall> trace_;
  int counts_[4] = {0, 0, 0, 0};
  FileCall failKind_ = FileCall::Open;
  int failAt_ = 0;
  int failErr_ = EIO;
  uint64_t budget_ = std::numeric_limits<uint64_t>::max();
  uint64_t written_ = 0;
};
