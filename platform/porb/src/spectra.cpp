#include "spectra.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "cell.h"
#include "comdefs.h"

namespace porb {
namespace {

std::uint32_t toFloat(std::uint32_t bits) noexcept {
  return std::bit_cast<std::uint32_t>(static_cast<float>(static_cast<std::int32_t>(bits)));
}

/// Nearest integer; saturates; not-a-number is 0.
std::uint32_t toLong(std::uint32_t bits) noexcept {
  const float value = std::bit_cast<float>(bits);
  if (std::isnan(value)) return 0;
  constexpr float kTwo31 = 2147483648.0F;
  if (value >= kTwo31) return static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max());
  if (value <= -kTwo31) return static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::min());
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(std::nearbyint(value)));
}

void copyChannels(const void* from, LONG from_format, void* to, LONG to_format, std::size_t n) noexcept {
  if (n == 0) return;
  if (from_format == to_format) {
    std::memcpy(to, from, n * sizeof(std::uint32_t));
    return;
  }
  // The caller's buffer may be unaligned, so elements travel through memcpy.
  const auto* source = static_cast<const unsigned char*>(from);
  auto* target = static_cast<unsigned char*>(to);
  for (std::size_t i = 0; i < n; ++i) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, source + 4 * i, 4);
    bits = to_format == AIO_FORMAT_FLOAT ? toFloat(bits) : toLong(bits);
    std::memcpy(target + 4 * i, &bits, 4);
  }
}

}  // namespace

Status checkShape(const SpectralShape& shape) noexcept {
  if (shape.groups < 1 || shape.groups > AIO_MAX_GROUPS || shape.rows < 1 || shape.rows > AIO_MAX_GROUPS)
    return AIO_BADSPECTRUM;
  return shape.channels <= AIO_MAX_CHANNELS ? AIO_OK : AIO_BADCHANNELS;
}

std::uint64_t Spectrum::hash() const noexcept {
  return mixHash(static_cast<std::uint64_t>(format), channels.data(), channels.size() * sizeof(std::uint32_t));
}

Status Spectra::locate(LONG format, ULONG channels, ULONG first, ULONG row, ULONG group, Range& range) const noexcept {
  if (format != AIO_FORMAT_LONG && format != AIO_FORMAT_FLOAT) return AIO_BADFORMAT;
  range.key = {std::max<ULONG>(group, 1), std::max<ULONG>(row, 1)};
  if (range.key.group > shape_.groups || range.key.row > shape_.rows) return AIO_BADSPECTRUM;
  range.offset = std::max<ULONG>(first, 1) - 1;
  if (channels > shape_.channels || range.offset > shape_.channels - channels) return AIO_BADCHANNELS;
  return AIO_OK;
}

Status Spectra::read(void* buffer, LONG format, ULONG channels, ULONG first, ULONG row, ULONG group) const noexcept {
  Range range{};
  const Status status = locate(format, channels, first, row, group, range);
  if (status != AIO_OK || channels == 0) return status;
  const auto found = spectra_.find(range.key);
  if (found == spectra_.end())
    std::memset(buffer, 0, channels * sizeof(std::uint32_t));  // zero in both formats
  else
    copyChannels(found->second.channels.data() + range.offset, found->second.format, buffer, format, channels);
  return AIO_OK;
}

Status Spectra::write(const void* buffer, LONG format, ULONG channels, ULONG first, ULONG row, ULONG group) {
  Range range{};
  const Status status = locate(format, channels, first, row, group, range);
  if (status != AIO_OK || channels == 0) return status;
  auto found = spectra_.find(range.key);
  if (found == spectra_.end()) {
    Spectrum fresh;
    fresh.format = format;
    fresh.channels.resize(shape_.channels);
    found = spectra_.emplace(range.key, std::move(fresh)).first;
  }
  Spectrum& spectrum = found->second;
  if (channels == shape_.channels) spectrum.format = format;
  copyChannels(buffer, format, spectrum.channels.data() + range.offset, spectrum.format, channels);
  spectrum.dirty = true;
  return AIO_OK;
}

Spectra Spectra::clone() const {
  Spectra copy = *this;
  copy.rewrite_ = true;
  return copy;
}

bool Spectra::isDirty() const noexcept {
  return rewrite_ ||
         std::any_of(spectra_.begin(), spectra_.end(), [](const auto& entry) { return entry.second.dirty; });
}

void Spectra::markClean() noexcept {
  rewrite_ = false;
  for (auto& entry : spectra_) entry.second.dirty = false;
}

}  // namespace porb
