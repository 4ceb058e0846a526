#include "value_text.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string_view>

#include "ResultCode.h"
#include "failure.h"
#include "words.h"

namespace com::norvale::measurement {

using com::norvale::datatypes::Variant;
using com::norvale::datatypes::xtime_t;

Variant withSign(const Variant& value, const AioParamInfo_T& parameter) {
  if (!value.isNumber()) return value;
  if (parameter.lStorageType == AIO_T_INT16) return Variant(static_cast<std::int16_t>(value.toUInt16()));
  if (parameter.lStorageType == AIO_T_INT32) return Variant(static_cast<std::int32_t>(value.toUInt32()));
  return value;
}

namespace {

/// Reading one value of one parameter.
class Reader {
 public:
  Reader(const std::string& text, const AioParamInfo_T& parameter, const std::string& file)
      : text_(text), parameter_(parameter), file_(file) {}

  Variant read() const {
    switch (parameter_.lStorageType) {
      case AIO_T_BOOL:
      case AIO_T_FLAG:
        return readBool();
      case AIO_T_INT16:
        return readInteger<std::int16_t>();
      case AIO_T_UINT16:
        return readInteger<std::uint16_t>();
      case AIO_T_INT32:
        return readInteger<std::int32_t>();
      case AIO_T_INT64:
        return readInteger<std::int64_t>();
      case AIO_T_FLOAT:
        return readReal<float>();
      case AIO_T_DOUBLE:
      case AIO_T_REAL8:
        return readReal<double>();
      case AIO_T_TIME:
        return readTime();
      default:
        return readText();
    }
  }

 private:
  [[noreturn]] void refuse(const std::string& why, std::uint32_t code) const {
    throw Failure(file_, std::string(parameter_.szName) + ": " + why, code);
  }
  [[noreturn]] void refuse(const std::string& why) const {
    refuse("'" + text_ + "' " + why, com::norvale::orb::kBadArgument);
  }
  [[noreturn]] void refuseSize() const {
    refuse("'" + text_ + "' does not fit " + typeWords(), convertReturnCode(AIO_OUTOFRANGE));
  }
  std::string typeWords() const;

  Variant readBool() const {
    const std::string word = toLower(text_);
    for (const char* yes : {"1", "true", "yes", "on"}) {
      if (word == yes) return Variant(true);
    }
    for (const char* no : {"0", "false", "no", "off"}) {
      if (word == no) return Variant(false);
    }
    refuse("is neither true nor false");
  }

  template <typename Integer>
  Variant readInteger() const {
    std::string_view digits = text_;
    const bool negative = !digits.empty() && digits.front() == '-';
    if (negative || (!digits.empty() && digits.front() == '+')) digits.remove_prefix(1);
    const bool is_hex = digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
    if (is_hex) digits.remove_prefix(2);
    std::uint64_t magnitude = 0;
    const char* const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, magnitude, is_hex ? 16 : 10);
    if (read.ptr != end || read.ec == std::errc::invalid_argument) refuse("is not a whole number");
    const auto largest = static_cast<std::uint64_t>(std::numeric_limits<Integer>::max());
    const std::uint64_t bound = !negative ? largest : std::numeric_limits<Integer>::min() == 0 ? 0 : largest + 1;
    if (read.ec != std::errc() || magnitude > bound) refuseSize();
    return Variant(static_cast<Integer>(negative ? std::uint64_t{0} - magnitude : magnitude));
  }

  template <typename Real>
  Variant readReal() const {
    std::string_view digits = text_;
    if (digits.size() > 1 && digits.front() == '+' && digits[1] != '-') digits.remove_prefix(1);
    Real number = 0;
    const char* const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, number);
    if (read.ptr != end || read.ec == std::errc::invalid_argument) refuse("is not a number");
    if (read.ec != std::errc()) refuseSize();
    if (!std::isfinite(number)) refuse("is not a finite number");
    return Variant(number);
  }

  Variant readTime() const {
    xtime_t time;
    if (!xtime_t::parse(text_, time)) refuse("is not a time; write it as 2024-03-01T12:30:00Z");
    return Variant(time);
  }

  Variant readText() const {
    const auto room = static_cast<std::size_t>(parameter_.lStorageLength);
    if (text_.size() > room) {
      refuse("the text has " + std::to_string(text_.size()) + " bytes, there is room for " + std::to_string(room),
             convertReturnCode(AIO_TOOLONG));
    }
    return Variant(text_);
  }

  const std::string& text_;
  const AioParamInfo_T& parameter_;
  const std::string& file_;
};

std::string Reader::typeWords() const {
  switch (parameter_.lStorageType) {
    case AIO_T_INT16:
      return "a 16-bit integer (-32768 to 32767)";
    case AIO_T_UINT16:
      return "a 16-bit integer without sign (0 to 65535)";
    case AIO_T_INT32:
      return "a 32-bit integer (-2147483648 to 2147483647)";
    case AIO_T_INT64:
      return "a 64-bit integer";
    case AIO_T_FLOAT:
      return "a 32-bit real number";
    default:
      return "a 64-bit real number";
  }
}

}  // namespace

std::string valueText(const Variant& value, const AioParamInfo_T& parameter) {
  return withSign(value, parameter).toString();
}

Variant parseValue(const std::string& text, const AioParamInfo_T& parameter, const std::string& file) {
  return Reader(text, parameter, file).read();
}

}  // namespace com::norvale::measurement
