/// A file descriptor with an owner. Not thread-safe.
#pragma once
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace com::norvale::datatypes {

/// A file descriptor that is closed with its owner; negative: none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int number = -1) noexcept : number_(number) {}
  ~FileDescriptor() { reset(); }
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    reset(std::exchange(other.number_, -1));
    return *this;
  }

  int get() const noexcept { return number_; }
  explicit operator bool() const noexcept { return number_ >= 0; }
  void reset(int number = -1) noexcept {
    if (number_ >= 0 && number_ != number) ::close(number_);
    number_ = number;
  }

  /// Writes all of it, however many calls that takes. @return false with errno when it cannot
  bool write(std::string_view bytes) const noexcept {
    while (!bytes.empty()) {
      const ssize_t n = ::write(number_, bytes.data(), bytes.size());
      if (n < 0 && errno != EINTR) return false;
      if (n > 0) bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
  }

 private:
  int number_;
};

}  // namespace com::norvale::datatypes
