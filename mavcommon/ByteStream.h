#pragma once
/// \file Bounds-checked forward reader over a caller-owned block of bytes.

#include <mavcommon/Endian.h>
#include <mavcommon/MavTypes.h>

#include <cstring>
#include <string>

/// A forward-only reader over a block of memory that it does not own.
///
/// Every read is all or nothing: a read that cannot be satisfied in full copies nothing,
/// leaves the destination unchanged and sets a sticky fail state, after which every later
/// read does nothing. A field that cannot be read therefore keeps its constructor value.
class ByteStream {
 public:
  /// Reads from `count` bytes starting at `data`; the block must outlive the stream.
  ByteStream(const uint8* data, uint64 count) : data_(data), size_(data ? count : 0) {}

  /// Copies `n` bytes to `dst`, or nothing (and sets fail) when fewer are left.
  ByteStream& read(void* dst, uint64 n) {
    gcount_ = 0;
    if (failed_ || n > bytesAvailable()) {
      failed_ = true;
      return *this;
    }
    if (n > 0) std::memcpy(dst, data_ + pos_, n);
    pos_ += n;
    gcount_ = n;
    return *this;
  }
  /// Next byte without consuming it, or -1 at the end or after a failure.
  int peek() const { return failed_ || pos_ >= size_ ? -1 : data_[pos_]; }
  /// Consumes and returns the next byte, or -1 (and sets fail) at the end.
  int get() {
    uint8 b = 0;
    if (!read(&b, 1).good()) return -1;
    return b;
  }
  /// Steps back one byte (after a successful `get`); sets fail at the start.
  ByteStream& unget() {
    if (failed_ || pos_ == 0) {
      failed_ = true;
    } else {
      --pos_;
    }
    gcount_ = 0;
    return *this;
  }
  /// Skips `n` bytes; skips what is left and sets fail when fewer remain.
  ByteStream& ignore(uint64 n = 1);
  /// True once a read could not be satisfied.
  bool fail() const { return failed_; }
  /// True while no read has failed.
  bool good() const { return !failed_; }
  /// True when every byte has been consumed.
  bool eof() const { return pos_ >= size_; }
  /// Number of bytes moved by the last `read`, `get` or `ignore`.
  uint64 gcount() const { return gcount_; }
  /// Number of bytes not yet read.
  uint64 bytesAvailable() const { return size_ - pos_; }
  /// Number of bytes consumed so far.
  uint64 position() const { return pos_; }
  /// Pointer to the next unread byte (valid while the block lives).
  const uint8* current() const { return data_ + pos_; }

  /// Reads a little-endian integer into `v`; on failure `v` keeps its value.
  template <typename T>
  bool readLE(T& v) {
    const uint8* p = take(sizeof(T));
    if (!p) return false;
    v = mav::loadLE<T>(p);
    return true;
  }
  /// Reads a big-endian integer into `v`; on failure `v` keeps its value.
  template <typename T>
  bool readBE(T& v) {
    const uint8* p = take(sizeof(T));
    if (!p) return false;
    v = mav::loadBE<T>(p);
    return true;
  }
  /// Reads a fixed-width text field: the characters before the first zero byte, or the
  /// whole width when there is none. On failure `out` keeps its value.
  bool readFixedString(uint64 width, std::string& out);
  /// Reads a zero-terminated text of any length (the zero is consumed); without a zero
  /// before the end nothing is read, `out` keeps its value and fail is set.
  bool readCString(std::string& out);

 private:
  // What `read` does, without the copy: the address of the next `n` bytes, or nullptr (and
  // the fail state) when they are not all there. Inline, since every field read comes here.
  const uint8* take(uint64 n) {
    gcount_ = 0;
    if (failed_ || n > size_ - pos_) {
      failed_ = true;
      return nullptr;
    }
    const uint8* p = data_ + pos_;
    pos_ += n;
    gcount_ = n;
    return p;
  }

  const uint8* data_;
  uint64 size_;
  uint64 pos_ = 0;
  uint64 gcount_ = 0;
  bool failed_ = false;
};
