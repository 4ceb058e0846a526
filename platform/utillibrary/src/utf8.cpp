#include "utf8.h"

#include <cstddef>

namespace com::norvale::datatypes {
namespace {

constexpr char32_t kLargest = 0x10FFFF;

bool isCharacter(char32_t c) {
  return c <= kLargest && (c < 0xD800 || c > 0xDFFF);
}

std::size_t encodedLength(char32_t c) {
  if (c < 0x80) return 1;
  if (c < 0x800) return 2;
  return c < 0x10000 ? 3 : 4;
}

void appendUtf8(std::string& out, char32_t c) {
  const std::size_t n = encodedLength(c);
  if (n == 1) {
    out += static_cast<char>(c);
    return;
  }
  // The first byte tells the length by as many leading ones; each byte after it carries six bits.
  const char32_t lead = (0xF00U >> n) & 0xFFU;
  out += static_cast<char>(lead | (c >> (6 * (n - 1))));
  for (std::size_t i = n - 1; i-- > 0;) out += static_cast<char>(0x80U | ((c >> (6 * i)) & 0x3FU));
}

// Number of bytes that a first byte announces; 0 when it is none.
std::size_t announcedLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead < 0xE0) return 2;
  if (lead >= 0xE0 && lead < 0xF0) return 3;
  return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

struct Decoded {
  char32_t character;
  std::size_t n_bytes;
};

// The character at the front of a text that is not empty.
Decoded decode(std::string_view text) {
  constexpr Decoded kBroken{kReplacement, 1};
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const std::size_t n = announcedLength(byte(0));
  if (n == 0 || n > text.size()) return kBroken;
  if (n == 1) return {byte(0), 1};
  char32_t c = byte(0) & (0x7FU >> n);
  for (std::size_t i = 1; i < n; ++i) {
    if ((byte(i) & 0xC0U) != 0x80U) return kBroken;
    c = (c << 6) | (byte(i) & 0x3FU);
  }
  // A longer form than needed would be a second spelling of the same character.
  return isCharacter(c) && encodedLength(c) == n ? Decoded{c, n} : kBroken;
}

}  // namespace

std::string toUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (const wchar_t unit : text) {
    const auto c = static_cast<char32_t>(unit);
    appendUtf8(out, isCharacter(c) ? c : kReplacement);
  }
  return out;
}

std::wstring fromUtf8(std::string_view text) {
  std::wstring out;
  out.reserve(text.size());
  while (!text.empty()) {
    const auto [character, n_bytes] = decode(text);
    out += static_cast<wchar_t>(character);
    text.remove_prefix(n_bytes);
  }
  return out;
}

}  // namespace com::norvale::datatypes
