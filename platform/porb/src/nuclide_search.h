#pragma once
#include "get_put.h"
#include "table.h"

/// Search in the nuclide library (class 0x2007). Records are looked at from `start` (0 means 1) to the last.
namespace porb {

/// Without regard to case, blanks and hyphens. @return AIO_OK and the record; AIO_NOTFOUND
Status findByName(const Table& library, const char* name, std::size_t start, USHORT& record);
/// The first line whose energy differs by no more than the tolerance.
/// @return AIO_OK and the record; AIO_NOTFOUND; AIO_BADARG for a key that is no number or has a negative
/// tolerance
Status findByEnergy(const Table& library, const OjEnergy_T& key, std::size_t start, USHORT& record);

}  // namespace porb
