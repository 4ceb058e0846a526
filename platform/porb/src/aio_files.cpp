#include "aioproto.h"
#include "dictionary_cache.h"
#include "file_publication.h"
#include "guard.h"

using namespace porb;

namespace {

/// Opens through `storage()` and hands out the handle; null on failure.
template <typename MakeStorage>
Status openFile(void** handle, const char* path, bool writable, MakeStorage&& storage) noexcept {
  if (handle == nullptr) return AIO_BADARG;
  *handle = nullptr;
  if (path == nullptr || *path == '\0') return AIO_BADARG;
  return guarded([&]() -> Status {
    const Dictionary& dictionary = currentDictionary();  // before anything is created
    *handle = HandleTable::instance().insert(std::make_unique<DataFile>(path, writable, dictionary, storage()));
    return AIO_OK;
  });
}

}  // namespace

extern "C" LONG AioIsOpen(const void* handle) {
  return HandleTable::instance().isOpen(handle) ? 1 : 0;
}

extern "C" ULONG AioOpen2(void** handle, const char* path, ULONG access, ULONG share, ULONG flags) {
  const bool known = (access == AIO_READ_ONLY || access == AIO_READ_WRITE) && share == 0 && flags == 0;
  if (!known) {
    if (handle != nullptr) *handle = nullptr;
    return AIO_BADARG;
  }
  const bool writable = access == AIO_READ_WRITE;
  return openFile(handle, path, writable, [&] { return openSqliteStorage(path, writable); });
}

extern "C" ULONG AioCreate(void** handle, const char* path, ULONG size, void* reserved1, void* reserved2,
                           void* reserved3) {
  if (size != 0 || reserved1 != nullptr || reserved2 != nullptr || reserved3 != nullptr) {
    if (handle != nullptr) *handle = nullptr;
    return AIO_BADARG;
  }
  return openFile(handle, path, true, [&] { return createSqliteStorage(path); });
}

extern "C" ULONG AioFlush(void* handle) {
  return withFile(handle, [](DataFile& file) -> Status {
    file.flush();
    return AIO_OK;
  });
}

extern "C" ULONG AioMakeDraft(void* handle) {
  return withWritableFile(handle, [](DataFile& file) -> Status {
    file.storage().makeDraft();
    return AIO_OK;
  });
}

extern "C" ULONG AioClose2(void* handle, ULONG option) {
  return guarded([&]() -> Status {
    Status status = AIO_BADHANDLE;
    HandleTable::instance().take(handle, [&](DataFile& file) {
      status = guarded([&]() -> Status {
        if (option == AIO_CLOSE_NOFLUSH) return AIO_OK;
        if (option == AIO_CLOSE_DELETE && !file.isWritable()) return AIO_READONLY;
        if (option == AIO_CLOSE_DELETE) {
          file.storage().remove();
          return AIO_OK;
        }
        file.flush();  // also for an option that does not exist: the caller will not ask a second time
        return option == AIO_CLOSE_FLUSH ? AIO_OK : AIO_BADARG;
      });
    });
    return status;
  });
}

extern "C" ULONG AioGetState(void* handle, ULONGLONG* state) {
  return withFile(handle, [&](DataFile& file) -> Status {
    if (state == nullptr) return AIO_BADARG;
    *state = file.storage().glance();
    return AIO_OK;
  });
}

extern "C" ULONG AioFollow(void* handle) {
  return withFile(handle, [](DataFile& file) -> Status {
    file.follow();
    return AIO_OK;
  });
}

struct AioReservation {
  Reservation reservation;
};

extern "C" ULONG AioReserve(const char* path, AioReservation_T** reservation) {
  if (reservation == nullptr) return AIO_BADARG;
  *reservation = nullptr;
  if (path == nullptr || *path == '\0') return AIO_BADARG;
  return guarded([&]() -> Status {
    *reservation = new AioReservation{Reservation(path)};
    return AIO_OK;
  });
}

extern "C" const char* AioReservedName(const AioReservation_T* reservation) {
  return reservation == nullptr ? nullptr : reservation->reservation.name().c_str();
}

extern "C" ULONG AioPublish(AioReservation_T* reservation, const char* draft, ULONG replace) {
  if (reservation == nullptr || draft == nullptr) return AIO_BADARG;
  return guarded([&]() -> Status {
    reservation->reservation.publish(draft, replace != 0);
    return AIO_OK;
  });
}

extern "C" void AioRelease(AioReservation_T* reservation) {
  delete reservation;
}
