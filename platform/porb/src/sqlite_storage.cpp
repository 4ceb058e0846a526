#include "sqlite_storage.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "content.h"
#include "data_file_vfs.h"
#include "errno_status.h"
#include "file_name.h"
#include "journal.h"
#include "sqlite_schema.h"
#include "sqlite_values.h"

namespace porb {
namespace {

/// @throws Failure(AIO_NOFILE) when the path names nothing
struct stat stateOf(const std::string& path) {
  struct stat state {};
  if (stat(path.c_str(), &state) != 0) throw Failure(statusOfErrno(errno));
  return state;
}

FileIdentity identityOf(const struct stat& state) noexcept {
  return {state.st_dev, state.st_ino};
}

/// Under another of its names the file would have another lock and another journal.
void requireOneName(const struct stat& state) {
  if (state.st_nlink > 1) throw Failure(AIO_HARDLINKED);
}

/// What can be said of a file before SQLite looks at it.
void requireReadableFile(const std::string& path, bool writable) {
  const struct stat state = stateOf(path);
  if (!S_ISREG(state.st_mode)) throw Failure(AIO_NOTREGULAR);
  if (access(path.c_str(), writable ? R_OK | W_OK : R_OK) != 0) throw Failure(statusOfErrno(errno));
  if (state.st_size == 0) throw Failure(AIO_EMPTYFILE);
  if (writable) requireOneName(state);
}

std::uint64_t checksumOfShape(std::uint16_t cls, std::uint32_t size, const SpectralShape& shape) noexcept {
  return mixHash(mixHash(mixHash(mixHash(mixHash(2, cls), size), shape.groups), shape.rows), shape.channels);
}

/// The row of table block that stands for the list of blocks: their number, and a sum of hashes of their classes. What
/// else their rows hold is for their own checksums, so that damage to one does not close the whole file.
constexpr std::int64_t kListRow = -1;

}  // namespace

std::uint64_t checksumOf(const Block& block) {
  const Spectra* spectra = block.spectra();
  if (spectra == nullptr) return checksumOfShape(block.cls(), block.size(), {}) + block.table()->hash();
  std::uint64_t sum = checksumOfShape(block.cls(), block.size(), spectra->shape());
  for (const auto& [key, spectrum] : spectra->written())
    sum += mixHash(mixHash(mixHash(3, key.group), key.row), spectrum.hash());
  return sum;
}

std::uint64_t hashOfListed(std::uint16_t cls) noexcept {
  return mixHash(4, cls);
}

std::unique_ptr<Storage> openSqliteStorage(const std::string& path, bool writable) {
  std::string name = fileNameOf(path);
  requireReadableFile(name, writable);
  auto lock = writable ? std::make_unique<WriterLock>(name) : nullptr;
  return std::make_unique<SqliteStorage>(std::move(name), std::move(lock), nullptr);
}

std::unique_ptr<Storage> createSqliteStorage(const std::string& path) {
  struct stat state {};
  if (lstat(path.c_str(), &state) == 0) throw Failure(AIO_FILEEXISTS);
  std::string name = fileNameOf(path);
  auto lock = std::make_unique<WriterLock>(name);
  if (lstat(path.c_str(), &state) == 0) throw Failure(AIO_FILEEXISTS);
  if (JournalFile(name + "-journal").isThere()) throw Failure(AIO_BADJOURNAL);  // it would be taken for ours
  auto created = std::make_unique<NewFile>(name);
  lock->dataFileIsThere();
  return std::make_unique<SqliteStorage>(std::move(name), std::move(lock), std::move(created));
}

std::unique_ptr<WriterLock> recover(const std::string& path, std::unique_ptr<WriterLock> lock) {
  requireReadableFile(path, true);
  SqliteStorage file(path, std::move(lock), nullptr);  // opening for writing does it
  return file.giveUpLock();
}

SqliteStorage::SqliteStorage(std::string path, std::unique_ptr<WriterLock> lock, std::unique_ptr<NewFile> created)
    : path_(std::move(path)),
      process_(getpid()),
      lock_(std::move(lock)),
      created_(std::move(created)),
      database_(path_, lock_ ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY,
                lock_ ? vfsForWriting() : vfsForReading()) {
  identity_ = identityOf(stateOf(path_));
  if (lock_ && sqlite3_db_readonly(database_.get(), "main") == 1) throw Failure(AIO_NOACCESS);
  try {
    openForReading();
  } catch (const Failure& failure) {
    const Status status = failure.status();
    const bool unreadable = status == AIO_CORRUPT || status == AIO_NOTADATABASE || status == AIO_IOERROR;
    throw Failure(unreadable ? diagnose(database_, status) : status);
  }
  // After a flush has returned the journal's removal is on disk too, so power loss cannot undo the flush.
  if (lock_) database_.execute("PRAGMA synchronous=EXTRA;PRAGMA journal_mode=DELETE;PRAGMA temp_store=MEMORY");
}

SqliteStorage::~SqliteStorage() {
  if (getpid() != process_) database_.abandon();
}

/// A child process has copies of our descriptors, but not our locks.
void SqliteStorage::requireOwnProcess() const {
  if (getpid() != process_) throw Failure(AIO_FORKED);
}

/// Inside the write transaction: nobody else can write the file that our path names, or has written it. That its
/// content is the one that we know is proved with the lock of the transaction (data_file_vfs.h).
void SqliteStorage::requireSoleWriter() {
  lock_->requireHeld();
  const struct stat state = stateOf(path_);
  if (identityOf(state) != identity_) throw Failure(AIO_NOFILE);
  requireOneName(state);
  verifySize(database_);
}

std::uint64_t SqliteStorage::glance() {
  requireOwnProcess();
  const struct stat state = stateOf(path_);
  if (identityOf(state) != identity_) throw Failure(AIO_NOFILE);
  std::uint32_t counter = 0;
  requireSqlite(readChangeCounter(database_.get(), counter));
  // A flush that was never ended leaves a counter which the next one uses again, at another time.
  const auto time = static_cast<std::uint64_t>(state.st_mtim.tv_sec) * 1000000000u;
  return mixHash(mixHash(6, counter), time + static_cast<std::uint64_t>(state.st_mtim.tv_nsec));
}

void SqliteStorage::makeDraft() {
  database_.execute("PRAGMA synchronous=OFF;PRAGMA journal_mode=MEMORY");
}

void SqliteStorage::openForReading() {
  database_.execute("PRAGMA cell_size_check=ON");
  const ReadScope scope(*this);
  verifyFormat(database_);
}

Statement& SqliteStorage::prepared(Statement& statement, const char* sql) {
  if (!statement) statement = database_.prepare(sql);
  return statement;
}

void SqliteStorage::beginRead() {
  requireOwnProcess();
  if (read_depth_ == 0) {
    database_.rollback();  // in case that one could not be done
    prepared(begin_read_, "BEGIN").run();
    try {
      // BEGIN alone takes no lock; the first read does, and recovers what a dead writer left.
      state();
    } catch (...) {
      database_.rollback();
      throw;
    }
  }
  ++read_depth_;
}

void SqliteStorage::endRead() noexcept {
  if (--read_depth_ == 0) database_.rollback();  // nothing was written
}

std::uint64_t SqliteStorage::state() {
  Statement& query = prepared(data_version_, "PRAGMA data_version");
  const ResetScope scope(query);
  query.step();
  return static_cast<std::uint64_t>(query.integer(0));
}

void SqliteStorage::remove() {
  requireOwnProcess();
  if (identityOf(stateOf(path_)) != identity_) throw Failure(AIO_NOFILE);  // another file may have come in its place
  if (unlink(path_.c_str()) != 0) throw Failure(statusOfErrno(errno));
}

// ---- Reading ----------------------------------------------------------------------------------------------

namespace {

/// A number of the file that must lie in a range.
template <typename T>
T bounded(const Statement& row, int column, std::int64_t least, std::int64_t most) {
  requireContent(row.columnType(column) == SQLITE_INTEGER);
  const std::int64_t value = row.integer(column);
  requireContent(value >= least && value <= most);
  return static_cast<T>(value);
}

BlockHeader readHeader(const Statement& row) {
  BlockHeader header;
  header.cls = bounded<std::uint16_t>(row, 0, 0, 0xFFFF);
  header.size = bounded<std::uint32_t>(row, 1, 0, 0xFFFFFFFF);
  header.working_entries = bounded<std::uint32_t>(row, 2, 0, AIO_MAX_ENTRIES);
  header.shape.groups = bounded<std::uint32_t>(row, 3, 0, AIO_MAX_GROUPS);
  header.shape.rows = bounded<std::uint32_t>(row, 4, 0, AIO_MAX_GROUPS);
  header.shape.channels = bounded<std::uint32_t>(row, 5, 0, AIO_MAX_CHANNELS);
  header.checksum = static_cast<std::uint64_t>(row.integer(6));
  return header;
}

/// The spectral block has a shape, all others have none.
void requireShape(const BlockHeader& header) {
  const SpectralShape& shape = header.shape;
  requireContent(header.cls == ORB_CLS_SPECTRUM ? checkShape(shape) == AIO_OK
                                                : shape.groups == 0 && shape.rows == 0 && shape.channels == 0);
}

}  // namespace

std::vector<BlockHeader> SqliteStorage::listBlocks() {
  Statement& query =
      prepared(list_blocks_, "SELECT class,size,entries,groups_n,rows_n,channels_n,checksum FROM block ORDER BY class");
  const ResetScope scope(query);
  // The first row stands for the list: a block that was lost, or came from nowhere, shows in it.
  requireContent(query.step() && query.integer(0) == kListRow);
  const std::int64_t blocks = query.integer(1);
  const std::int64_t checksum = query.integer(6);
  std::vector<BlockHeader> headers;
  std::uint64_t sum = 0;
  while (query.step()) {
    headers.push_back(readHeader(query));
    sum += hashOfListed(headers.back().cls);
  }
  requireContent(static_cast<std::int64_t>(headers.size()) == blocks && static_cast<std::int64_t>(sum) == checksum);
  return headers;
}

std::uint32_t SqliteStorage::countRecords(std::uint16_t cls) {
  Statement& query = prepared(count_records_, "SELECT count(*) FROM record WHERE class=?");
  const ResetScope scope(query);
  query.bind(1, cls).step();
  return bounded<std::uint32_t>(query, 0, 0, AIO_MAX_RECORDS);
}

std::unique_ptr<Block> SqliteStorage::readBlock(const BlockHeader& header) {
  requireShape(header);
  if (header.cls == ORB_CLS_SPECTRUM)
    return std::make_unique<Block>(header.cls, header.size, loadSpectra(header));
  return std::make_unique<Block>(header.cls, header.size, loadTable(header));
}

std::unique_ptr<Block> SqliteStorage::loadBlock(const BlockHeader& header) {
  auto block = readBlock(header);
  requireContent(checksumOf(*block) == header.checksum);
  return block;
}

void SqliteStorage::loadRecords(const BlockHeader& header, Table& table, std::vector<std::uint32_t>& ids,
                                std::vector<std::uint32_t>& entries) {
  const std::uint32_t n = countRecords(header.cls);
  table.reserve(n);
  ids.reserve(n);
  entries.reserve(n);
  Statement& query = prepared(list_records_, "SELECT id,rank,entries FROM record WHERE class=? ORDER BY id");
  const ResetScope scope(query);
  query.bind(1, header.cls);
  while (query.step()) {
    ids.push_back(bounded<std::uint32_t>(query, 0, 1, UINT32_MAX - 2));
    entries.push_back(bounded<std::uint32_t>(query, 2, 0, AIO_MAX_ENTRIES));
    requireContent(query.columnType(1) == SQLITE_INTEGER);
    table.addLoaded(ids.back(), query.integer(1));
  }
}

Table SqliteStorage::loadTable(const BlockHeader& header) {
  Table table;
  std::vector<std::uint32_t> ids;
  std::vector<std::uint32_t> entries;
  loadRecords(header, table, ids, entries);

  // Records and values both come by ascending id, so one pass brings them together.
  ValueLoader loader(table, header.working_entries, ids, entries);
  Statement& query = prepared(list_values_,
                              "SELECT record,entry,code,type,value FROM value WHERE class=? "
                              "ORDER BY record,entry,code");
  const ResetScope scope(query);
  query.bind(1, header.cls);
  while (query.step()) loader.take(query, header.cls);
  loader.finish();
  requireContent(table.finishLoading());
  return table;
}

Spectra SqliteStorage::loadSpectra(const BlockHeader& header) {
  Spectra spectra(header.shape);
  Statement& query = prepared(list_spectra_, "SELECT group_no,row_no,format,checksum,channels FROM spectrum");
  const ResetScope scope(query);
  while (query.step()) {
    const SpectrumKey key{bounded<std::uint32_t>(query, 0, 1, header.shape.groups),
                          bounded<std::uint32_t>(query, 1, 1, header.shape.rows)};
    Spectrum spectrum;
    spectrum.format = bounded<LONG>(query, 2, AIO_FORMAT_LONG, AIO_FORMAT_FLOAT);
    requireContent(query.columnType(3) == SQLITE_INTEGER && query.columnType(4) == SQLITE_BLOB);
    const std::string_view bytes = query.bytes(4);
    requireContent(bytes.size() == std::size_t{4} * header.shape.channels);
    spectrum.channels.resize(header.shape.channels);
    if (!bytes.empty()) std::memcpy(spectrum.channels.data(), bytes.data(), bytes.size());
    spectrum.dirty = false;
    requireContent(spectrum.hash() == static_cast<std::uint64_t>(query.integer(3)));
    requireContent(spectra.addLoaded(key, std::move(spectrum)));
  }
  return spectra;
}

// ---- Writing ----------------------------------------------------------------------------------------------

void SqliteStorage::commit(const ChangeSet& changes, const Dictionary& dictionary) {
  requireOwnProcess();
  try {
    database_.rollback();
    prepared(begin_write_, "BEGIN IMMEDIATE").run();
    requireSoleWriter();
    for (const std::uint16_t cls : changes.removed) deleteClass(cls);
    for (const Block* block : changes.changed) writeBlock(*block, dictionary);
    writeList();
    prepared(end_write_, "COMMIT").run();
  } catch (...) {
    database_.rollback();
    names_known_ = false;  // what was noted as written is not
    throw;
  }
}

void SqliteStorage::writeList() {
  Statement& query = prepared(list_classes_, "SELECT class FROM block WHERE class>=0");
  const ResetScope scope(query);
  std::int64_t blocks = 0;
  std::uint64_t sum = 0;
  for (; query.step(); ++blocks) sum += hashOfListed(static_cast<std::uint16_t>(query.integer(0)));
  putBlockRow(kListRow, blocks, 0, {}, sum);
}

void SqliteStorage::putBlockRow(std::int64_t cls, std::int64_t size, std::size_t entries, const SpectralShape& shape,
                                std::uint64_t checksum) {
  prepared(put_block_, "INSERT OR REPLACE INTO block VALUES(?,?,?,?,?,?,?)")
      .bind(1, cls)
      .bind(2, size)
      .bind(3, static_cast<std::int64_t>(entries))
      .bind(4, shape.groups)
      .bind(5, shape.rows)
      .bind(6, shape.channels)
      .bind(7, static_cast<std::int64_t>(checksum))
      .run();
}

void SqliteStorage::deleteClass(std::uint16_t cls) {
  prepared(drop_values_, "DELETE FROM value WHERE class=?").bind(1, cls).run();
  prepared(drop_records_, "DELETE FROM record WHERE class=?").bind(1, cls).run();
  prepared(drop_block_, "DELETE FROM block WHERE class=?").bind(1, cls).run();
  if (cls == ORB_CLS_SPECTRUM) prepared(drop_spectra_, "DELETE FROM spectrum").run();
}

void SqliteStorage::writeBlock(const Block& block, const Dictionary& dictionary) {
  if (block.isRewrite()) deleteClass(block.cls());
  const Spectra* spectra = block.spectra();
  const SpectralShape shape = spectra != nullptr ? spectra->shape() : SpectralShape{};
  const std::size_t working_entries = spectra != nullptr ? 0 : block.table()->record(0)->entryCount();
  putBlockRow(block.cls(), block.size(), working_entries, shape, checksumOf(block));
  if (spectra != nullptr)
    writeSpectra(*spectra);
  else
    writeTable(block.cls(), *block.table(), dictionary);
}

void SqliteStorage::writeTable(std::uint16_t cls, const Table& table, const Dictionary& dictionary) {
  if (!table.isRewrite()) {
    for (const std::uint32_t id : table.deletedIds()) {
      prepared(drop_record_values_, "DELETE FROM value WHERE class=? AND record=?").bind(1, cls).bind(2, id).run();
      prepared(drop_record_, "DELETE FROM record WHERE class=? AND id=?").bind(1, cls).bind(2, id).run();
    }
  }
  table.forEachToWrite(
      [&](const Record& record) { writeRecord(cls, record, table.isRewrite() || record.rewrite, dictionary); });
}

void SqliteStorage::writeRecord(std::uint16_t cls, const Record& record, bool all, const Dictionary& dictionary) {
  if (record.rewrite)
    prepared(drop_record_values_, "DELETE FROM value WHERE class=? AND record=?").bind(1, cls).bind(2, record.id).run();
  if (record.id != 0)
    prepared(put_record_, "INSERT OR REPLACE INTO record VALUES(?,?,?,?)")
        .bind(1, cls)
        .bind(2, record.id)
        .bind(3, record.rank)
        .bind(4, static_cast<std::int64_t>(record.entryCount()))
        .run();
  record.forEachRow(
      [&](std::size_t entry, const CellRow& row) { writeRow(cls, record.id, entry, row, all, dictionary); });
}

void SqliteStorage::writeRow(std::uint16_t cls, std::uint32_t record, std::size_t entry, const CellRow& row, bool all,
                             const Dictionary& dictionary) {
  for (const Cell& cell : row.cells()) {
    if (!all && !cell.dirty()) continue;
    const std::uint32_t code = std::uint32_t{cls} << 16 | cell.param();
    Statement& put = prepared(put_value_, "INSERT OR REPLACE INTO value VALUES(?,?,?,?,?,?)");
    put.bind(1, cls).bind(2, record).bind(3, static_cast<std::int64_t>(entry)).bind(4, code).bind(5, cell.type());
    bindValue(put, 6, cell);
    put.run();
    writeName(code, dictionary);
  }
}

void SqliteStorage::writeName(std::uint32_t code, const Dictionary& dictionary) {
  if (!names_known_) {
    names_.clear();
    Statement query = database_.prepare("SELECT code FROM name");
    while (query.step()) names_.insert(static_cast<std::uint32_t>(query.integer(0)));
    names_known_ = true;
  }
  const Parameter* parameter = dictionary.find(code);
  if (parameter == nullptr || !names_.insert(code).second) return;
  prepared(put_name_, "INSERT OR REPLACE INTO name VALUES(?,?,?,?)")
      .bind(1, code)
      .bindText(2, parameter->name.view())
      .bindText(3, parameter->unit.view())
      .bindText(4, parameter->description.view())
      .run();
}

void SqliteStorage::writeSpectra(const Spectra& spectra) {
  for (const auto& [key, spectrum] : spectra.written()) {
    if (!spectra.isRewrite() && !spectrum.dirty) continue;
    prepared(put_spectrum_, "INSERT OR REPLACE INTO spectrum VALUES(?,?,?,?,?)")
        .bind(1, key.group)
        .bind(2, key.row)
        .bind(3, spectrum.format)
        .bind(4, static_cast<std::int64_t>(spectrum.hash()))
        .bindBlob(5, spectrum.channels.data(), spectrum.channels.size() * sizeof(std::uint32_t))
        .run();
  }
}

}  // namespace porb
