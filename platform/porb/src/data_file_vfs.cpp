#include "data_file_vfs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "file_header.h"
#include "journal.h"
#include "status.h"

namespace porb {
namespace {

constexpr std::string_view kJournalSuffix = "-journal";
constexpr std::string_view kLogSuffix = "-wal";

bool endsWith(const char* name, std::string_view suffix) noexcept {
  return name != nullptr && std::string_view(name).ends_with(suffix);
}

/// The layer below: what is the process's default when a file is opened.
sqlite3_vfs* systemVfs() noexcept {
  return sqlite3_vfs_find(nullptr);
}

/// A file of the layer below.
class SystemFile {
 public:
  SystemFile() = default;
  ~SystemFile() {
    close();
    sqlite3_free(file_);
  }
  SystemFile(const SystemFile&) = delete;
  SystemFile& operator=(const SystemFile&) = delete;

  int open(const char* name, int flags, int* opened_flags) noexcept {
    sqlite3_vfs* const vfs = systemVfs();
    if (file_ == nullptr) file_ = static_cast<sqlite3_file*>(sqlite3_malloc(vfs->szOsFile));
    if (file_ == nullptr) return SQLITE_IOERR_NOMEM;
    std::memset(file_, 0, static_cast<std::size_t>(vfs->szOsFile));
    return vfs->xOpen(vfs, name, file_, flags, opened_flags);
  }
  int close() noexcept {
    if (file_ == nullptr || file_->pMethods == nullptr) return SQLITE_OK;
    const int result = file_->pMethods->xClose(file_);
    file_->pMethods = nullptr;
    return result;
  }
  sqlite3_file* get() const noexcept { return file_; }
  const sqlite3_io_methods& operator*() const noexcept { return *file_->pMethods; }
  const sqlite3_io_methods* operator->() const noexcept { return file_->pMethods; }

 private:
  sqlite3_file* file_ = nullptr;
};

/// A file as the engine has it open: the data file or, for a writer, its journal.
class OpenFile {
 public:
  virtual ~OpenFile() = default;
  virtual int read(void* to, int n, sqlite3_int64 at) noexcept { return system->xRead(system.get(), to, n, at); }
  virtual int size(sqlite3_int64* bytes) noexcept { return system->xFileSize(system.get(), bytes); }
  virtual int lock(int level) noexcept { return system->xLock(system.get(), level); }
  virtual int unlock(int level) noexcept { return system->xUnlock(system.get(), level); }

  SystemFile system;
};

/// Runs what may throw, inside a callback of the engine.
template <typename Operation>
int resultOf(Operation&& operation) noexcept {
  try {
    return operation();
  } catch (const Failure& failure) {
    switch (failure.status()) {
      case AIO_BADJOURNAL:
        return kBadJournal;
      case AIO_NOACCESS:
        return kNoAccessToJournal;
      default:
        return SQLITE_IOERR_READ;
    }
  } catch (...) {
    return SQLITE_IOERR_NOMEM;
  }
}

/// The data file itself.
class DataFileIo : public OpenFile {
 public:
  explicit DataFileIo(const char* name) : journal_name_(std::string(name).append(kJournalSuffix)) {}

  int counter(std::uint32_t& number) noexcept {
    unsigned char bytes[4] = {};
    const int result = system->xRead(system.get(), bytes, sizeof bytes, FileHeader::kChangeCounterAt);
    number = bigEndian(bytes);
    return result == SQLITE_IOERR_SHORT_READ ? SQLITE_OK : result;
  }

 protected:
  /// Whether anything has the journal's name.
  bool hasJournal() const noexcept {
    struct stat state {};
    return lstat(journal_name_.c_str(), &state) == 0 || errno != ENOENT;
  }

  /// The journal, proved against the file as it is. @throws Failure
  Journal readOwnJournal(const JournalFile& journal) {
    FileHeader header;
    sqlite3_int64 bytes = 0;
    int result = system->xFileSize(system.get(), &bytes);
    if (result == SQLITE_OK)
      result = system->xRead(system.get(), header.bytes.data(), static_cast<int>(header.bytes.size()), 0);
    if (result != SQLITE_OK && result != SQLITE_IOERR_SHORT_READ) throw Failure(AIO_IOERROR);
    if (!header.hasMagic() || !header.isOurs()) throw Failure(AIO_BADJOURNAL);
    return readJournal(journal, header.pageBytes(), static_cast<std::uint64_t>(bytes));
  }

