#include "shown_text.h"

#include <algorithm>
#include <cstdio>

namespace com::norvale::datatypes {
namespace {

struct Character {
  char32_t code;
  std::size_t bytes;  // 0: not UTF-8
};

/// Decodes the first character. Overlong forms, surrogates and numbers past the last character are not UTF-8.
Character decode(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return {first, 1};
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 0;
  if (length == 0 || first > 0xF4 || text.size() < length) return {first, 0};
  char32_t code = first & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {first, 0};
    code = code << 6 | (byte(i) & 0x3Fu);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool valid = code >= kSmallest[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
  return {code, valid ? length : 0};
}

void appendEscape(std::string& out, char32_t code) {
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

/// JSON numbers UTF-16 code units; a character beyond them takes two.
void appendJsonEscape(std::string& out, char32_t code) {
  char text[16];
  if (code < 0x10000) {
    std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(code));
  } else {
    std::snprintf(text, sizeof text, "\\u%04x\\u%04x", static_cast<unsigned>(0xD7C0 + (code >> 10)),
                  static_cast<unsigned>(0xDC00 + (code & 0x3FF)));
  }
  out += text;
}

bool isPlain(char c) {
  return static_cast<unsigned char>(c) < 0x7F;
}

}  // namespace

std::string shownText(std::string_view text, bool keep_lines) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Character c = decode(text);
    const bool kept = keep_lines && (c.code == '\n' || c.code == '\t');
    if (c.bytes == 0 || (!kept && isObeyed(c.code))) {
      appendEscape(out, c.code);
    } else {
      out.append(text.substr(0, c.bytes));
    }
    text.remove_prefix(std::max<std::size_t>(c.bytes, 1));
  }
  return out;
}

std::string shownJson(std::string_view document) {
  std::string out;
  out.reserve(document.size());
  while (!document.empty()) {
    const auto plain = static_cast<std::size_t>(std::find_if_not(document.begin(), document.end(), isPlain) -
                                                document.begin());  // line breaks between the members included
    out.append(document.substr(0, plain));
    document.remove_prefix(plain);
    if (document.empty()) break;
    const Character c = decode(document);
    const std::size_t bytes = std::max<std::size_t>(c.bytes, 1);
    if (isObeyed(c.code)) {
      appendJsonEscape(out, c.code);
    } else {
      out.append(document.substr(0, bytes));
    }
    document.remove_prefix(bytes);
  }
  return out;
}

}  // namespace com::norvale::datatypes
