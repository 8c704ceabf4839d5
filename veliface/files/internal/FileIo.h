#pragma once
// The few system calls the recording writers make, behind one table of function pointers.
// It holds the real calls unless a test replaces them to make a write, a sync or a close
// fail the way a full or failing disk does; one indirect call beside a system call costs
// nothing measurable.

#include <sys/types.h>

#include <cstddef>

namespace veliface::files {

struct FileIo {
  int (*open)(const char* path, int flags, mode_t mode);
  ssize_t (*write)(int fd, const void* data, std::size_t n);
  ssize_t (*pwrite)(int fd, const void* data, std::size_t n, off_t offset);
  int (*fdatasync)(int fd);
  int (*close)(int fd);
};

// The table every writer calls through. Swap it only while no writer is in a call.
FileIo& fileIo();

// The real system calls.
const FileIo& realFileIo();

}  // namespace veliface::files
