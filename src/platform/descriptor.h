// An owned POSIX file descriptor, closed on destruction. Empty (-1) by default and after being
// moved from. Not thread-safe.
#pragma once

#include <unistd.h>

#include <utility>

namespace tarvex {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : m_fd(fd) {}
  Descriptor(Descriptor &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  Descriptor &operator=(Descriptor &&other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  ~Descriptor() { reset(); }

  int get() const { return m_fd; }
  explicit operator bool() const { return m_fd >= 0; }
  void reset() {
    if (m_fd >= 0) {
      ::close(std::exchange(m_fd, -1));
    }
  }

 private:
  int m_fd = -1;
};

}  // namespace tarvex
