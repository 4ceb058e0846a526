#include "arguments.h"

#include <charconv>
#include <stdexcept>
#include <string_view>

#include "usage_error.h"

namespace orb::tool {

std::uint16_t parseClass(const std::string& text) {
  std::string_view digits = text;
  int base = 10;
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    digits.remove_prefix(2);
    base = 16;
  }
  std::uint16_t cls = 0;
  const char* const end = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), end, cls, base);
  if (read.ec != std::errc() || read.ptr != end) {
    throw UsageError("'" + escapeLine(text) + "' is no class; a class is a number such as 0x2006");
  }
  return cls;
}

GivenPoint parsePoint(const std::string& text, const std::string& option) {
  try {
    return pointOf(text, option.substr(2));
  } catch (const std::invalid_argument& error) {
    throw UsageError("calibrate: " + option + " '" + escapeLine(text) + "': " + error.what());
  }
}

}  // namespace orb::tool
