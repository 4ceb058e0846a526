#include <algorithm>
#include <cstring>

#include "aioproto.h"
#include "guard.h"

using namespace porb;

namespace {

/// Copies a text into a caller's buffer of `capacity` characters, cut if need be, always NUL-terminated.
void copyText(std::string_view text, char* out, std::size_t capacity) noexcept {
  if (capacity == 0) return;
  const std::size_t n = std::min(text.size(), capacity - 1);
  std::memcpy(out, text.data(), n);
  out[n] = '\0';
}

}  // namespace

extern "C" ULONG AioListBlocks(void* handle, AioBlockInfo_T* blocks, ULONG capacity, ULONG* count) {
  return withFile(handle, [&](DataFile& file) -> Status {
    if (count == nullptr || (blocks == nullptr && capacity != 0)) return AIO_BADARG;
    const DataFile::Snapshot snapshot(file);
    std::vector<AioBlockInfo_T> found;
    for (const std::uint16_t cls : file.classes()) {
      std::uint32_t records = 0;
      const BlockHeader header = file.describe(cls, records);
      found.push_back({cls, static_cast<USHORT>(records), header.size, header.shape.groups, header.shape.rows,
                       header.shape.channels});
    }
    std::copy_n(found.begin(), std::min<std::size_t>(capacity, found.size()), blocks);
    *count = static_cast<ULONG>(found.size());
    return AIO_OK;
  });
}

extern "C" ULONG AioListValues(void* handle, USHORT cls, USHORT record, AioValueInfo_T* values, ULONG capacity,
                               ULONG* count) {
  return withFile(handle, [&](DataFile& file) -> Status {
    if (count == nullptr || (values == nullptr && capacity != 0)) return AIO_BADARG;
    Block* block = file.block(cls);
    if (block == nullptr) return AIO_NOBLOCK;
    const Table* table = block->table();
    if (table == nullptr) {
      *count = 0;
      return AIO_OK;
    }
    const Record* found = table->record(record);
    if (found == nullptr) return AIO_BADRECORD;
    ULONG n = 0;
    found->forEachRow([&](std::size_t entry, const CellRow& row) {
      for (const Cell& cell : row.cells()) {
        if (n < capacity)
          values[n] = {static_cast<ULONG>(cls) << 16 | cell.param(), static_cast<USHORT>(entry), cell.size(),
                       cell.type()};
        ++n;
      }
    });
    *count = n;
    return AIO_OK;
  });
}

extern "C" ULONG AioCheck(void* handle, AioCheckReport_T report, void* context) {
  return withFile(handle, [&](DataFile& file) -> Status {
    return file.storage().check(file.dictionary(), [&](std::uint16_t cls, Status status, const std::string& text) {
      if (report != nullptr) report(context, cls, status, text.c_str());
    });
  });
}

extern "C" ULONG AioFileInfo(void* handle, char* path, ULONG capacity, FLAG* writable) {
  return withFile(handle, [&](DataFile& file) -> Status {
    if (path == nullptr && capacity != 0) return AIO_BADARG;
    copyText(file.path(), path, capacity);
    if (writable != nullptr) *writable = file.isWritable() ? 1 : 0;
    return AIO_OK;
  });
}
