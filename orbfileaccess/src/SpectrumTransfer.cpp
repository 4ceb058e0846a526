// Whole spectra between an open file and a byte stream.
#include <limits>
#include <new>

#include "ExceptionCapture.h"
#include "FailureReport.h"
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "aioproto.h"
#include "orbparams.h"

using com::norvale::datatypes::ByteStream;
using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;
using com::norvale::orb::FileLock;
using com::norvale::orb::kFileNotOpen;
using com::norvale::orb::reportFailure;

namespace {

constexpr std::size_t kChannelBytes = 4;
constexpr ULONG kFirstChannel = 1;
constexpr const char* kReadWhere = "FileAccess::getSpectrum";
constexpr const char* kWriteWhere = "FileAccess::setSpectrum";

/// Makes the stream as long as the spectrum. A file may claim any number of channels: one that no spectrum can have
/// is answered like memory that is not to be had, before gigabytes are asked for or a product overflows.
/// @return the number of channels
ULONG allocateChannels(ByteStream& stream, const Variant& channel_count) {
  const std::int32_t n_channels = channel_count.toInt32();
  if (n_channels < 0 || static_cast<ULONG>(n_channels) > AIO_MAX_CHANNELS) throw std::bad_alloc();
  stream.allocate(static_cast<std::size_t>(n_channels) * kChannelBytes);
  return static_cast<ULONG>(n_channels);
}

}  // namespace

std::uint32_t getSpectrum(const FileAccess& dest, ByteStream& BS, SpectralFormatTag Op, std::uint32_t group,
                          std::uint32_t row) {
  const FileLock lock(dest.mutex());
  BS.clear();
  if (!dest.isOpen()) return reportFailure(kReadWhere, "Destination file is not open", kFileNotOpen);
  Variant channel_count;
  if (const std::uint32_t failure = dest.getParameter(ORB_L_CHANNELS, channel_count, 0, 0)) return failure;

  ULONG n_channels = 0;
  const std::uint32_t caught =
      com::norvale::orb::captureExceptions(kReadWhere, [&] { n_channels = allocateChannels(BS, channel_count); });
  if (caught != 0) return caught;

  const std::uint32_t status =
      convertReturnCode(AioReadSpectrum2(dest.handle(), BS.buffer(), Op, n_channels, kFirstChannel, row, group));
  return status == 0 ? 0 : reportFailure(kReadWhere, "Failed to get spectrum", status);
}

std::uint32_t setSpectrum(FileAccess& dest, ByteStream& BS, SpectralFormatTag Op, std::uint32_t group,
                          std::uint32_t row) {
  const FileLock lock(dest.mutex());
  if (!dest.isOpen()) return reportFailure(kWriteWhere, "Destination file is not open", kFileNotOpen);
  const auto n_channels = static_cast<ULONG>(BS.size() / kChannelBytes);
  const auto write = [&] {
    return convertReturnCode(AioWriteSpectrum2(dest.handle(), BS.buffer(), Op, n_channels, kFirstChannel, row, group));
  };

  // Whether the file takes the channel count shows in the write.
  dest.setParameter(ORB_L_CHANNELS, Variant(n_channels), 0, 0);
  std::uint32_t status = write();
  if (status == 0) return 0;

  // The spectral block has another size, or there is none: make a new one and try once more.
  dest.deleteBlock(ORB_CLS_SPECTRUM);
  if (dest.createBlock(ORB_CLS_SPECTRUM, n_channels, 1, 1) == 0) {
    status = write();
    if (status == 0) return 0;
  }
  return reportFailure(kWriteWhere, "Failed to set the spectrum", status);
}
