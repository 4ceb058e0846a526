#include "fault_vfs.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <random>

#include "fault_support.h"

namespace faults {
namespace {

constexpr std::size_t kSector = 512;
constexpr int kImagesPerPoint = 3;

std::string baseName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

// ---- Power loss -------------------------------------------------------------------------------------------

struct Change {
  std::size_t offset;
  std::string bytes;  // not used by a truncation
  bool truncates = false;
};

void apply(const Change& change, std::string& content) {
  if (change.truncates) {
    content.resize(change.offset);
    return;
  }
  content.resize(std::max(content.size(), change.offset + change.bytes.size()));
  content.replace(change.offset, change.bytes.size(), change.bytes);
}

struct ModelFile {
  std::string durable;
  std::vector<Change> pending;
  bool is_sure = false;     // its name is on the disk
  bool is_deleted = false;  // but that may not have reached the disk

  void sync() {
    for (const Change& change : pending) apply(change, durable);
    pending.clear();
    is_sure = true;
  }
};

class PowerModel {
 public:
  explicit PowerModel(const std::string& path) : prefix_(path) {
    ModelFile& file = files_[path];
    file.durable = readBytes(path);
    file.is_sure = true;
  }

  /// Null for files that are not followed.
  ModelFile* find(const char* name) {
    if (name == nullptr || std::string(name).rfind(prefix_, 0) != 0) return nullptr;
    ModelFile& file = files_[name];
    if (file.is_deleted) file = ModelFile{};
    return &file;
  }
  void remove(const char* name, bool synced) {
    const auto at = files_.find(name);
    if (at == files_.end()) return;
    if (synced || !at->second.is_sure)
      files_.erase(at);
    else
      at->second.is_deleted = true;
  }
  void snapshot(std::vector<DiskImage>& images) {
    for (int i = 0; i < kImagesPerPoint; ++i) images.push_back(image(i));
  }
  std::vector<DiskImage> before_each;

 private:
  bool maybe() { return (random_() & 1) != 0; }

  /// @param which  0: nothing that was not synced reached the disk, otherwise any part of it
  DiskImage image(int which) {
    DiskImage disk;
    for (const auto& [name, file] : files_) {
      if (file.is_deleted ? which != 0 && maybe() : !file.is_sure && (which == 0 || maybe())) continue;
      std::string content = file.durable;
      if (which != 0)
        for (const Change& change : file.pending) applyPart(change, content);
      disk[baseName(name)] = content;
    }
    return disk;
  }

  void applyPart(const Change& change, std::string& content) {
    if (change.truncates && maybe()) apply(change, content);
    for (std::size_t at = 0; at < change.bytes.size(); at += kSector)
      if (maybe()) apply({change.offset + at, change.bytes.substr(at, kSector)}, content);
  }

  std::string prefix_;
  std::map<std::string, ModelFile> files_;
  std::mt19937 random_{20240501};
};

// ---- The layer --------------------------------------------------------------------------------------------

struct State {
  sqlite3_vfs* real = nullptr;
  sqlite3_vfs own{};
  std::optional<Fault> fault;
  int countdown = 0;
  bool hit = false;
  std::optional<PowerModel> power;
} state;

/// Counts an operation. @return the code it must answer, or SQLITE_OK to let it pass
int enter(Op op) {
  if (!state.fault || state.fault->op != op || (state.countdown <= 0 && !state.fault->onwards)) return SQLITE_OK;
  if (--state.countdown > 0) return SQLITE_OK;
  state.hit = true;
  return state.fault->code;
}

struct Layer {
  sqlite3_file base;
  const char* name;
  sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

Layer* layerOf(sqlite3_file* file) {
  return reinterpret_cast<Layer*>(file);
}
sqlite3_file* realOf(sqlite3_file* file) {
  return layerOf(file)->real();
}

/// The model of a file that is about to change; null when there is none.
ModelFile* modelBeforeChange(sqlite3_file* file) {
  if (!state.power) return nullptr;
  ModelFile* model = state.power->find(layerOf(file)->name);
  if (model != nullptr) state.power->snapshot(state.power->before_each);
  return model;
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
  if (ModelFile* model = modelBeforeChange(file))
    model->pending.push_back(
        {static_cast<std::size_t>(at), {static_cast<const char*>(from), static_cast<std::size_t>(n)}});
  return realOf(file)->pMethods->xWrite(realOf(file), from, n, at);
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
  const int code = enter(Op::Truncate);
  if (code != SQLITE_OK) return code;
  if (ModelFile* model = modelBeforeChange(file)) model->pending.push_back({static_cast<std::size_t>(size), {}, true});
  return realOf(file)->pMethods->xTruncate(realOf(file), size);
}

int syncFile(sqlite3_file* file, int) {
  const int code = enter(Op::Sync);
  if (code != SQLITE_OK) return code;
  if (ModelFile* model = modelBeforeChange(file)) model->sync();
  return SQLITE_OK;
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
  Layer* layer = new (file) Layer{{nullptr}, name};
  const int code = enter(Op::Open);
  if (code != SQLITE_OK) return code;
  const int result = state.real->xOpen(state.real, name, layer->real(), flags, out_flags);
  if (layer->real()->pMethods != nullptr) layer->base.pMethods = &kMethods;
  if (state.power && result == SQLITE_OK) state.power->find(name);
  return result;
}

int deleteFile(sqlite3_vfs*, const char* name, int sync_dir) {
  const int code = enter(Op::Delete);
  if (code != SQLITE_OK) return code;
  if (state.power) {
    state.power->snapshot(state.power->before_each);
    state.power->remove(name, sync_dir != 0);
  }
  return state.real->xDelete(state.real, name, 0);
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

void startPowerModel(const std::string& path) {
  state.power.emplace(path);
}

std::vector<DiskImage> stopPowerModel(std::vector<DiskImage>& at_the_end) {
  std::vector<DiskImage> images = std::move(state.power->before_each);
  state.power->snapshot(at_the_end);
  state.power.reset();
  return images;
}

}  // namespace faults
