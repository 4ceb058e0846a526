#include "words.h"

#include <cmath>
#include <cstdio>

#include "Variant.h"
#include "shown_text.h"

namespace com::norvale::measurement {

using datatypes::Variant;

std::string escapeLine(std::string_view text) {
  return datatypes::shownText(text);
}

std::string escapeText(std::string_view text) {
  return datatypes::shownText(text, true);
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

std::string numberText(double number) {
  return Variant(number).toString();
}

std::string roundedText(double number, int digits) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*g", digits, number);
  if (std::string_view(text).find('e') == std::string_view::npos || std::fabs(number) < 1) return text;
  std::snprintf(text, sizeof text, "%.0f", number);
  return text;
}

}  // namespace com::norvale::measurement
