/// Text in the columns of a terminal.
#pragma once
#include <string>
#include <string_view>

#include "parts.h"

namespace orb::tool {

/// Characters of a UTF-8 text, as a terminal counts columns for Latin scripts.
std::size_t displayWidth(std::string_view text);
/// The text with blanks behind it (or in front of it) up to a width; a longer text stays as it is.
std::string padRight(std::string_view text, std::size_t width);
std::string padLeft(std::string_view text, std::size_t width);

}  // namespace orb::tool
