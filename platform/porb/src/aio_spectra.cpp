#include "aioproto.h"
#include "guard.h"

using namespace porb;

namespace {

/// The spectra of a file; AIO_NOBLOCK when it has none.
Status spectraOf(DataFile& file, Spectra*& spectra) {
  Block* block = file.block(ORB_CLS_SPECTRUM);
  if (block == nullptr) return AIO_NOBLOCK;
  spectra = block->spectra();
  return AIO_OK;
}

}  // namespace

extern "C" ULONG AioReadSpectrum2(void* handle, void* buffer, LONG format, ULONG channels, ULONG first, ULONG row,
                                  ULONG group) {
  return withFile(handle, [&](DataFile& file) -> Status {
    if (buffer == nullptr && channels != 0) return AIO_BADARG;
    Spectra* spectra = nullptr;
    const Status status = spectraOf(file, spectra);
    return status == AIO_OK ? spectra->read(buffer, format, channels, first, row, group) : status;
  });
}

extern "C" ULONG AioWriteSpectrum2(void* handle, const void* buffer, LONG format, ULONG channels, ULONG first,
                                   ULONG row, ULONG group) {
  return withWritableFile(handle, [&](DataFile& file) -> Status {
    if (buffer == nullptr && channels != 0) return AIO_BADARG;
    Spectra* spectra = nullptr;
    const Status status = spectraOf(file, spectra);
    return status == AIO_OK ? spectra->write(buffer, format, channels, first, row, group) : status;
  });
}

extern "C" ULONG AioListSpectra(void* handle, AioSpectrumInfo_T* list, ULONG capacity, ULONG* count) {
  return withFile(handle, [&](DataFile& file) -> Status {
    if (count == nullptr || (list == nullptr && capacity != 0)) return AIO_BADARG;
    Spectra* spectra = nullptr;
    const Status status = spectraOf(file, spectra);
    if (status != AIO_OK) return status;
    ULONG n = 0;
    for (const auto& [key, spectrum] : spectra->written()) {
      if (n < capacity) list[n] = {key.group, key.row, spectrum.format};
      ++n;
    }
    *count = n;
    return AIO_OK;
  });
}
