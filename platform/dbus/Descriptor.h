// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A file descriptor that is closed with its object.
#ifndef APPLIST_DBUS_DESCRIPTOR_H
#define APPLIST_DBUS_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace applist {

class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : m_fd(fd) {}
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : m_fd(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }

  int Get() const { return m_fd; }

  // Leaves the descriptor to the caller.
  int Release() { return std::exchange(m_fd, -1); }

  void Close() {
    if (m_fd >= 0) {
      close(std::exchange(m_fd, -1));
    }
  }

 private:
  int m_fd;
};

}  // namespace applist

#endif
