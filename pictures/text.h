/// Texts and numbers, made safe for the place where they go.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace orb::plot {

/// Valid UTF-8 on one line: line breaks and tabs become blanks; other control characters, marks that turn the
/// direction of writing and code points that XML forbids are dropped; broken bytes become U+FFFD.
std::string cleanText(std::string_view text);

/// A clean text for the content of an XML or HTML element, or for an attribute in double quotes.
std::string escapeMarkup(std::string_view text);

/// A clean text as a JSON string with its quotes, safe inside a script element.
std::string jsonString(std::string_view text);

/// Columns of a clean text on a terminal; East Asian wide characters take two.
std::size_t displayWidth(std::string_view text);

/// A clean text of at most so many columns; one that is cut ends in `mark`.
std::string shorten(std::string_view text, std::size_t width, std::string_view mark);

/// A clean text that is short enough for a unit.
std::string unitText(std::string_view text);

/// A clean text with '?' for each character that is not ASCII.
std::string toAscii(std::string_view text);

/// The fewest digits that read back as the same number; the decimal point is a point in every locale.
std::string number(double value);
/// A number with so many decimals, and no "-0".
std::string fixed(double value, int decimals);
/// A coordinate of a picture: at most one decimal, none when it is 0.
std::string coordinate(double value);

std::string base64(std::string_view bytes);

}  // namespace orb::plot
