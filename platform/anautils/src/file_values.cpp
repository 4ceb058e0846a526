#include "file_values.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "failure.h"
#include "get_put.h"
#include "number_types.h"
#include "xtime.h"

namespace anautils {

using porb::nearest;
using porb::withNumberType;

namespace {

LONG typeOf(void* handle, ULONG code) {
  LONG type = 0;
  check(AioUtilReturnType(handle, code, &type));
  return type;
}

/// The bytes of a value; nothing when it was never written.
std::optional<std::string> findBytes(void* handle, ULONG code, USHORT record, USHORT entry, std::size_t room) {
  std::string bytes(room, '\0');
  auto size = static_cast<USHORT>(room);
  const ULONG status = AioGetParam(handle, code, record, entry, bytes.data(), &size);
  if (status == AIO_NOVALUE) return std::nullopt;
  check(status);
  bytes.resize(size);
  return bytes;
}

/// The counts, proved to be finite and not negative, in one loop without a branch: it is the longest part of the fit of
/// a single line.
template <typename Element>
std::vector<double> readChannels(void* handle, LONG format, ULONG channels, ULONG group) {
  const auto stored = std::make_unique_for_overwrite<Element[]>(channels);
  check(AioReadSpectrum2(handle, stored.get(), format, channels, 1, 1, group));
  std::vector<double> counts(channels);
  unsigned bad = 0;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const auto n = static_cast<double>(stored[i]);
    counts[i] = n;
    bad |= static_cast<unsigned>(!(n >= 0)) | static_cast<unsigned>(!(n <= std::numeric_limits<double>::max()));
  }
  require(bad == 0, ANA_BADCOUNTS);
  return counts;
}

LONG storedFormat(void* handle, ULONG group) {
  ULONG count = 0;
  check(AioListSpectra(handle, nullptr, 0, &count));
  std::vector<AioSpectrumInfo_T> spectra(count);
  check(AioListSpectra(handle, spectra.data(), count, &count));
  const auto is_wanted = [&](const AioSpectrumInfo_T& s) { return s.ulGroup == group && s.ulRow == 1; };
  const auto found = std::find_if(spectra.begin(), spectra.end(), is_wanted);
  return found != spectra.end() ? found->lFormat : AIO_FORMAT_LONG;
}

}  // namespace

std::optional<double> findNumber(void* handle, ULONG code, USHORT record, USHORT entry) {
  DOUBLE number = 0;
  ULONG found = 0;
  check(AioGetNumbers(handle, code, record, entry, 1, &number, &found));
  return found != 0 ? std::optional(number) : std::nullopt;
}

double readDouble(void* handle, ULONG code, double fallback, USHORT record, USHORT entry) {
  DOUBLE number = fallback;
  check(AioGetNumbers(handle, code, record, entry, 1, &number, nullptr));
  return number;
}

int readInt(void* handle, ULONG code, int fallback, USHORT record, USHORT entry) {
  const double number = readDouble(handle, code, fallback, record, entry);
  return std::isnan(number) ? fallback : nearest<int>(number);
}

std::string readText(void* handle, ULONG code, const std::string& fallback, USHORT record, USHORT entry) {
  const auto bytes = findBytes(handle, code, record, entry, AIO_MAX_VALUE_BYTES);
  return bytes ? std::string(bytes->c_str()) : fallback;
}

void readArray(void* handle, ULONG first_code, std::span<double> values) {
  std::fill(values.begin(), values.end(), 0.0);
  check(AioGetNumbers(handle, first_code, 0, 0, static_cast<ULONG>(values.size()), values.data(), nullptr));
}

USHORT countRecords(void* handle, USHORT cls) {
  USHORT count = 0;
  const ULONG status = AioCount(handle, cls, 0, 0, &count);
  if (status == AIO_NOBLOCK) return 0;
  check(status);
  return count;
}

ULONG countChannels(void* handle) {
  ULONG count = 0;
  check(AioListBlocks(handle, nullptr, 0, &count));
  std::vector<AioBlockInfo_T> blocks(count);
  check(AioListBlocks(handle, blocks.data(), count, &count));
  const auto is_spectrum = [](const AioBlockInfo_T& block) { return block.usClass == ORB_CLS_SPECTRUM; };
  const auto found = std::find_if(blocks.begin(), blocks.end(), is_spectrum);
  return found != blocks.end() ? found->ulChannels : 0;
}

std::vector<double> readSpectrum(void* handle, ULONG group) {
  const ULONG channels = countChannels(handle);
  require(channels > 0, ANA_NOSPECTRUM);
  return storedFormat(handle, group) == AIO_FORMAT_LONG ? readChannels<LONG>(handle, AIO_FORMAT_LONG, channels, group)
                                                        : readChannels<REAL>(handle, AIO_FORMAT_FLOAT, channels, group);
}

double presentTime() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
  com::norvale::datatypes::xtime_t time;
  time.dateTime = seconds.count();
  time.nanoseconds =
      static_cast<std::int32_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now - seconds).count());
  return time.toVMSTime();
}

void PendingWrites::set(ULONG code, double value, USHORT record, USHORT entry) {
  writes_.push_back({code, record, entry, false, value, {}});
}

void PendingWrites::set(ULONG code, int value, USHORT record, USHORT entry) {
  set(code, static_cast<double>(value), record, entry);
}

void PendingWrites::set(ULONG code, const std::string& text, USHORT record, USHORT entry) {
  writes_.push_back({code, record, entry, true, 0.0, text});
}

void PendingWrites::setArray(ULONG first_code, std::span<const double> values) {
  for (const double value : values) set(first_code++, value);
}

std::optional<std::string> PendingWrites::formerBytes(void* handle, const Write& write) {
  return findBytes(handle, write.code, write.record, write.entry, write.is_text ? AIO_MAX_VALUE_BYTES : sizeof(double));
}

std::string PendingWrites::newBytes(void* handle, const Write& write) {
  if (write.is_text) {
    require(write.text.size() <= AIO_MAX_VALUE_BYTES, AIO_TOOLONG);
    return write.text;
  }
  std::string bytes;
  const bool is_number = withNumberType(typeOf(handle, write.code), [&](auto type) {
    const auto raw = nearest<decltype(type)>(write.number);
    bytes.assign(sizeof raw, '\0');
    std::memcpy(bytes.data(), &raw, sizeof raw);
  });
  require(is_number, AIO_TYPEMISMATCH);
  return bytes;
}

void PendingWrites::commit(void* handle) const {
  const auto put = [&](const Write& write, const std::string& bytes) {
    const auto size = static_cast<USHORT>(bytes.size());
    return AioPutParam(handle, write.code, write.record, write.entry, bytes.data(), &size);
  };
  std::vector<std::optional<std::string>> former;
  std::vector<std::string> bytes;
  former.reserve(writes_.size());
  bytes.reserve(writes_.size());
  for (const Write& write : writes_) {
    former.push_back(formerBytes(handle, write));
    bytes.push_back(newBytes(handle, write));
  }
  for (std::size_t i = 0; i < writes_.size(); ++i) {
    const ULONG status = put(writes_[i], bytes[i]);
    if (status == AIO_OK) continue;
    while (i-- > 0)
      if (former[i]) put(writes_[i], *former[i]);
    throw Failure(status);
  }
}

}  // namespace anautils
