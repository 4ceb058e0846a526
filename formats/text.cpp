#include "text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "number_scan.h"
#include "shown_text.h"

namespace orb::formats {
namespace {

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Bytes of the UTF-8 character at the start of the text; 0 when there is none. Overlong forms, surrogates and what
/// lies beyond U+10FFFF are none.
std::size_t utf8Length(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  const unsigned char second = byte(1);
  const bool bad = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                   (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
  return bad ? 0 : length;
}

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

void appendLatin1(std::string& out, unsigned char c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

template <typename... Format>
std::string printed(double value, Format... format) {
  std::array<char, 400> text{};  // a double without exponent takes up to 310 digits, or 325 places
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value, format...).ptr;
  return {text.data(), end};
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

bool isWord(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return lower(c) >= 'a' && lower(c) <= 'z'; });
}

std::string cleanText(std::string_view text) {
  const bool utf8 = isUtf8(text);
  std::string out;
  out.reserve(text.size());
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool is_long = utf8 && byte(i) == 0xC2 && byte(i + 1) < 0xA0;
    if (byte(i) < 0x20 || byte(i) == 0x7F || is_long || (!utf8 && byte(i) >= 0x80 && byte(i) < 0xA0)) {
      out += ' ';
      i += is_long ? 1 : 0;
    } else if (utf8) {
      out += text[i];
    } else {
      appendLatin1(out, byte(i));
    }
  }
  return std::string(trimmed(out));
}

std::string writtenText(std::string_view text) {
  return com::norvale::datatypes::shownText(cleanText(text));
}

std::string quotedField(std::string_view field) {
  std::string text = "\"";
  for (const char c : field) text += c == '"' ? "\"\"" : std::string(1, c);
  return text + "\"";
}

std::string unquotedField(std::string_view text) {
  const std::string_view whole = trimmed(text);
  if (whole.size() < 2 || whole.front() != '"' || whole.back() != '"') return std::string(text);
  std::string field;
  for (std::size_t i = 1; i + 1 < whole.size(); ++i) {
    field += whole[i];
    if (whole[i] == '"') ++i;
  }
  return field;
}

std::string numberText(double value) {
  return printed(value);
}

std::string plainNumberText(double value) {
  return printed(value, std::chars_format::fixed);
}

void appendCount(std::string& out, double count) {
  constexpr double kExactIntegers = 9007199254740992.0;
  std::array<char, 40> text{};
  char* const begin = text.data();
  char* const end = begin + text.size();
  const bool whole = count < kExactIntegers && count == std::floor(count);
  out.append(begin, whole ? std::to_chars(begin, end, static_cast<std::int64_t>(count)).ptr
                          : std::to_chars(begin, end, count).ptr);
}

std::string joined(const std::vector<double>& values) {
  std::string text;
  for (const double value : values) {
    if (!text.empty()) text += ' ';
    text += numberText(value);
  }
  return text;
}

std::string joined(const std::vector<std::string>& texts, std::string_view separator) {
  std::string all;
  for (const std::string& text : texts) {
    if (!all.empty()) all += separator;
    all += text;
  }
  return all;
}

double timesPowerOfTen(double value, int exponent) {
  std::string text = printed(value, std::chars_format::scientific);
  const std::size_t e = text.find('e');
  if (e == std::string::npos) return value;  // not finite
  int own = 0;
  const bool plus = text[e + 1] == '+';
  std::from_chars(text.data() + e + (plus ? 2 : 1), text.data() + text.size(), own);
  text.replace(e + 1, std::string::npos, std::to_string(own + exponent));
  double scaled = 0;
  scanAnyNumber(text.data(), text.data() + text.size(), scaled);
  return scaled;
}

int printedDigits(const char* p, const char* end) {
  int digits = 0;
  for (; p != end && *p != 'e' && *p != 'E'; ++p) {
    const bool counts = isDigit(*p) && (*p != '0' || digits > 0);
    digits += counts ? 1 : 0;
  }
  return digits;
}

NumberList numbersOf(std::string_view text, std::size_t max_values) {
  NumberList list;
  const auto separator = [](char c) { return isBlank(c) || c == ',' || c == ';'; };
  const char* p = text.data();
  const char* const end = p + text.size();
  for (;;) {
    while (p != end && separator(*p)) ++p;
    if (p == end || list.values.size() == max_values) break;
    double value = 0;
    const char* const next = scanNumber(p, end, value);
    if (next == nullptr || !std::isfinite(value) || (next != end && !separator(*next))) break;
    list.values.push_back(value);
    list.digits = std::max(list.digits, printedDigits(p, next));
    p = next;
  }
  list.rest = {p, static_cast<std::size_t>(end - p)};
  return list;
}

}  // namespace orb::formats
