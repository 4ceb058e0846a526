#include "value_codec.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace porb {
namespace {

static_assert(std::endian::native == std::endian::little, "value buffers are little-endian images");

/// Reads an integer of the type's width, sign-extended or zero-extended as the type says.
std::int64_t loadInteger(const void* buffer, int type) noexcept {
  std::uint64_t raw = 0;
  const unsigned width = widthOf(type);
  std::memcpy(&raw, buffer, width);
  if (width == 8 || isUnsigned(type)) return static_cast<std::int64_t>(raw);
  const unsigned unused = 64 - 8 * width;
  return static_cast<std::int64_t>(raw << unused) >> unused;
}

bool fits(std::int64_t value, int type) noexcept {
  const unsigned width = widthOf(type);
  if (width == 8) return true;
  const unsigned bits = 8 * width;
  if (isUnsigned(type)) return value >= 0 && value < (std::int64_t{1} << bits);
  const std::int64_t limit = std::int64_t{1} << (bits - 1);
  return value >= -limit && value < limit;
}

double loadReal(std::uint64_t bits, Kind kind) noexcept {
  return kind == Kind::Double ? std::bit_cast<double>(bits)
                              : static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
}

/// False for a finite number beyond the range of a float; infinities and not-a-number have floats of their own.
bool storeReal(double value, Kind kind, std::uint64_t& bits) noexcept {
  if (kind == Kind::Double) {
    bits = std::bit_cast<std::uint64_t>(value);
    return true;
  }
  if (std::isfinite(value) && std::abs(value) > static_cast<double>(std::numeric_limits<float>::max())) return false;
  bits = std::bit_cast<std::uint32_t>(static_cast<float>(value));
  return true;
}

/// The payload of a number as another type; the same bits when the types are of one kind.
bool convertBits(std::uint64_t& bits, int from, int to) noexcept {
  const Kind source = kindOf(from);
  const Kind target = kindOf(to);
  if (source == Kind::Integer) return fits(static_cast<std::int64_t>(bits), to);
  return source == target || storeReal(loadReal(bits, source), target, bits);
}

Status readText(const Cell& cell, const Parameter& parameter, void* buffer, USHORT* size) noexcept {
  const std::string_view text = cell.characters();
  const USHORT needed = parameter.bufferSize();
  if (text.size() >= needed) return AIO_TYPEMISMATCH;  // written under a dictionary that allowed more
  if (*size < needed) return AIO_BADSIZE;
  char* out = static_cast<char*>(buffer);
  if (!text.empty()) std::memcpy(out, text.data(), text.size());
  std::memset(out + text.size(), 0, needed - text.size());
  *size = needed;
  return AIO_OK;
}

CellOrStatus refuse(Status status) noexcept {
  return {Cell::number(0, 0, 0), status};
}

CellOrStatus makeText(const Parameter& parameter, const char* buffer, USHORT size) {
  const void* end = size == 0 ? nullptr : std::memchr(buffer, 0, size);
  const std::size_t length = end != nullptr ? static_cast<std::size_t>(static_cast<const char*>(end) - buffer) : size;
  if (length > parameter.storage_length) return refuse(AIO_TOOLONG);
  return {Cell::text(parameter.param(), parameter.storage_type, {buffer, length}), AIO_OK};
}

}  // namespace

Status readCell(const Cell& cell, const Parameter& parameter, void* buffer, USHORT* size) noexcept {
  if (cell.type() != parameter.storage_type) return AIO_TYPEMISMATCH;
  if (kindOf(cell.type()) == Kind::Text) return readText(cell, parameter, buffer, size);
  const USHORT needed = parameter.bufferSize();
  if (*size < needed) return AIO_BADSIZE;
  std::uint64_t bits = cell.bits();
  if (parameter.return_type != parameter.storage_type &&
      !convertBits(bits, parameter.storage_type, parameter.return_type))
    return AIO_OUTOFRANGE;
  std::memcpy(buffer, &bits, needed);
  *size = needed;
  return AIO_OK;
}

CellOrStatus makeCell(const Parameter& parameter, const void* buffer, USHORT size) {
  if (kindOf(parameter.return_type) == Kind::Text) return makeText(parameter, static_cast<const char*>(buffer), size);
  if (size != parameter.bufferSize()) return refuse(AIO_BADSIZE);
  std::uint64_t bits = 0;
  if (kindOf(parameter.return_type) == Kind::Integer)
    bits = static_cast<std::uint64_t>(loadInteger(buffer, parameter.return_type));
  else
    std::memcpy(&bits, buffer, size);
  if (!convertBits(bits, parameter.return_type, parameter.storage_type)) return refuse(AIO_OUTOFRANGE);
  return {Cell::number(parameter.param(), parameter.storage_type, bits), AIO_OK};
}

}  // namespace porb
