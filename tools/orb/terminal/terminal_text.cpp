#include "terminal_text.h"

#include <algorithm>

namespace orb::tool {

std::size_t displayWidth(std::string_view text) {
  const auto starts = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), starts));
}

std::string padRight(std::string_view text, std::size_t width) {
  const std::size_t used = displayWidth(text);
  return std::string(text) + std::string(used < width ? width - used : 0, ' ');
}

std::string padLeft(std::string_view text, std::size_t width) {
  const std::size_t used = displayWidth(text);
  return std::string(used < width ? width - used : 0, ' ') + std::string(text);
}

}  // namespace orb::tool
