#include "Variant.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <ostream>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

#include "number_text.h"
#include "saturate.h"
#include "time_math.h"
#include "utf8.h"

namespace com::norvale::datatypes {
namespace {

// The alternative that holds a built-in integer type: the fixed-width one of the same size and sign.
template <typename T>
using Fixed = std::conditional_t<
    sizeof(T) == 1, std::conditional_t<std::is_signed_v<T>, std::int8_t, std::uint8_t>,
    std::conditional_t<
        sizeof(T) == 2, std::conditional_t<std::is_signed_v<T>, std::int16_t, std::uint16_t>,
        std::conditional_t<sizeof(T) == 4, std::conditional_t<std::is_signed_v<T>, std::int32_t, std::uint32_t>,
                           std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>>>>;

template <typename T>
Variant::Value fixed(T v) noexcept {
  static_assert(sizeof(T) == sizeof(Fixed<T>));
  return Variant::Value(std::in_place_type<Fixed<T>>, static_cast<Fixed<T>>(v));
}

[[noreturn]] void refuse(const std::string& text, const char* reason) {
  throw std::invalid_argument('"' + text + '"' + reason);
}

template <typename To>
To numberOf(const std::string& text) {
  if constexpr (std::is_integral_v<To>) {
    if (const auto n = readInteger(text)) return std::visit([](auto v) { return saturate<To>(v); }, *n);
  } else if constexpr (std::is_same_v<To, float>) {
    if (const auto n = readFloat(text)) return *n;
  } else {
    if (const auto n = readDouble(text)) return *n;
  }
  refuse(text, " is not a number");
}

bool truthOf(const std::string& text) {
  const std::string_view word = trimmed(text);
  if (word == "true") return true;
  if (word == "false") return false;
  if (const auto n = readDouble(word)) return *n != 0;
  refuse(text, " is neither true nor false nor a number");
}

xtime_t timeOf(const std::string& text) {
  xtime_t time;
  if (xtime_t::parse(std::string(trimmed(text)), time)) return time;
  refuse(text, " is not a time");
}

template <typename T>
constexpr bool kIsNumber = std::is_arithmetic_v<T> && !std::is_same_v<T, bool>;

// One visitor for each kind of target; the alternatives that convert alike share an overload.

template <typename To>
struct ToNumber {
  To operator()(std::monostate) const { return 0; }
  template <typename T, typename = std::enable_if_t<std::is_arithmetic_v<T>>>
  To operator()(T v) const {
    return saturate<To>(v);
  }
  To operator()(const xtime_t& v) const {
    if constexpr (std::is_integral_v<To>) {
      return saturate<To>(normalised(v).dateTime);
    } else {
      return static_cast<To>(toSeconds(v));
    }
  }
  To operator()(const std::string& v) const { return numberOf<To>(v); }
  To operator()(const std::wstring& v) const { return numberOf<To>(toUtf8(v)); }
};

struct ToBool {
  bool operator()(std::monostate) const { return false; }
  template <typename T, typename = std::enable_if_t<std::is_arithmetic_v<T>>>
  bool operator()(T v) const {
    return v != T{};
  }
  bool operator()(const xtime_t& v) const { return normalised(v) != xtime_t{}; }
  bool operator()(const std::string& v) const { return truthOf(v); }
  bool operator()(const std::wstring& v) const { return truthOf(toUtf8(v)); }
};

struct ToTime {
  xtime_t operator()(std::monostate) const { return {}; }
  template <typename T, typename = std::enable_if_t<std::is_arithmetic_v<T>>>
  xtime_t operator()(T v) const {
    if constexpr (std::is_floating_point_v<T>) {
      return fromSeconds(v);
    } else if constexpr (std::is_same_v<T, std::uint64_t>) {
      return std::in_range<std::int64_t>(v) ? xtime_t{static_cast<std::int64_t>(v), 0} : kLatest;
    } else {
      return {static_cast<std::int64_t>(v), 0};
    }
  }
  xtime_t operator()(const xtime_t& v) const { return v; }
  xtime_t operator()(const std::string& v) const { return timeOf(v); }
  xtime_t operator()(const std::wstring& v) const { return timeOf(toUtf8(v)); }
};

struct ToText {
  std::string operator()(std::monostate) const { return {}; }
  std::string operator()(bool v) const { return v ? "true" : "false"; }
  template <typename T, typename = std::enable_if_t<kIsNumber<T>>>
  std::string operator()(T v) const {
    if constexpr (std::is_floating_point_v<T>) {
      if (std::isnan(v)) return "nan";  // the sign of a not-a-number means nothing
    }
    std::array<char, 32> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), v);
    return {text.data(), result.ptr};
  }
  std::string operator()(const xtime_t& v) const { return v.toString(); }
  std::string operator()(const std::string& v) const { return v; }
  std::string operator()(const std::wstring& v) const { return toUtf8(v); }
};

}  // namespace

