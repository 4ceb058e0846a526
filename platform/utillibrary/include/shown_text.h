/// Texts from anywhere, made fit to be looked at: what a terminal or a viewer would obey instead of showing it becomes
/// an escape that can be seen.
#pragma once
#include <string>
#include <string_view>

#include "utillibrary_export.h"

namespace com::norvale::datatypes {

/// Whether a character is a control character (C0, DEL, C1), a mark that turns the direction of writing, a line or
/// paragraph separator, or another format character that takes no place. The joiners that some scripts write with are
/// letters here.
constexpr bool isObeyed(char32_t code) {
  struct Span {
    char32_t first, last;
  };
  constexpr Span kSpans[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},     {0x61C, 0x61C},
                             {0x180E, 0x180E}, {0x200B, 0x200B}, {0x200E, 0x200F}, {0x2028, 0x202E},
                             {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE007F}};
  for (const Span& span : kSpans)
    if (code >= span.first && code <= span.last) return true;
  return false;
}

/// The text with \n, \r, \t, \x1B or \u202E in place of such characters; bytes that are not UTF-8 become \xFF.
/// @param keep_lines  line breaks and tabs stay
UTILLIBRARY_EXPORT std::string shownText(std::string_view text, bool keep_lines = false);

/// The same for a JSON document, which is valid UTF-8: the escapes are JSON's own, so the document says what it said.
UTILLIBRARY_EXPORT std::string shownJson(std::string_view document);

}  // namespace com::norvale::datatypes
