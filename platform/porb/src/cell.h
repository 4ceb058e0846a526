#pragma once
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "value_types.h"

namespace porb {

/// One stored value, in 16 bytes: the parameter's number within its class, the type it was stored with, and
/// the value. Numbers and texts of up to eight bytes lie inside; a longer text lies on the heap.
class Cell {
 public:
  /// An integer, or the bits of a float or double in the low bytes.
  static Cell number(std::uint16_t param, int type, std::uint64_t bits) noexcept {
    Cell cell(param, type, 0);
    cell.payload_.bits = bits;
    return cell;
  }
  /// @throws std::bad_alloc
  static Cell text(std::uint16_t param, int type, std::string_view characters);

  Cell(Cell&& other) noexcept { take(other); }
  Cell& operator=(Cell&& other) noexcept {
    if (this != &other) {
      release();
      take(other);
    }
    return *this;
  }
  Cell(const Cell&) = delete;
  Cell& operator=(const Cell&) = delete;
  ~Cell() { release(); }

  /// A copy that counts as not yet written. @throws std::bad_alloc
  Cell clone() const;

  std::uint16_t param() const noexcept { return param_; }
  int type() const noexcept { return type_; }
  std::uint64_t bits() const noexcept { return payload_.bits; }
  std::string_view characters() const noexcept {
    return {length_ > kInlineText ? payload_.heap : payload_.inside, length_};
  }
  /// Bytes of the value: characters of a text, width of a number.
  std::uint16_t size() const noexcept { return kindOf(type_) == Kind::Text ? length_ : widthOf(type_); }

  bool dirty() const noexcept { return dirty_; }
  void setDirty(bool dirty) noexcept { dirty_ = dirty; }

  /// Hash of parameter, type and value.
  std::uint64_t hash() const noexcept;

 private:
  static constexpr std::uint16_t kInlineText = 8;

  Cell(std::uint16_t param, int type, std::uint16_t length) noexcept
      : param_(param), length_(length), type_(static_cast<std::uint8_t>(type)) {}
  void take(Cell& other) noexcept {
    payload_ = other.payload_;
    param_ = other.param_;
    length_ = std::exchange(other.length_, std::uint16_t{0});
    type_ = other.type_;
    dirty_ = other.dirty_;
  }
  void release() noexcept {
    if (length_ > kInlineText) delete[] payload_.heap;
  }

  union Payload {
    std::uint64_t bits;
    char inside[kInlineText];
    char* heap;
  } payload_{};
  std::uint16_t param_ = 0;
  std::uint16_t length_ = 0;  // of a text; 0 for numbers
  std::uint8_t type_ = 0;
  bool dirty_ = true;
};

static_assert(sizeof(Cell) == 16);

/// Mixes eight bytes into a running hash. Detects damage, does not resist an attacker.
constexpr std::uint64_t mixHash(std::uint64_t hash, std::uint64_t value) noexcept {
  hash = (hash ^ value) * 0x9E3779B97F4A7C15u;
  return hash ^ (hash >> 29);
}

/// Mixes any bytes, little-endian by eights, and their number.
std::uint64_t mixHash(std::uint64_t hash, const void* bytes, std::size_t n) noexcept;

}  // namespace porb
