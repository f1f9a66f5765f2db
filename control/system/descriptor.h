// A file descriptor with an owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace tarvek::control {

/// Closes its descriptor with itself.
class Descriptor {
 public:
  /// @param fd  -1: none, as what open() returns when it fails.
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;

  bool IsOpen() const { return fd_ >= 0; }
  int Get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace tarvek::control
