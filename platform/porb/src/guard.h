#pragma once
#include <exception>
#include <new>

#include "handle_table.h"
#include "status.h"

/// The C border: no exception passes it. Every exported operation is one call of these.
namespace porb {

/// Runs an operation and turns what it throws into a status.
template <typename Operation>
Status guarded(Operation&& operation) noexcept {
  try {
    return operation();
  } catch (const Failure& failure) {
    return failure.status();
  } catch (const std::bad_alloc&) {
    return AIO_NOMEMORY;
  } catch (...) {
    return AIO_INTERNAL;
  }
}

/// Runs operation(file) with the file of a handle.
template <typename Operation>
Status withFile(const void* handle, Operation&& operation) noexcept {
  return guarded([&]() -> Status {
    const HandleTable::Pin pin = HandleTable::instance().pin(handle);
    return pin.file() != nullptr ? operation(*pin.file()) : Status{AIO_BADHANDLE};
  });
}

/// As withFile, for operations that change the file.
template <typename Operation>
Status withWritableFile(const void* handle, Operation&& operation) noexcept {
  return withFile(handle,
                  [&](DataFile& file) -> Status { return file.isWritable() ? operation(file) : Status{AIO_READONLY}; });
}

/// Runs operation(source, destination) for operations that change the destination; both may be one file.
template <typename Operation>
Status withFiles(const void* source, const void* destination, Operation&& operation) noexcept {
  return guarded([&]() -> Status {
    const HandleTable::PinPair pair = HandleTable::instance().pin(source, destination);
    if (pair.first.file() == nullptr || pair.second.file() == nullptr) return AIO_BADHANDLE;
    if (!pair.second.file()->isWritable()) return AIO_READONLY;
    return operation(*pair.first.file(), *pair.second.file());
  });
}

/// Runs operation(table) with the table of a block, for operations that change it.
template <typename Operation>
Status withWritableTable(const void* handle, USHORT cls, Operation&& operation) noexcept {
  return withWritableFile(handle, [&](DataFile& file) -> Status {
    Table* table = nullptr;
    const Status status = file.table(cls, table);
    return status == AIO_OK ? operation(*table) : status;
  });
}

}  // namespace porb
