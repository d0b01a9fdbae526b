#pragma once

#include <unistd.h>

#include <utility>

namespace korvane {

/// An open file descriptor, closed when it goes.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~FileDescriptor() {
    if (number_ >= 0) ::close(number_);
  }

  /// The number, -1 where nothing is open.
  int get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  /// Gives the number away; the caller closes it.
  int release() { return std::exchange(number_, -1); }

 private:
  int number_ = -1;
};

}  // namespace korvane
