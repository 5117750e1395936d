// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Counts the bytes that a program writes to sockets and reads from them: put before its libraries
// with LD_PRELOAD, it adds them up in the file that BENCH_BYTES names.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

namespace {

struct Bytes {
  std::atomic<int64_t> written;
  std::atomic<int64_t> read;
};

Bytes* MapBytes() {
  const char* name = std::getenv("BENCH_BYTES");
  const int fd = name == nullptr ? -1 : open(name, O_RDWR | O_CLOEXEC);
  void* memory = mmap(nullptr, sizeof(Bytes), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) {
    std::abort();
  }
  close(fd);
  return static_cast<Bytes*>(memory);
}

ssize_t Count(std::atomic<int64_t> Bytes::*direction, int fd, ssize_t size) {
  static Bytes* const bytes = MapBytes();
  const int before = errno;
  struct stat status {};
  if (size > 0 && fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode)) {
    bytes->*direction += size;
  }
  errno = before;
  return size;
}

template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

ssize_t write(int fd, const void* data, size_t size) {
  static auto* const next = Next<ssize_t(int, const void*, size_t)>("write");
  return Count(&Bytes::written, fd, next(fd, data, size));
}
ssize_t writev(int fd, const iovec* parts, int count) {
  static auto* const next = Next<ssize_t(int, const iovec*, int)>("writev");
  return Count(&Bytes::written, fd, next(fd, parts, count));
}
ssize_t send(int fd, const void* data, size_t size, int flags) {
  static auto* const next = Next<ssize_t(int, const void*, size_t, int)>("send");
  return Count(&Bytes::written, fd, next(fd, data, size, flags));
}
ssize_t sendmsg(int fd, const msghdr* message, int flags) {
  static auto* const next = Next<ssize_t(int, const msghdr*, int)>("sendmsg");
  return Count(&Bytes::written, fd, next(fd, message, flags));
}
ssize_t read(int fd, void* data, size_t size) {
  static auto* const next = Next<ssize_t(int, void*, size_t)>("read");
  return Count(&Bytes::read, fd, next(fd, data, size));
}
ssize_t readv(int fd, const iovec* parts, int count) {
  static auto* const next = Next<ssize_t(int, const iovec*, int)>("readv");
  return Count(&Bytes::read, fd, next(fd, parts, count));
}
ssize_t recv(int fd, void* data, size_t size, int flags) {
  static auto* const next = Next<ssize_t(int, void*, size_t, int)>("recv");
  return Count(&Bytes::read, fd, next(fd, data, size, flags));
}
ssize_t recvmsg(int fd, msghdr* message, int flags) {
  static auto* const next = Next<ssize_t(int, msghdr*, int)>("recvmsg");
  return Count(&Bytes::read, fd, next(fd, message, flags));
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
