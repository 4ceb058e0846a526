// The value codec of ParameterMetadata: the table of byte layouts stands in its header.
#include <algorithm>
#include <bit>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <variant>

#include "ExceptionCapture.h"
#include "FailureReport.h"
#include "ParameterMetadata.h"

namespace com::norvale::orb {

using datatypes::ByteStream;
using datatypes::Variant;
using datatypes::xtime_t;

// Values go to and from a buffer as they lie in memory.
static_assert(std::endian::native == std::endian::little);

namespace {

/// Copies to the front of the stream, and no further than its end: a dictionary may give a length that is too small
/// for its type.
void store(ByteStream& stream, const void* bytes, std::size_t n) {
  const std::size_t room = std::min(n, stream.size());
  if (room != 0) std::memcpy(stream.buffer(), bytes, room);
}

template <typename T>
void storeNumber(ByteStream& stream, T value) {
  store(stream, &value, sizeof value);
}

/// Integers are written from signed values and read as unsigned ones. What was read is therefore not converted, which
/// would cut it at the largest signed value: copying a -1 from file to file has to give a -1.
template <typename Signed>
void storeInteger(ByteStream& stream, const Variant& value) {
  const auto* const as_read = std::get_if<std::make_unsigned_t<Signed>>(&value.value());
  if (as_read != nullptr) return storeNumber(stream, *as_read);
  storeNumber(stream, static_cast<Signed>(value));
}

/// The last byte is left alone: it is the NUL that ends the text.
void storeText(ByteStream& stream, const std::string& text) {
  if (stream.size() != 0) store(stream, text.data(), std::min(text.size(), stream.size() - 1));
}

template <typename T>
bool loadNumber(const ByteStream& stream, T& value) {
  if (stream.size() < sizeof value) return false;
  std::memcpy(&value, stream.data(), sizeof value);
  return true;
}

/// Reads a T and assigns it through `convert`; false when the stream is too short.
template <typename T, typename Convert>
bool load(const ByteStream& stream, Variant& value, Convert convert) {
  T number{};
  if (!loadNumber(stream, number)) return false;
  value = convert(number);
  return true;
}

template <typename T>
bool load(const ByteStream& stream, Variant& value) {
  return load<T>(stream, value, [](T number) { return number; });
}

bool loadText(const ByteStream& stream, Variant& value) {
  if (stream.data() == nullptr) throw std::logic_error("basic_string: construction from null is not valid");
  const unsigned char* const begin = stream.data();
  const unsigned char* const end = std::find(begin, begin + stream.size(), '\0');
  value = std::string(begin, end);
  return true;
}

void storeAs(std::int32_t type, const Variant& value, ByteStream& stream) {
  switch (type) {
    case 2:
    case 6:
      return storeNumber<std::uint8_t>(stream, static_cast<bool>(value) ? 1 : 0);
    case 3:
    case 7:
      return storeInteger<short>(stream, value);
    case 8:
      return storeInteger<int>(stream, value);
    case 9:
      return storeNumber(stream, static_cast<long long>(value));
    case 10:
      return storeNumber(stream, static_cast<float>(value));
    case 14:
    case 24:
      return storeText(stream, value.toString());
    case 27:
    case 192:
      return storeNumber(stream, static_cast<double>(value));
    case 35:
      return storeNumber(stream, value.toXtime_t().toVMSTime());
    default:
      return;
  }
}

bool loadAs(std::int32_t type, const ByteStream& stream, Variant& value) {
  switch (type) {
    case 2:
    case 6:
      return load<std::uint8_t>(stream, value, [](std::uint8_t byte) { return byte != 0; });
    case 3:
    case 7:
      return load<std::uint16_t>(stream, value);
    case 8:
      return load<std::uint32_t>(stream, value);
    case 9:
      return load<std::int64_t>(stream, value);
    case 10:
      return load<float>(stream, value);
    case 14:
    case 24:
      return loadText(stream, value);
    case 27:
    case 192:
      return load<double>(stream, value);
    case 35:
      return load<double>(stream, value, xtime_t::fromVMSTime);
    default:
      return true;
  }
}

}  // namespace

std::uint32_t ParameterMetadata::serialize(const Variant& ParamValue, ByteStream& Str) const {
  Str.clear();
  const std::uint32_t status = captureExceptions("ParameterMetadata::serialize", [&] { Str.allocate(size()); });
  if (status != 0) return status;
  storeAs(m_retType, ParamValue, Str);
  return 0;
}

std::uint32_t ParameterMetadata::deserialize(const ByteStream& Str, Variant& ParamValue) const {
  ParamValue.clear();
  if (loadAs(m_retType, Str, ParamValue)) return 0;
  return reportFailure("ParameterMetadata::deserialize", "Invalid stream size", kBadStreamSize);
}

}  // namespace com::norvale::orb
