#include "terminal_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace orb::tool {

namespace {

struct Character {
  std::uint32_t code;
  std::size_t bytes;  // 0: not UTF-8
};

/// Decodes the first character. Overlong forms, surrogates and numbers past the last character are not UTF-8.
Character decode(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return {first, 1};
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 0;
  if (length == 0 || first > 0xF4 || text.size() < length) return {first, 0};
  std::uint32_t code = first & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {first, 0};
    code = code << 6 | (byte(i) & 0x3Fu);
  }
  constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool valid = code >= kSmallest[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
  return {code, valid ? length : 0};
}

bool isControl(std::uint32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

/// Marks that reorder what follows, and line separators.
bool misleads(std::uint32_t code) {
  return (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) || code == 0x200E || code == 0x200F ||
         code == 0x2028 || code == 0x2029;
}

void appendEscape(std::string& out, std::uint32_t code) {
  char text[12];
  if (code == '\n') {
    out += "\\n";
  } else if (code == '\r') {
    out += "\\r";
  } else if (code == '\t') {
    out += "\\t";
  } else {
    std::snprintf(text, sizeof text, code < 0x100 ? "\\x%02X" : "\\u%04X", static_cast<unsigned>(code));
    out += text;
  }
}

std::string escape(std::string_view text, bool keep_lines) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Character c = decode(text);
    const bool kept = keep_lines && (c.code == '\n' || c.code == '\t');
    if (c.bytes == 0 || (!kept && (isControl(c.code) || misleads(c.code)))) {
      appendEscape(out, c.code);
    } else {
      out.append(text.substr(0, c.bytes));
    }
    text.remove_prefix(std::max<std::size_t>(c.bytes, 1));
  }
  return out;
}

}  // namespace

std::string escapeLine(std::string_view text) {
  return escape(text, false);
}

std::string escapeText(std::string_view text) {
  return escape(text, true);
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
