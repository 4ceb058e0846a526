/// Texts and numbers in messages.
#pragma once
#include <string>
#include <string_view>

namespace com::norvale::measurement {

/// The text as one line without anything that a terminal would obey (shown_text.h).
std::string escapeLine(std::string_view text);
/// As escapeLine, but line breaks and tabs stay.
std::string escapeText(std::string_view text);

/// Lower case of the ASCII letters; other bytes stay.
std::string toLower(std::string_view text);

/// A number in hexadecimal with "0x" in front and at least so many digits.
std::string hex(unsigned long number, int digits);

/// A number as the shortest text that reads back to the same number.
std::string numberText(double number);
/// A number to at most so many significant digits, without an exponent where that stays readable.
std::string roundedText(double number, int digits);

}  // namespace com::norvale::measurement
