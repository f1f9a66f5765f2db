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
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      Close();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  void Close() {
    if (fd_ >= 0) close(std::exchange(fd_, -1));
  }

 private:
  int fd_;
};

}  // namespace tarvek::control
