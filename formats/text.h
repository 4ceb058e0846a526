#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace orb::formats {

/// `text` without the blanks around it.
std::string_view trimmed(std::string_view text);
/// For ASCII letters only.
bool equalsIgnoringCase(std::string_view a, std::string_view b);
/// One word of ASCII letters, as units are.
bool isWord(std::string_view text);
/// The text as UTF-8 on one line: bytes that are no UTF-8 count as Latin-1, control characters (C0, DEL,
/// C1) become blanks, blanks at both ends go.
std::string cleanText(std::string_view text);
/// The same as it is written: other characters that a viewer would obey instead of showing them become escapes.
std::string writtenText(std::string_view text);

/// A field of a CSV in quotes, those in it doubled.
std::string quotedField(std::string_view field);
/// The field that such a text stands for; any other text as it is.
std::string unquotedField(std::string_view text);

/// The shortest form that reads as the same double; with an exponent where that is shorter.
std::string numberText(double value);
/// The same, never with an exponent.
std::string plainNumberText(double value);
/// Counts: whole numbers without exponent up to 2^53.
void appendCount(std::string& out, double count);
/// Numbers with a blank between them.
std::string joined(const std::vector<double>& values);
std::string joined(const std::vector<std::string>& texts, std::string_view separator);

/// value times 10^exponent, exactly on the shortest decimal form of the value: no digit changes.
double timesPowerOfTen(double value, int exponent);

/// Numbers out of a text.
struct NumberList {
  std::vector<double> values;
  std::string_view rest;  ///< what was not read; starts with the first thing that is no finite number
  int digits = 0;         ///< the most significant digits with which one of them is printed
};

/// Numbers with blanks, commas or semicolons between them, at most max_values.
NumberList numbersOf(std::string_view text, std::size_t max_values = std::string_view::npos);

/// Significant digits of the number printed in this range.
int printedDigits(const char* p, const char* end);

}  // namespace orb::formats
