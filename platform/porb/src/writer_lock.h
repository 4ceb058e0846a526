#pragma once
#include <string>

namespace porb {

/// The right to write a data file. It is a lock on a small file beside it (its path and "-lock"), which the
/// system releases when the process dies, however it dies; a file left behind by a dead process is simply
/// taken over. The data file itself cannot carry the lock: closing a second descriptor on it would drop the
/// locks that SQLite holds.
class WriterLock {
 public:
  /// @throws Failure(AIO_LOCKED) when another writer, in this process or another, holds it; AIO_NOACCESS,
  /// AIO_NOFILE, AIO_DISKFULL or AIO_IOERROR when the lock file cannot be made
  explicit WriterLock(const std::string& path);
  ~WriterLock();
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

 private:
  std::string lock_path_;
  int descriptor_ = -1;
};

/// The status that an errno of a file operation amounts to.
unsigned statusOfErrno(int error) noexcept;

}  // namespace porb
