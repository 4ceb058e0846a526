#include "writer_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "errno_status.h"
#include "status.h"

namespace porb {
namespace {

using com::norvale::datatypes::FileDescriptor;

// Without waiting: what lies there may be a pipe.
constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;

/// Whoever may write the data file may also take its lock, whoever made the lock file: a killed writer must not keep
/// others out. Nobody else may, since a lock held by a mere reader would keep out all writers.
void openToWriters(int descriptor, const std::string& path) {
  struct stat data {};
  if (stat(path.c_str(), &data) != 0) return;
  const bool has_group = fchown(descriptor, static_cast<uid_t>(-1), data.st_gid) == 0;
  mode_t mode = S_IRUSR | S_IWUSR;
  if (has_group && (data.st_mode & S_IWGRP) != 0) mode |= S_IRGRP | S_IWGRP;
  if ((data.st_mode & S_IWOTH) != 0) mode |= S_IROTH | S_IWOTH;
  if (fchmod(descriptor, mode) != 0) return;  // then only its owner can take it over
}

struct LockFile {
  FileDescriptor descriptor;
  bool is_new = false;
};

/// Opens the lock file, making it when there is none. Nothing is open when it came or went meanwhile.
LockFile openLockFile(const std::string& lock_path, const std::string& path) {
  LockFile file{FileDescriptor(open(lock_path.c_str(), O_RDWR | kFlags))};
  if (!file.descriptor && errno == EACCES) file.descriptor.reset(open(lock_path.c_str(), O_RDONLY | kFlags));
  if (file.descriptor) return file;
  if (errno == ELOOP || errno == EISDIR || errno == ENXIO) throw Failure(AIO_BADLOCKFILE);
  if (errno != ENOENT) throw Failure(statusOfErrno(errno));
  file.descriptor.reset(open(lock_path.c_str(), O_RDWR | O_CREAT | O_EXCL | kFlags, 0600));
  if (!file.descriptor && errno != EEXIST) throw Failure(statusOfErrno(errno));
  file.is_new = static_cast<bool>(file.descriptor);
  if (file.is_new) openToWriters(file.descriptor.get(), path);
  return file;
}

void requireLockFile(int descriptor) {
  struct stat state {};
  if (fstat(descriptor, &state) != 0) throw Failure(statusOfErrno(errno));
  if (!S_ISREG(state.st_mode) || state.st_size != 0 || state.st_nlink > 1) throw Failure(AIO_BADLOCKFILE);
}

}  // namespace

WriterLock::WriterLock(const std::string& path) : path_(path), lock_path_(path + "-lock"), owner_(getpid()) {
  take();
}

void WriterLock::take() {
  do {
    LockFile file = openLockFile(lock_path_, path_);
    if (!file.descriptor) continue;
    requireLockFile(file.descriptor.get());
    if (flock(file.descriptor.get(), LOCK_EX | LOCK_NB) != 0) {
      const int error = errno;
      if (error == EWOULDBLOCK) throw Failure(AIO_LOCKED);
      if (file.is_new) unlink(lock_path_.c_str());
      throw Failure(statusOfErrno(error));
    }
    descriptor_ = std::move(file.descriptor);
  } while (!isStillThere());  // the writer before us may have removed it between our open and our lock
}

void WriterLock::dataFileIsThere() {
  openToWriters(descriptor_.get(), path_);
}

/// @throws Failure when that cannot be found out
bool WriterLock::isStillThere() const {
  struct stat opened {};
  struct stat named {};
  if (!descriptor_) return false;
  if (fstat(descriptor_.get(), &opened) != 0) throw Failure(statusOfErrno(errno));
  if (lstat(lock_path_.c_str(), &named) != 0) {
    if (errno == ENOENT) return false;
    throw Failure(statusOfErrno(errno));
  }
  return opened.st_dev == named.st_dev && opened.st_ino == named.st_ino && named.st_size == 0;
}

void WriterLock::requireHeld() {
  if (getpid() != owner_) throw Failure(AIO_FORKED);
  if (!isStillThere()) take();
}

WriterLock::~WriterLock() {
  if (getpid() != owner_) return;
  try {
    if (isStillThere()) unlink(lock_path_.c_str());  // while it is still ours
  } catch (const Failure&) {
    // An empty file stays that the next writer takes over.
  }
}

}  // namespace porb
