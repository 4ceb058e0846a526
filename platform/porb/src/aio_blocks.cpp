#include <algorithm>

#include "aioproto.h"
#include "guard.h"

using namespace porb;

namespace {

struct LevelOfClass {
  ULONG level;
  USHORT cls;
};
constexpr LevelOfClass kLevels[] = {
    {AIO_LEVEL_PEAKS, ORB_CLS_PEAKS}, {AIO_LEVEL_NUCLIDES, ORB_CLS_NUCRESULTS}, {AIO_LEVEL_LIMITS, ORB_CLS_LIMITS}};

}  // namespace

extern "C" ULONG AioCreateBlock(void* handle, USHORT cls, ULONG size) {
  return withWritableFile(handle, [&](DataFile& file) -> Status {
    if (cls == ORB_CLS_SPECTRUM) return AIO_NOTPLAINBLOCK;
    if (!file.dictionary().hasClass(cls)) return AIO_UNKNOWNCLASS;
    if (file.hasBlock(cls)) return AIO_BLOCKEXISTS;
    file.add({cls, size, Table()});
    return AIO_OK;
  });
}

extern "C" ULONG AioCreatePHA(void* handle, ULONG groups, ULONG channels, ULONG rows) {
  return withWritableFile(handle, [&](DataFile& file) -> Status {
    const SpectralShape shape{std::max<ULONG>(groups, 1), std::max<ULONG>(rows, 1), channels};
    const Status status = checkShape(shape);
    if (status != AIO_OK) return status;
    if (file.hasBlock(ORB_CLS_SPECTRUM)) return AIO_BLOCKEXISTS;
    file.add({ORB_CLS_SPECTRUM, channels, Spectra(shape)});
    return AIO_OK;
  });
}

extern "C" ULONG AioDeleteBlock(void* handle, USHORT cls) {
  return withWritableFile(handle, [&](DataFile& file) -> Status {
    if (!file.hasBlock(cls)) return AIO_NOBLOCK;
    file.remove(cls);
    return AIO_OK;
  });
}

extern "C" ULONG AioDeleteLevel(void* handle, ULONG level) {
  return withWritableFile(handle, [&](DataFile& file) -> Status {
    const bool known = std::any_of(std::begin(kLevels), std::end(kLevels),
                                   [&](const LevelOfClass& entry) { return entry.level == level; });
    if (!known) return AIO_BADLEVEL;
    file.reserveRemovals(std::size(kLevels));
    for (const LevelOfClass& entry : kLevels)
      if (entry.level >= level && file.hasBlock(entry.cls)) file.remove(entry.cls);
    return AIO_OK;
  });
}

extern "C" ULONG AioInsertRecord(void* handle, USHORT cls, USHORT record) {
  return withWritableTable(handle, cls, [&](Table& table) { return table.insertRecord(record); });
}

extern "C" ULONG AioInsertEntry(void* handle, USHORT cls, USHORT record, USHORT entry) {
  return withWritableTable(handle, cls, [&](Table& table) { return table.insertEntry(record, entry); });
}

extern "C" ULONG AioDelete(void* handle, USHORT cls, USHORT record, USHORT entry) {
  return withWritableTable(handle, cls, [&](Table& table) {
    return entry == 0 ? table.deleteRecord(record) : table.deleteEntry(record, entry);
  });
}

extern "C" ULONG AioCount(void* handle, USHORT cls, USHORT record, ULONG, USHORT* count) {
  if (count != nullptr) *count = 0;
  return withFile(handle, [&](DataFile& file) -> Status {
    if (count == nullptr) return AIO_BADARG;
    Table* table = nullptr;
    const Status status = file.table(cls, table);
    if (status != AIO_OK) return status;
    if (record > table->recordCount()) return AIO_BADRECORD;
    *count = static_cast<USHORT>(record == 0 ? table->recordCount() : table->record(record)->entryCount());
    return AIO_OK;
  });
}
