#pragma once
#include <string>
#include <string_view>

namespace com::norvale::datatypes {

/// Stands for what cannot be converted.
constexpr char32_t kReplacement = 0xFFFD;

/// UTF-8 of a wide text, one character per wide code unit; a unit that is no character becomes kReplacement.
std::string toUtf8(std::wstring_view text);
/// The inverse; each byte that is not part of a well-formed character becomes kReplacement.
std::wstring fromUtf8(std::string_view text);

}  // namespace com::norvale::datatypes
