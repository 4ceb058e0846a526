#include <cmath>

#include "get_put.h"
#include "guard.h"
#include "nuclide_search.h"
#include "number_types.h"
#include "value_codec.h"

using namespace porb;

namespace {

/// Where a value lives: header values ignore record and entry, record values ignore the entry.
struct Place {
  std::size_t record;
  std::size_t entry;
};

Place placeOf(const Parameter& parameter, USHORT record, USHORT entry) noexcept {
  return {parameter.level == AIO_IN_HEADER ? std::size_t{0} : record,
          parameter.level == AIO_IN_ENTRY ? std::size_t{entry} : 0};
}

const Cell* findCell(const Table& table, const Place& place, std::uint16_t param) noexcept {
  const Record* record = table.record(place.record);
  const CellRow* row = record != nullptr ? record->entry(place.entry) : nullptr;
  return row != nullptr ? row->find(param) : nullptr;
}

/// Null when the value was never written.
const Cell* findCell(DataFile& file, const Parameter& parameter, USHORT record, USHORT entry) {
  Block* block = file.block(parameter.cls());
  const Table* table = block != nullptr ? block->table() : nullptr;
  return table != nullptr ? findCell(*table, placeOf(parameter, record, entry), parameter.param()) : nullptr;
}

Status getValue(DataFile& file, ULONG code, USHORT record, USHORT entry, void* buffer, USHORT* size) {
  const Parameter* parameter = file.dictionary().find(code);
  if (parameter == nullptr) return AIO_UNKNOWNPARAM;
  const Cell* cell = findCell(file, *parameter, record, entry);
  return cell != nullptr ? readCell(*cell, *parameter, buffer, size) : Status{AIO_NOVALUE};
}

/// @return how the value was read; AIO_NOVALUE when there is none, or none that is a number
Status getNumber(DataFile& file, ULONG code, USHORT record, USHORT entry, double& number) {
  const Parameter* parameter = file.dictionary().find(code);
  if (parameter == nullptr) return AIO_UNKNOWNPARAM;
  const Cell* cell = findCell(file, *parameter, record, entry);
  if (cell == nullptr) return AIO_NOVALUE;
  Status status = AIO_NOVALUE;
  withNumberType(parameter->return_type, [&](auto raw) {
    USHORT size = sizeof raw;
    status = readCell(*cell, *parameter, &raw, &size);
    if (status == AIO_OK) number = static_cast<double>(raw);
  });
  return status;
}

Status putValue(DataFile& file, ULONG code, USHORT record, USHORT entry, const void* buffer, USHORT size) {
  const Parameter* parameter = file.dictionary().find(code);
  if (parameter == nullptr) return AIO_UNKNOWNPARAM;
  if (parameter->cls() == ORB_CLS_SPECTRUM) return AIO_NOTPLAINBLOCK;
  CellOrStatus value = makeCell(*parameter, buffer, size);
  if (value.status != AIO_OK) return value.status;
  const Place place = placeOf(*parameter, record, entry);
  if (Block* block = file.block(parameter->cls())) {
    Table& table = *block->table();
    const Cell* old = findCell(table, place, parameter->param());
    if (old != nullptr && old->type() != parameter->storage_type) return AIO_TYPEMISMATCH;
    return table.put(place.record, place.entry, std::move(value.cell));
  }
  Table table;
  const Status status = table.put(place.record, place.entry, std::move(value.cell));
  if (status == AIO_OK) file.add({parameter->cls(), 0, std::move(table)});
  return status;
}

}  // namespace

extern "C" ULONG AioGetParam(void* handle, ULONG code, USHORT record, USHORT entry, void* buffer, USHORT* size) {
  return withFile(handle, [&](DataFile& file) -> Status {
    if (buffer == nullptr || size == nullptr) return AIO_BADARG;
    return getValue(file, code, record, entry, buffer, size);
  });
}

extern "C" ULONG AioGetNumbers(void* handle, ULONG code, USHORT record, USHORT entry, ULONG count, DOUBLE* values,
                               ULONG* found) {
  return withFile(handle, [&](DataFile& file) -> Status {
    if (values == nullptr && count != 0) return AIO_BADARG;
    ULONG n_found = 0;
    Status status = AIO_OK;
    for (ULONG i = 0; i < count && status == AIO_OK; ++i) {
      status = getNumber(file, code + i, record, entry, values[i]);
      if (status == AIO_OK) ++n_found;
      if (status == AIO_NOVALUE) status = AIO_OK;
    }
    if (found != nullptr) *found = n_found;
    return status;
  });
}

extern "C" ULONG AioPutParam(void* handle, ULONG code, USHORT record, USHORT entry, const void* buffer,
                             const USHORT* size) {
  return withWritableFile(handle, [&](DataFile& file) -> Status {
    if (size == nullptr || (buffer == nullptr && *size != 0)) return AIO_BADARG;
    return putValue(file, code, record, entry, buffer, *size);
  });
}

extern "C" ULONG AioFindRecord(void* handle, USHORT cls, ULONG kind, const void* key, USHORT* record, USHORT start) {
  if (record != nullptr) *record = 0;
  return withFile(handle, [&](DataFile& file) -> Status {
    if (record == nullptr || key == nullptr || cls != ORB_CLS_NUCLIB) return AIO_BADARG;
    Table* table = nullptr;
    const Status status = file.table(cls, table);
    if (status != AIO_OK) return status;
    if (start > 1 && start > table->recordCount()) return AIO_BADRECORD;
    switch (kind) {
      case AIO_FIND_NAME:
        return findByName(*table, static_cast<const char*>(key), start, *record);
      case AIO_FIND_ENERGY:
        return findByEnergy(*table, *static_cast<const OjEnergy_T*>(key), start, *record);
      default:
        return AIO_BADARG;
    }
  });
}
