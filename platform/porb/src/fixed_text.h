#pragma once
#include <cstring>
#include <string_view>

namespace porb {

/// A text in an array of Room characters, NUL-terminated, zeros behind. Copies in blocks of fixed size, which the
/// compiler turns into a few moves: a description is copied with every look at the dictionary.
template <std::size_t Room>
class FixedText {
 public:
  FixedText() = default;
  /// Cuts what does not fit.
  explicit FixedText(std::string_view text) noexcept : length_(text.size() < Room ? text.size() : Room - 1) {
    std::memcpy(characters_, text.data(), length_);
  }

  std::string_view view() const noexcept { return {characters_, length_}; }
  /// `out` has Room characters; those behind the NUL may or may not be written.
  void copyTo(char* out) const noexcept {
    for (std::size_t done = 0; done <= length_; done += kBlock) std::memcpy(out + done, characters_ + done, kBlock);
  }

 private:
  static constexpr std::size_t kBlock = Room <= 64 ? Room : 64;
  static_assert(Room % kBlock == 0);

  char characters_[Room] = {};
  std::size_t length_ = 0;
};

}  // namespace porb
