#pragma once
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace porb {

constexpr std::int32_t kApplicationId = 0x4F524244;  // "ORBD"

/// A number as the storage engine writes it: four bytes, the greatest first.
constexpr std::uint32_t bigEndian(const unsigned char* bytes) noexcept {
  return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
         static_cast<std::uint32_t>(bytes[2]) << 8 | static_cast<std::uint32_t>(bytes[3]);
}

/// The first 100 bytes of a database file.
struct FileHeader {
  static constexpr std::size_t kBytes = 100;
  static constexpr std::int64_t kChangeCounterAt = 24;

  std::array<unsigned char, kBytes> bytes{};

  bool hasMagic() const noexcept { return std::string_view(text(), 16) == std::string_view("SQLite format 3\0", 16); }
  std::uint32_t pageBytes() const noexcept {
    const std::uint32_t size = static_cast<std::uint32_t>(bytes[16]) << 8 | bytes[17];
    return size == 1 ? 65536 : size;
  }
  /// In write-ahead mode part of the content lies in another file.
  bool isWriteAhead() const noexcept { return bytes[18] > 1 || bytes[19] > 1; }
  /// Number of pages; 0 when the last writer did not keep it.
  std::uint32_t pages() const noexcept { return number(kChangeCounterAt) == number(92) ? number(28) : 0; }
  std::int32_t version() const noexcept { return static_cast<std::int32_t>(number(60)); }
  bool isOurs() const noexcept { return static_cast<std::int32_t>(number(68)) == kApplicationId; }

 private:
  const char* text() const noexcept { return reinterpret_cast<const char*>(bytes.data()); }
  std::uint32_t number(std::size_t at) const noexcept { return bigEndian(bytes.data() + at); }
};

}  // namespace porb
