// Spectra as vectors: typed fronts of the byte-stream transfer.
#include <cstring>

#include "FileAccess.h"

namespace com::norvale::orb {

using datatypes::ByteStream;

namespace {

constexpr std::size_t kChannelBytes = 4;

template <typename T>
std::uint32_t readVector(const FileAccess& file, std::vector<T>& data, SpectralFormat format, std::uint32_t group,
                         std::uint32_t row) {
  static_assert(sizeof(T) == kChannelBytes);
  ByteStream stream;
  if (const std::uint32_t status = ::getSpectrum(file, stream, format, group, row)) return status;
  data.resize(stream.size() / kChannelBytes);
  if (!data.empty()) std::memcpy(data.data(), stream.data(), data.size() * kChannelBytes);
  return 0;
}

template <typename T>
std::uint32_t writeVector(FileAccess& file, const std::vector<T>& data, SpectralFormat format, std::uint32_t group,
                          std::uint32_t row) {
  static_assert(sizeof(T) == kChannelBytes);
  ByteStream stream(data.data(), data.size() * kChannelBytes);
  file.setModified(true);
  return ::setSpectrum(file, stream, format, group, row);
}

}  // namespace

std::uint32_t FileAccess::getSpectrum(std::vector<int>& data, std::uint32_t group, std::uint32_t row) const {
  return readVector(*this, data, LONGFORMAT, group, row);
}

std::uint32_t FileAccess::getSpectrum(std::vector<unsigned int>& data, std::uint32_t group, std::uint32_t row) const {
  return readVector(*this, data, LONGFORMAT, group, row);
}

std::uint32_t FileAccess::getSpectrum(std::vector<float>& data, std::uint32_t group, std::uint32_t row) const {
  return readVector(*this, data, FLOATFORMAT, group, row);
}

std::uint32_t FileAccess::setSpectrum(const std::vector<int>& data, std::uint32_t group, std::uint32_t row) {
  return writeVector(*this, data, LONGFORMAT, group, row);
}

std::uint32_t FileAccess::setSpectrum(const std::vector<unsigned int>& data, std::uint32_t group, std::uint32_t row) {
  return writeVector(*this, data, LONGFORMAT, group, row);
}

std::uint32_t FileAccess::setSpectrum(const std::vector<float>& data, std::uint32_t group, std::uint32_t row) {
  return writeVector(*this, data, FLOATFORMAT, group, row);
}

}  // namespace com::norvale::orb
