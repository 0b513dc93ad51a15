#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

/// Owns a file descriptor (or none, a negative one) and closes it at the end of its life.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() { reset(); }

  int get() const { return fd_; }
  /// Gives the descriptor up to the caller.
  int release() { return std::exchange(fd_, -1); }
  /// Closes it now.
  void reset() {
    if (fd_ >= 0) close(std::exchange(fd_, -1));
  }

 private:
  int fd_;
};

/// Opens a pipe (pipe(7)) that no executed program inherits. Its numbers are above 2, also when a
/// standard descriptor is closed. Returns false when there is none to be had.
inline bool OpenPipe(Descriptor& output, Descriptor& input) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  for (auto [end, descriptor] : {std::pair(ends[0], &output), std::pair(ends[1], &input)}) {
    Descriptor opened(end);
    *descriptor = end > STDERR_FILENO ? std::move(opened)
                                      : Descriptor(fcntl(end, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  }
  return output.get() >= 0 && input.get() >= 0;
}