  /// Takes back a lock that was granted when what is then found speaks against it.
  int locked(int result, int former_level) noexcept {
    if (result != SQLITE_OK) system->xUnlock(system.get(), former_level);
    return result;
  }

  /// Whether somebody who lives is in a transaction; the journal is theirs then.
  int isInTransaction(bool& is) noexcept {
    int reserved = 0;
    const int result = system->xCheckReservedLock(system.get(), &reserved);
    is = reserved != 0;
    return result;
  }

  const std::string journal_name_;
};

/// A reader's: it sees the file as the last whole transaction left it.
class ReadersFile final : public DataFileIo {
 public:
  using DataFileIo::DataFileIo;

  int lock(int level) noexcept override {
    if (level != SQLITE_LOCK_SHARED) return SQLITE_READONLY;
    const int result = system->xLock(system.get(), level);
    return result == SQLITE_OK ? locked(resultOf([this] { return findJournal(); }), SQLITE_LOCK_NONE) : result;
  }
  int unlock(int level) noexcept override {
    if (level == SQLITE_LOCK_NONE) view_.reset();
    return system->xUnlock(system.get(), level);
  }
  int size(sqlite3_int64* bytes) noexcept override {
    if (!view_) return OpenFile::size(bytes);
    *bytes = sqlite3_int64{view_->journal.pages} * view_->journal.page_bytes;
    return SQLITE_OK;
  }
  int read(void* to, int n, sqlite3_int64 at) noexcept override {
    const int result = OpenFile::read(to, n, at);
    if (!view_ || result != SQLITE_OK) return result;
    return resultOf([&] {
      view_->restore(static_cast<char*>(to), n, at);
      return SQLITE_OK;
    });
  }

 private:
  /// The file before a transaction that will be undone by the next writer.
  struct FormerState {
    explicit FormerState(const std::string& journal_name) : file(journal_name) {}

    /// Puts former content over what was read.
    void restore(char* to, int n, sqlite3_int64 at) const {
      const sqlite3_int64 end = at + n;
      const sqlite3_int64 page_bytes = journal.page_bytes;
      const auto first = static_cast<std::uint32_t>(at / page_bytes) + 1;
      for (auto page = journal.originals.lower_bound(first); page != journal.originals.end(); ++page) {
        const sqlite3_int64 page_begin = sqlite3_int64{page->first - 1} * page_bytes;
        if (page_begin >= end) break;
        const sqlite3_int64 begin = std::max(at, page_begin);
        const sqlite3_int64 stop = std::min(end, page_begin + page_bytes);
        file.read(page->second + static_cast<std::uint64_t>(begin - page_begin), to + (begin - at),
                  static_cast<std::size_t>(stop - begin));
      }
    }

    JournalFile file;
    Journal journal;
  };

  int findJournal() {
    if (!hasJournal()) return SQLITE_OK;
    bool is_alive = false;
    const int result = isInTransaction(is_alive);
    if (result != SQLITE_OK || is_alive) return result;
    auto state = std::make_unique<FormerState>(journal_name_);
    if (!state->file.isThere()) return SQLITE_OK;
    state->journal = readOwnJournal(state->file);
    if (state->journal.is_hot) view_ = std::move(state);
    return SQLITE_OK;
  }

  std::unique_ptr<FormerState> view_;
};

/// A writer's: it may undo what a dead writer left half done, and notices when somebody else has written.
class WritersFile final : public DataFileIo {
 public:
  using DataFileIo::DataFileIo;

  int lock(int level) noexcept override {
    const int former = level_;
    const int result = system->xLock(system.get(), level);
    if (result != SQLITE_OK) return result;
    level_ = level;
    int found = SQLITE_OK;
    if (former == SQLITE_LOCK_NONE) found = resultOf([this] { return proveJournal(); });
    if (former < SQLITE_LOCK_RESERVED && level == SQLITE_LOCK_RESERVED) {
      found = proveCounter();
      is_ours_ = found == SQLITE_OK;
    }
    if (found != SQLITE_OK) level_ = former;
    return locked(found, former);
  }
  int unlock(int level) noexcept override {
    if (is_ours_ && level < SQLITE_LOCK_RESERVED) {
      is_ours_ = false;
      noteCounter();
    }
    level_ = level;
    return system->xUnlock(system.get(), level);
  }

