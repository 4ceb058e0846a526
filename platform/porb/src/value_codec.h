#pragma once
#include "cell.h"
#include "dictionary.h"
#include "status.h"

/// Between value buffers (return type of the parameter) and cells (storage type).
namespace porb {

/// Writes a cell's value into a buffer of *size bytes and sets *size to the bytes written.
/// @return AIO_OK; AIO_TYPEMISMATCH; AIO_BADSIZE; AIO_OUTOFRANGE (does not fit a narrower return type)
Status readCell(const Cell& cell, const Parameter& parameter, void* buffer, USHORT* size) noexcept;

/// Reads a value buffer. The outcome is either a cell or a status.
/// @throws std::bad_alloc
struct CellOrStatus {
  Cell cell;
  Status status;
};
CellOrStatus makeCell(const Parameter& parameter, const void* buffer, USHORT size);

}  // namespace porb
