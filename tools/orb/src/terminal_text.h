/// Text from files and command lines, made safe and tidy for a terminal.
#pragma once
#include <string>
#include <string_view>

namespace orb::tool {

/// The text as one line without anything that a terminal would obey (shown_text.h).
std::string escapeLine(std::string_view text);
/// As escapeLine, but line breaks and tabs stay.
std::string escapeText(std::string_view text);

/// Characters of a UTF-8 text, as a terminal counts columns for Latin scripts.
std::size_t displayWidth(std::string_view text);
/// The text with blanks behind it (or in front of it) up to a width; a longer text stays as it is.
std::string padRight(std::string_view text, std::size_t width);
std::string padLeft(std::string_view text, std::size_t width);

/// Lower case of the ASCII letters; other bytes stay.
std::string toLower(std::string_view text);

/// "0x2000" or "0x20000005": a number in hexadecimal with at least so many digits.
std::string hex(unsigned long number, int digits);

}  // namespace orb::tool
