#include "terminal_text.h"

#include <algorithm>
#include <cstdio>

#include "shown_text.h"

namespace orb::tool {

std::string escapeLine(std::string_view text) {
  return com::norvale::datatypes::shownText(text);
}

std::string escapeText(std::string_view text) {
  return com::norvale::datatypes::shownText(text, true);
}

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

std::string toLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

std::string hex(unsigned long number, int digits) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%0*lX", digits, number);
  return text;
}

}  // namespace orb::tool
