#include <veliface/files/internal/FileIo.h>

#include <fcntl.h>
#include <unistd.h>

namespace veliface::files {

namespace {

// open() is variadic; the table wants a fixed signature.
int realOpen(const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); }

constexpr FileIo kReal{&realOpen, &::write, &::pwrite, &::fdatasync, &::close};
FileIo current = kReal;

}  // namespace

FileIo& fileIo() { return current; }

const FileIo& realFileIo() { return kReal; }

}  // namespace veliface::files
