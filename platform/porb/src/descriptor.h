#pragma once
#include <unistd.h>

#include <utility>

namespace porb {

/// A file descriptor that is closed with its owner; negative: none.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) noexcept : number_(number) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    reset(std::exchange(other.number_, -1));
    return *this;
  }
  int get() const noexcept { return number_; }
  explicit operator bool() const noexcept { return number_ >= 0; }
  void reset(int number = -1) noexcept {
    if (number_ >= 0 && number_ != number) close(number_);
    number_ = number;
  }

 private:
  int number_;
};

}  // namespace porb
