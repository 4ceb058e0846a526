#include "fault_vfs.h"

#include <unistd.h>

#include <cstring>
#include <new>
#include <optional>

namespace faults {
namespace {

struct State {
  sqlite3_vfs* real = nullptr;
  sqlite3_vfs own{};
  std::optional<Fault> fault;
  int countdown = 0;
  bool hit = false;
} state;

/// Counts an operation. @return the code it must answer, or SQLITE_OK to let it pass
int enter(Op op) {
  if (!state.fault || state.fault->op != op || (state.countdown <= 0 && !state.fault->onwards)) return SQLITE_OK;
  if (--state.countdown > 0) return SQLITE_OK;
  if (state.fault->kills) _exit(0);
  state.hit = true;
  return state.fault->code;
}

struct Layer {
  sqlite3_file base;
  sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

sqlite3_file* realOf(sqlite3_file* file) {
  return reinterpret_cast<Layer*>(file)->real();
}

int closeFile(sqlite3_file* file) {
  return realOf(file)->pMethods->xClose(realOf(file));
}

int readFile(sqlite3_file* file, void* to, int n, sqlite3_int64 at) {
  const int code = enter(Op::Read);
  if (code != SQLITE_OK) std::memset(to, 0, static_cast<std::size_t>(n));
  return code != SQLITE_OK ? code : realOf(file)->pMethods->xRead(realOf(file), to, n, at);
}

int writeFile(sqlite3_file* file, const void* from, int n, sqlite3_int64 at) {
  const int code = enter(Op::Write);
  if (code != SQLITE_OK) {
    if (state.fault->torn) realOf(file)->pMethods->xWrite(realOf(file), from, n / 2, at);
    return code;
  }
  return realOf(file)->pMethods->xWrite(realOf(file), from, n, at);
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
  const int code = enter(Op::Truncate);
  return code != SQLITE_OK ? code : realOf(file)->pMethods->xTruncate(realOf(file), size);
}

int syncFile(sqlite3_file*, int) {
  return enter(Op::Sync);
}

int fileSize(sqlite3_file* file, sqlite3_int64* size) {
  const int code = enter(Op::FileSize);
  return code != SQLITE_OK ? code : realOf(file)->pMethods->xFileSize(realOf(file), size);
}

int lockFile(sqlite3_file* file, int level) {
  const int code = enter(Op::Lock);
  return code != SQLITE_OK ? code : realOf(file)->pMethods->xLock(realOf(file), level);
}

int unlockFile(sqlite3_file* file, int level) {
  return realOf(file)->pMethods->xUnlock(realOf(file), level);
}

int checkReservedLock(sqlite3_file* file, int* result) {
  return realOf(file)->pMethods->xCheckReservedLock(realOf(file), result);
}

int controlFile(sqlite3_file* file, int op, void* argument) {
  return realOf(file)->pMethods->xFileControl(realOf(file), op, argument);
}

int sectorSize(sqlite3_file* file) {
  return realOf(file)->pMethods->xSectorSize(realOf(file));
}

int deviceCharacteristics(sqlite3_file* file) {
  return realOf(file)->pMethods->xDeviceCharacteristics(realOf(file));
}

const sqlite3_io_methods kMethods = {
    1,          closeFile,         readFile,    writeFile,  truncateFile,          syncFile, fileSize, lockFile,
    unlockFile, checkReservedLock, controlFile, sectorSize, deviceCharacteristics, nullptr,  nullptr,  nullptr,
    nullptr,    nullptr,           nullptr};

int openFile(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out_flags) {
  Layer* layer = new (file) Layer{{nullptr}};
  const int code = enter(Op::Open);
  if (code != SQLITE_OK) return code;
  const int result = state.real->xOpen(state.real, name, layer->real(), flags, out_flags);
  if (layer->real()->pMethods != nullptr) layer->base.pMethods = &kMethods;
  return result;
}

int deleteFile(sqlite3_vfs*, const char* name, int) {
  const int code = enter(Op::Delete);
  return code != SQLITE_OK ? code : state.real->xDelete(state.real, name, 0);
}

int accessFile(sqlite3_vfs*, const char* name, int flags, int* result) {
  const int code = enter(Op::Access);
  return code != SQLITE_OK ? code : state.real->xAccess(state.real, name, flags, result);
}

}  // namespace

void installFaultVfs() {
  if (state.real != nullptr) return;
  state.real = sqlite3_vfs_find(nullptr);
  state.own = *state.real;
  state.own.zName = "faults";
  state.own.pNext = nullptr;
  state.own.szOsFile = state.real->szOsFile + static_cast<int>(sizeof(Layer));
  state.own.xOpen = openFile;
  state.own.xDelete = deleteFile;
  state.own.xAccess = accessFile;
  sqlite3_vfs_register(&state.own, 1);
}

void arm(const Fault& fault) {
  state.fault = fault;
  state.countdown = fault.at;
  state.hit = false;
}

bool disarm() {
  state.fault.reset();
  return state.hit;
}

}  // namespace faults
