#include "fault_vfs.h"

#include <unistd.h>

#include <cstring>
#include <map>
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

/// The methods of a file with ours in front of some of them.
struct Methods {
  sqlite3_io_methods ours;
  const sqlite3_io_methods* real;
};

const sqlite3_io_methods* realOf(const sqlite3_file* file) {
  return reinterpret_cast<const Methods*>(file->pMethods)->real;
}

int readFile(sqlite3_file* file, void* to, int n, sqlite3_int64 at) {
  const int code = enter(Op::Read);
  if (code != SQLITE_OK) std::memset(to, 0, static_cast<std::size_t>(n));
  return code != SQLITE_OK ? code : realOf(file)->xRead(file, to, n, at);
}

int writeFile(sqlite3_file* file, const void* from, int n, sqlite3_int64 at) {
  const int code = enter(Op::Write);
  if (code == SQLITE_OK) return realOf(file)->xWrite(file, from, n, at);
  if (state.fault->torn) realOf(file)->xWrite(file, from, n / 2, at);
  return code;
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
  const int code = enter(Op::Truncate);
  return code != SQLITE_OK ? code : realOf(file)->xTruncate(file, size);
}

int syncFile(sqlite3_file*, int) {
  return enter(Op::Sync);
}

int fileSize(sqlite3_file* file, sqlite3_int64* size) {
  const int code = enter(Op::FileSize);
  return code != SQLITE_OK ? code : realOf(file)->xFileSize(file, size);
}

int lockFile(sqlite3_file* file, int level) {
  const int code = enter(Op::Lock);
  return code != SQLITE_OK ? code : realOf(file)->xLock(file, level);
}

const sqlite3_io_methods* methodsOver(const sqlite3_io_methods* real) {
  static std::map<const sqlite3_io_methods*, Methods> all;
  Methods& methods = all.try_emplace(real, Methods{*real, real}).first->second;
  methods.ours.iVersion = 1;  // no shared memory, no mapped pages
  methods.ours.xRead = readFile;
  methods.ours.xWrite = writeFile;
  methods.ours.xTruncate = truncateFile;
  methods.ours.xSync = syncFile;
  methods.ours.xFileSize = fileSize;
  methods.ours.xLock = lockFile;
  return &methods.ours;
}

int openFile(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out_flags) {
  file->pMethods = nullptr;
  const int code = enter(Op::Open);
  if (code != SQLITE_OK) return code;
  const int result = state.real->xOpen(state.real, name, file, flags, out_flags);
  if (file->pMethods != nullptr) file->pMethods = methodsOver(file->pMethods);
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
