#pragma once
// Owns a POSIX file descriptor (file or socket) and closes it when it goes.
// For the _posix.cpp files of this folder only.

#include <unistd.h>

#include <utility>

namespace rotalis::platform {

class ScopedFd {
 public:
  explicit ScopedFd(int fd) : fd_(fd) {}
  ~ScopedFd() {
    if (fd_ >= 0) close(fd_);
  }
  ScopedFd(const ScopedFd&) = delete;
  ScopedFd& operator=(const ScopedFd&) = delete;
  int get() const { return fd_; }
  // Hands the descriptor over, e.g. to close it with its result checked.
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

}  // namespace rotalis::platform
