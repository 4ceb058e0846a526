#pragma once
#include <sys/types.h>

#include <string>

#include "file_descriptor.h"

namespace porb {

/// The right to write a data file. It is a lock on a small empty file beside it (its path and "-lock"), which the
/// system releases when the process dies, however it dies; a file left behind by a dead process is simply taken over.
/// The data file itself cannot carry the lock: closing a second descriptor on it would drop the locks that SQLite
/// holds. What lies under that name and is no empty file of one name is not ours: it is neither taken nor removed.
class WriterLock {
 public:
  /// @throws Failure(AIO_LOCKED) when another writer, in this process or another, holds it; AIO_BADLOCKFILE;
  /// AIO_NOACCESS, AIO_NOFILE, AIO_DISKFULL or AIO_IOERROR when the lock file cannot be made
  explicit WriterLock(const std::string& path);
  ~WriterLock();
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

  /// Proves that nobody else can have the right. A lock file that somebody has removed is made anew, unless another
  /// writer came first. @throws as the constructor; AIO_FORKED in a child of the process that took the lock
  void requireHeld();
  /// The data file has come to be: its writers may take the lock over when this process dies.
  void dataFileIsThere();

 private:
  void take();
  bool isStillThere() const;

  std::string path_;
  std::string lock_path_;
  com::norvale::datatypes::FileDescriptor descriptor_;
  pid_t owner_;  // a child has a copy of the descriptor, not of the right
};

}  // namespace porb