Variant::Variant(signed char v) noexcept : value_(fixed(v)) {}
Variant::Variant(unsigned char v) noexcept : value_(fixed(v)) {}
Variant::Variant(short v) noexcept : value_(fixed(v)) {}
Variant::Variant(unsigned short v) noexcept : value_(fixed(v)) {}
Variant::Variant(int v) noexcept : value_(fixed(v)) {}
Variant::Variant(unsigned int v) noexcept : value_(fixed(v)) {}
Variant::Variant(long v) noexcept : value_(fixed(v)) {}
Variant::Variant(unsigned long v) noexcept : value_(fixed(v)) {}
Variant::Variant(long long v) noexcept : value_(fixed(v)) {}
Variant::Variant(unsigned long long v) noexcept : value_(fixed(v)) {}
Variant::Variant(const char* v) : value_(std::string(v != nullptr ? v : "")) {}
Variant::Variant(std::string v) noexcept : value_(std::move(v)) {}
Variant::Variant(const wchar_t* v) : value_(std::wstring(v != nullptr ? v : L"")) {}
Variant::Variant(std::wstring v) noexcept : value_(std::move(v)) {}

bool Variant::isNumber() const noexcept {
  return std::visit([](const auto& v) { return kIsNumber<std::decay_t<decltype(v)>>; }, value_);
}

bool Variant::isText() const noexcept {
  return std::holds_alternative<std::string>(value_) || std::holds_alternative<std::wstring>(value_);
}

Variant::operator bool() const {
  return std::visit(ToBool(), value_);
}
Variant::operator signed char() const {
  return std::visit(ToNumber<signed char>(), value_);
}
Variant::operator unsigned char() const {
  return std::visit(ToNumber<unsigned char>(), value_);
}
Variant::operator short() const {
  return std::visit(ToNumber<short>(), value_);
}
Variant::operator unsigned short() const {
  return std::visit(ToNumber<unsigned short>(), value_);
}
Variant::operator int() const {
  return std::visit(ToNumber<int>(), value_);
}
Variant::operator unsigned int() const {
  return std::visit(ToNumber<unsigned int>(), value_);
}
Variant::operator long() const {
  return std::visit(ToNumber<long>(), value_);
}
Variant::operator unsigned long() const {
  return std::visit(ToNumber<unsigned long>(), value_);
}
Variant::operator long long() const {
  return std::visit(ToNumber<long long>(), value_);
}
Variant::operator unsigned long long() const {
  return std::visit(ToNumber<unsigned long long>(), value_);
}
Variant::operator float() const {
  return std::visit(ToNumber<float>(), value_);
}
Variant::operator double() const {
  return std::visit(ToNumber<double>(), value_);
}

bool Variant::toBool() const {
  return static_cast<bool>(*this);
}
std::int16_t Variant::toInt16() const {
  return static_cast<std::int16_t>(*this);
}
std::uint16_t Variant::toUInt16() const {
  return static_cast<std::uint16_t>(*this);
}
std::int32_t Variant::toInt32() const {
  return static_cast<std::int32_t>(*this);
}
std::uint32_t Variant::toUInt32() const {
  return static_cast<std::uint32_t>(*this);
}
std::int64_t Variant::toInt64() const {
  return static_cast<std::int64_t>(*this);
}
std::uint64_t Variant::toUInt64() const {
  return static_cast<std::uint64_t>(*this);
}
float Variant::toFloat() const {
  return static_cast<float>(*this);
}
double Variant::toDouble() const {
  return static_cast<double>(*this);
}

std::string Variant::toString() const {
  return std::visit(ToText(), value_);
}

std::wstring Variant::toWString() const {
  // Wide text goes this way too: what is no character is replaced on it.
  return fromUtf8(toString());
}

xtime_t Variant::toXtime_t() const {
  return std::visit(ToTime(), value_);
}

std::ostream& operator<<(std::ostream& out, const Variant& v) {
  return out << v.toString();
}

}  // namespace com::norvale::datatypes
