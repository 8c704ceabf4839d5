#include <mavcommon/ByteStream.h>

#include <cstring>

ByteStream& ByteStream::ignore(uint64 n) {
  gcount_ = 0;
  if (failed_) return *this;
  if (n > bytesAvailable()) {
    gcount_ = bytesAvailable();
    pos_ = size_;
    failed_ = true;
    return *this;
  }
  pos_ += n;
  gcount_ = n;
  return *this;
}

bool ByteStream::readFixedString(uint64 width, std::string& out) {
  if (failed_ || width > bytesAvailable()) {
    failed_ = true;
    gcount_ = 0;
    return false;
  }
  if (width == 0) {  // no bytes to look at (and data_ may be null)
    out.clear();
    gcount_ = 0;
    return true;
  }
  const char* p = reinterpret_cast<const char*>(data_ + pos_);
  const void* zero = std::memchr(p, 0, width);
  const uint64 len = zero ? static_cast<uint64>(static_cast<const char*>(zero) - p) : width;
  out.assign(p, len);
  pos_ += width;
  gcount_ = width;
  return true;
}

bool ByteStream::readCString(std::string& out) {
  gcount_ = 0;
  if (failed_) return false;
  const uint64 avail = bytesAvailable();
  const char* p = reinterpret_cast<const char*>(data_ + pos_);
  const void* zero = avail ? std::memchr(p, 0, avail) : nullptr;
  if (!zero) {
    // All or nothing, like every other read: no terminator means no text.
    failed_ = true;
    return false;
  }
  const uint64 len = static_cast<uint64>(static_cast<const char*>(zero) - p);
  out.assign(p, len);
  pos_ += len + 1;
  gcount_ = len + 1;
  return true;
}