 private:
  int proveJournal() {
    bool is_hot = false;
    if (hasJournal()) {
      const JournalFile journal(journal_name_);
      is_hot = journal.isThere() && readOwnJournal(journal).is_hot;
    }
    return is_hot ? SQLITE_OK : proveCounter();  // otherwise it counts once the transaction is undone
  }

  int proveCounter() noexcept {
    std::uint32_t now = 0;
    const int result = counter(now);
    if (result != SQLITE_OK) return result;
    if (counter_ && *counter_ != now && undone_counter_ != now) return kChangedByOther;
    counter_ = now;
    return SQLITE_OK;
  }

  /// At the last moment at which nobody else can have written.
  void noteCounter() noexcept {
    std::uint32_t now = 0;
    const bool is_read = counter(now) == SQLITE_OK;
    // A transaction that failed so badly that it could not be undone will be when the file is looked at next.
    const bool is_sure = is_read && !hasJournal();
    undone_counter_ = is_sure ? std::nullopt : counter_;
    counter_ = is_read ? now : *counter_ + 1;  // by which a transaction changes it
  }

  int level_ = SQLITE_LOCK_NONE;
  bool is_ours_ = false;                  // the right to write was taken by us, not for an undoing
  std::optional<std::uint32_t> counter_;  // when we last saw it under a lock
  std::optional<std::uint32_t> undone_counter_;
};

// ---- What the engine calls ----------------------------------------------------------------------------------

/// What the engine knows of an open file.
struct EngineFile {
  sqlite3_file base;
  OpenFile* file;
};

OpenFile& fileOf(sqlite3_file* file) noexcept {
  return *reinterpret_cast<EngineFile*>(file)->file;
}

int closeFile(sqlite3_file* file) {
  OpenFile* const open = &fileOf(file);
  const int result = open->system.close();
  delete open;
  return result;
}
int readFile(sqlite3_file* file, void* to, int n, sqlite3_int64 at) {
  return fileOf(file).read(to, n, at);
}
int writeFile(sqlite3_file* file, const void* from, int n, sqlite3_int64 at) {
  const SystemFile& system = fileOf(file).system;
  return system->xWrite(system.get(), from, n, at);
}
int truncateFile(sqlite3_file* file, sqlite3_int64 bytes) {
  const SystemFile& system = fileOf(file).system;
  return system->xTruncate(system.get(), bytes);
}
int syncFile(sqlite3_file* file, int flags) {
  const SystemFile& system = fileOf(file).system;
  return system->xSync(system.get(), flags);
}
int fileSize(sqlite3_file* file, sqlite3_int64* bytes) {
  return fileOf(file).size(bytes);
}
int lockFile(sqlite3_file* file, int level) {
  return fileOf(file).lock(level);
}
int unlockFile(sqlite3_file* file, int level) {
  return fileOf(file).unlock(level);
}
int checkReservedLock(sqlite3_file* file, int* result) {
  const SystemFile& system = fileOf(file).system;
  return system->xCheckReservedLock(system.get(), result);
}
int controlFile(sqlite3_file* file, int operation, void* argument) {
  const SystemFile& system = fileOf(file).system;
  return system->xFileControl(system.get(), operation, argument);
}
int sectorSize(sqlite3_file* file) {
  const SystemFile& system = fileOf(file).system;
  return system->xSectorSize(system.get());
}
int deviceCharacteristics(sqlite3_file* file) {
  const SystemFile& system = fileOf(file).system;
  return system->xDeviceCharacteristics(system.get());
}

// The first version of the table: without shared memory there is no write-ahead log.
const sqlite3_io_methods kMethods = {
    1,          closeFile,         readFile,    writeFile,  truncateFile,          syncFile, fileSize, lockFile,
    unlockFile, checkReservedLock, controlFile, sectorSize, deviceCharacteristics, nullptr,  nullptr,  nullptr,
    nullptr,    nullptr,           nullptr};

bool isForReading(const sqlite3_vfs* vfs) noexcept {
  return vfs->pAppData != nullptr;
}

/// Removes a journal that a dead writer had made and not come to use. @return whether there was one
bool removeUnusedJournal(const char* name) noexcept {
  try {
    return isUnused(JournalFile(name)) && unlink(name) == 0;
  } catch (...) {
    return false;
  }
}

int openJournal(SystemFile& file, const char* name, int flags, int* opened_flags) noexcept {
  if ((flags & SQLITE_OPEN_CREATE) == 0) return file.open(name, flags, opened_flags);
  // Never into a file that lies there already.
  int got = 0;
  for (int attempt = 0; attempt < 2; ++attempt) {
    const int result = file.open(name, flags | SQLITE_OPEN_EXCLUSIVE, &got);
    // What cannot be made may still be opened for reading: of no use to a writer.
    if (result == SQLITE_OK && (got & SQLITE_OPEN_READONLY) == 0) {
      if (opened_flags != nullptr) *opened_flags = got;
      return SQLITE_OK;
    }
    file.close();
    if (result != SQLITE_OK && (result & 0xFF) != SQLITE_CANTOPEN) return result;
    if (!removeUnusedJournal(name)) break;
  }
  return access(name, F_OK) == 0 ? kBadJournal : SQLITE_CANTOPEN;
}

int openFile(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* opened_flags) {
  file->pMethods = nullptr;
  const bool is_data = (flags & SQLITE_OPEN_MAIN_DB) != 0;
  const bool is_journal = (flags & SQLITE_OPEN_MAIN_JOURNAL) != 0 && !isForReading(vfs);
  if (name == nullptr || !(is_data || is_journal)) return SQLITE_CANTOPEN;
  std::unique_ptr<OpenFile> open;
  const int made = resultOf([&] {
    if (is_journal)
      open = std::make_unique<OpenFile>();
    else if (isForReading(vfs))
      open = std::make_unique<ReadersFile>(name);
    else
      open = std::make_unique<WritersFile>(name);
    return SQLITE_OK;
  });
  if (made != SQLITE_OK) return made;
  const int result =
      is_journal ? openJournal(open->system, name, flags, opened_flags) : open->system.open(name, flags, opened_flags);
  if (result != SQLITE_OK) return result;
  reinterpret_cast<EngineFile*>(file)->file = open.release();
  file->pMethods = &kMethods;
  return SQLITE_OK;
}

int deleteFile(sqlite3_vfs* vfs, const char* name, int sync_folder) {
  if (isForReading(vfs) || !endsWith(name, kJournalSuffix)) return SQLITE_IOERR_DELETE;
  sqlite3_vfs* const below = systemVfs();
  return below->xDelete(below, name, sync_folder);
}

int accessFile(sqlite3_vfs* vfs, const char* name, int flags, int* result) {
  *result = 0;
  if (endsWith(name, kLogSuffix)) return SQLITE_OK;
  if (!endsWith(name, kJournalSuffix)) return SQLITE_IOERR_ACCESS;
  if (isForReading(vfs)) return SQLITE_OK;
  sqlite3_vfs* const below = systemVfs();
  return below->xAccess(below, name, flags, result);
}

/// The path is that of the file itself already; nothing is to be looked up once more.
int fullPath(sqlite3_vfs*, const char* name, int capacity, char* out) {
  const std::size_t n = std::strlen(name);
  if (n >= static_cast<std::size_t>(capacity)) return SQLITE_CANTOPEN;
  std::memcpy(out, name, n + 1);
  return SQLITE_OK;
}

class Layer {
 public:
  Layer(const char* name, bool for_reading) {
    const sqlite3_vfs* const below = systemVfs();
    if (below == nullptr) throw std::bad_alloc();
    vfs_ = *below;
    vfs_.iVersion = 2;  // no system calls to be replaced
    vfs_.szOsFile = sizeof(EngineFile);
    vfs_.zName = name;
    vfs_.pNext = nullptr;
    vfs_.pAppData = for_reading ? this : nullptr;
    vfs_.xOpen = openFile;
    vfs_.xDelete = deleteFile;
    vfs_.xAccess = accessFile;
    vfs_.xFullPathname = fullPath;
    if (sqlite3_vfs_register(&vfs_, 0) != SQLITE_OK) throw std::bad_alloc();
  }
  const char* name() const noexcept { return vfs_.zName; }

 private:
  sqlite3_vfs vfs_{};
};

}  // namespace

const char* vfsForReading() {
  static const Layer layer("orb-reading", true);
  return layer.name();
}

const char* vfsForWriting() {
  static const Layer layer("orb-writing", false);
  return layer.name();
}

int readChangeCounter(sqlite3* database, std::uint32_t& counter) noexcept {
  sqlite3_file* file = nullptr;
  const int result = sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER, &file);
  if (result != SQLITE_OK) return result;
  if (file == nullptr || file->pMethods != &kMethods) return SQLITE_IOERR_READ;
  return static_cast<DataFileIo&>(fileOf(file)).counter(counter);
}

}  // namespace porb
