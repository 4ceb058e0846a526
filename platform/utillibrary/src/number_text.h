#pragma once
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

namespace com::norvale::datatypes {

/// `text` without the blanks around it.
std::string_view trimmed(std::string_view text);

// Reading of numbers: a sign or none, then decimal digits with point and exponent as wanted, "nan" or "inf",
// or "0x" and hexadecimal digits. Blanks around it are allowed. The locale plays no role. Nothing comes back
// when the text is no number.

/// An exact integer where the text is one. Beyond 64 bits it is the limit nearest to the text.
using IntegerOrReal = std::variant<std::int64_t, std::uint64_t, double>;

std::optional<IntegerOrReal> readInteger(std::string_view text);
/// Text beyond the range of double is infinite.
std::optional<double> readDouble(std::string_view text);
/// Rounded once, from the text. A finite double beyond the range of float is the largest float.
std::optional<float> readFloat(std::string_view text);

}  // namespace com::norvale::datatypes
