#include "text.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <system_error>

#include "shown_text.h"

namespace orb::plot {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct Decoded {
  char32_t code;
  std::size_t bytes;
};

/// Smallest code point that a sequence of so many bytes may hold; anything below is an overlong form.
constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};

std::size_t sequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead < 0xE0) return 2;
  if (lead >= 0xE0 && lead < 0xF0) return 3;
  if (lead >= 0xF0 && lead < 0xF5) return 4;
  return 0;
}

Decoded decode(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t length = sequenceLength(lead);
  if (length == 1) return {lead, 1};
  if (length == 0 || length > text.size()) return {kReplacement, 1};
  char32_t code = lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0u) != 0x80u) return {kReplacement, 1};
    code = (code << 6) | (next & 0x3Fu);
  }
  const bool surrogate = code >= 0xD800 && code < 0xE000;
  if (code < kSmallest[length] || code > 0x10FFFF || surrogate) return {kReplacement, 1};
  return {code, length};
}

void encode(std::string& out, char32_t code) {
  const auto put = [&out](char32_t byte) { out += static_cast<char>(byte); };
  if (code < 0x80) return put(code);
  if (code < 0x800) {
    put(0xC0 | (code >> 6));
  } else if (code < 0x10000) {
    put(0xE0 | (code >> 12));
    put(0x80 | ((code >> 6) & 0x3F));
  } else {
    put(0xF0 | (code >> 18));
    put(0x80 | ((code >> 12) & 0x3F));
    put(0x80 | ((code >> 6) & 0x3F));
  }
  put(0x80 | (code & 0x3F));
}

bool dropped(char32_t code) {
  const bool is_character = (code & 0xFFFE) != 0xFFFE && (code < 0xFDD0 || code >= 0xFDF0);
  return !is_character || com::norvale::datatypes::isObeyed(code);
}

bool wide(char32_t code) {
  return (code >= 0x1100 && code < 0x1160) || (code >= 0x2E80 && code < 0xA4D0) || (code >= 0xAC00 && code < 0xD7A4) ||
         (code >= 0xF900 && code < 0xFB00) || (code >= 0xFE30 && code < 0xFE70) || (code >= 0xFF00 && code < 0xFF61) ||
         (code >= 0x1F300 && code < 0x1FB00) || (code >= 0x20000 && code < 0x40000);
}

/// Calls `use(code, bytes of it)` for each character; stops when it returns false.
template <typename Use>
void forEachCharacter(std::string_view text, Use use) {
  while (!text.empty()) {
    const Decoded next = decode(text);
    if (!use(next.code, text.substr(0, next.bytes))) return;
    text.remove_prefix(next.bytes);
  }
}

}  // namespace

std::string cleanText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  forEachCharacter(text, [&out](char32_t code, std::string_view) {
    if (code == '\n' || code == '\t') code = ' ';
    if (!dropped(code)) encode(out, code);
    return true;
  });
  return out;
}

std::string escapeMarkup(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string jsonString(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '<':
        out += "\\u003c";
        break;  // "</script>" and "<!--" would end or change the element around it
      default:
        out += c;
    }
  }
  return out + '"';
}

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  forEachCharacter(text, [&width](char32_t code, std::string_view) {
    width += wide(code) ? 2 : 1;
    return true;
  });
  return width;
}

std::string shorten(std::string_view text, std::size_t width, std::string_view mark) {
  if (displayWidth(text) <= width) return std::string(text);
  const std::size_t mark_width = displayWidth(mark);
  if (mark_width > width) return {};
  std::string out;
  std::size_t used = mark_width;
  forEachCharacter(text, [&](char32_t code, std::string_view bytes) {
    used += wide(code) ? 2 : 1;
    if (used <= width) out += bytes;
    return used < width;
  });
  return out += mark;
}

std::string unitText(std::string_view text) {
  constexpr std::size_t kLongestUnit = 12;
  return shorten(cleanText(text), kLongestUnit, "~");
}

std::string toAscii(std::string_view text) {
  std::string out;
  forEachCharacter(text, [&out](char32_t code, std::string_view) {
    out += code < 0x80 ? static_cast<char>(code) : '?';
    return true;
  });
  return out;
}

std::string number(double value) {
  char buffer[32];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value);
  return {buffer, end.ptr};
}

std::string fixed(double value, int decimals) {
  char buffer[400];  // the largest double has 309 digits before the point
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
  if (end.ec != std::errc{}) return number(value);
  std::string out(buffer, end.ptr);
  if (out[0] == '-' && out.find_first_not_of("-0.") == std::string::npos) out.erase(0, 1);
  return out;
}

std::string coordinate(double value) {
  std::string out = fixed(value, 1);
  if (out.ends_with(".0")) out.resize(out.size() - 2);
  return out;
}

std::string base64(std::string_view bytes) {
  static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t n = bytes.size() - i < 3 ? bytes.size() - i : 3;
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (k < n ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    for (std::size_t k = 0; k < 4; ++k) out += k <= n ? kDigits[group >> (18 - 6 * k) & 63] : '=';
  }
  return out;
}

}  // namespace orb::plot
