#include <memory>
#include <optional>

#include "aioproto.h"
#include "guard.h"

using namespace porb;

struct AioKeptBlock {
  USHORT cls = 0;
  std::optional<Block> block;  // nothing: the file had none
};

extern "C" ULONG AioCopy(void* source, void* destination, USHORT cls) {
  return withFiles(source, destination, [&](DataFile& from, DataFile& to) -> Status {
    if (!to.hasBlock(cls)) return AIO_NOBLOCK;
    const Block* block = from.block(cls);
    if (block == nullptr) return AIO_NOBLOCK;
    if (&from != &to) to.replace(block->clone());
    return AIO_OK;
  });
}

extern "C" ULONG AioDupFile(void* source, void* destination) {
  return withFiles(source, destination, [&](DataFile& from, DataFile& to) -> Status {
    if (&from == &to) return AIO_OK;
    const DataFile::Snapshot snapshot(from);
    std::vector<Block> copies;
    for (const std::uint16_t cls : from.classes()) copies.push_back(from.block(cls)->clone());
    to.replaceAll(std::move(copies));
    return AIO_OK;
  });
}

extern "C" ULONG AioMoveRecord(USHORT cls, void* source, USHORT source_record, void* destination,
                               USHORT destination_record) {
  return withFiles(source, destination, [&](DataFile& from, DataFile& to) -> Status {
    Table* source_table = nullptr;
    Table* target_table = nullptr;
    Status status = from.table(cls, source_table);
    if (status == AIO_OK) status = to.table(cls, target_table);
    if (status != AIO_OK) return status;
    const Record* record = source_record != 0 ? source_table->record(source_record) : nullptr;
    if (record == nullptr) return AIO_BADRECORD;
    return target_table->assignRecord(destination_record, record->clone());
  });
}

extern "C" ULONG AioKeepBlock(void* handle, USHORT cls, AioKeptBlock_T** kept) {
  if (kept != nullptr) *kept = nullptr;
  return withFile(handle, [&](DataFile& file) -> Status {
    if (kept == nullptr) return AIO_BADARG;
    auto copy = std::make_unique<AioKeptBlock_T>();
    copy->cls = cls;
    if (const Block* block = file.block(cls)) copy->block.emplace(block->clone());
    *kept = copy.release();
    return AIO_OK;
  });
}

extern "C" ULONG AioRestoreBlock(void* handle, const AioKeptBlock_T* kept) {
  return withWritableFile(handle, [&](DataFile& file) -> Status {
    if (kept == nullptr) return AIO_BADARG;
    if (file.hasBlock(kept->cls)) {
      if (kept->block)
        file.replace(kept->block->clone());
      else
        file.remove(kept->cls);
    } else if (kept->block) {
      file.add(kept->block->clone());
    }
    return AIO_OK;
  });
}

extern "C" void AioFreeKeptBlock(AioKeptBlock_T* kept) {
  delete kept;
}
