#pragma once
#include <sqlite3.h>

#include <cstdint>

/// What the storage engine may do with the disk around a data file. It finds other files by name: a journal, and a
/// further journal that the journal names and that it deletes; a write-ahead log; temporary files. A stranger's folder
/// may hold any of these under the names that belong to the file. So the engine works through a layer of ours:
///
/// - It can name the data file and its journal and nothing else. A write-ahead log is never looked for.
/// - A reader changes nothing, also when a dead writer left a transaction half done: it sees the file as that
///   transaction found it, through the journal, and leaves the repair to the next writer.
/// - A journal is proved before it is followed (journal.h).
/// - A writer that finds the file changed by somebody else since it last had the right to write is refused. Its image
/// in
///   memory belongs to another state of the file.
namespace porb {

/// Names of the layer for sqlite3_open_v2. @throws std::bad_alloc
const char* vfsForReading();
const char* vfsForWriting();

/// Result codes with a meaning of their own here; the engine's own layers do not use them.
constexpr int kBadJournal = SQLITE_IOERR_AUTH;
constexpr int kChangedByOther = SQLITE_IOERR_DATA;
constexpr int kNoAccessToJournal = SQLITE_IOERR_VNODE;

/// Longest path of a data file: the engine has room for 512 bytes, and appends "-journal".
constexpr std::size_t kMostPathBytes = 504;

/// The number in the file that every flush changes, as it lies there right now: no lock is taken.
/// @return a result code of SQLite
int readChangeCounter(sqlite3* database, std::uint32_t& counter) noexcept;

}  // namespace porb
