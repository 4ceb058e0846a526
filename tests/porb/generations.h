/// States of a data file that differ in every block, so that a mixture of two shows.
#pragma once
#include <set>

#include "aiolib.h"

namespace porbtest {

inline constexpr USHORT kGenerationClasses[] = {0x2006, 0x2008, 0x2009};
inline constexpr ULONG kGenerationChannels = 64;

/// Puts the number into every block: as header value, into a number of records that depends on it, and into a
/// spectrum. Nothing is flushed.
inline ULONG putGeneration(void* handle, LONG generation) {
  const USHORT size = sizeof generation;
  ULONG status = AIO_OK;
  for (const USHORT cls : kGenerationClasses) {
    const ULONG code = static_cast<ULONG>(cls) << 16;
    if (status == AIO_OK) status = AioPutParam(handle, code, 0, 0, &generation, &size);
    for (USHORT record = 1; record <= 5 && status == AIO_OK; ++record)
      status = AioPutParam(handle, code + 1, record, 0, &generation, &size);
    if (status == AIO_OK) status = AioDelete(handle, cls, static_cast<USHORT>(1 + generation % 5), 0);
  }
  LONG channels[kGenerationChannels];
  for (LONG& channel : channels) channel = generation;
  if (status == AIO_OK) AioCreatePHA(handle, 1, kGenerationChannels, 1);
  return status == AIO_OK ? AioWriteSpectrum2(handle, channels, AIO_FORMAT_LONG, kGenerationChannels, 1, 1, 1) : status;
}

/// All numbers of a class, or of the spectrum.
inline ULONG getGeneration(void* handle, USHORT cls, std::set<LONG>& numbers) {
  if (cls == ORB_CLS_SPECTRUM) {
    LONG channels[kGenerationChannels];
    const ULONG status = AioReadSpectrum2(handle, channels, AIO_FORMAT_LONG, kGenerationChannels, 1, 1, 1);
    if (status == AIO_OK) numbers.insert(channels, channels + kGenerationChannels);
    return status;
  }
  const ULONG code = static_cast<ULONG>(cls) << 16;
  LONG number = 0;
  USHORT size = sizeof number;
  ULONG status = AioGetParam(handle, code, 0, 0, &number, &size);
  if (status == AIO_OK) numbers.insert(number);
  for (USHORT record = 1; record <= 4 && status == AIO_OK; ++record) {
    status = AioGetParam(handle, code + 1, record, 0, &number, &size);
    if (status == AIO_OK) numbers.insert(number);
  }
  return status;
}

}  // namespace porbtest
