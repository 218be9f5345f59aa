// An open file descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <utility>

namespace ncc {

class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { Close(); }

  int Get() const { return fd_; }
  bool IsValid() const { return fd_ >= 0; }

  // Leaves the closing to the caller.
  int Release() { return std::exchange(fd_, -1); }

  // 0, or -1 with errno: the last chance to hear of a write that failed.
  int Close() {
    const int fd = std::exchange(fd_, -1);
    return fd < 0 ? 0 : ::close(fd);
  }

 private:
  int fd_;
};

}  // namespace ncc
