#include "writer_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "status.h"

namespace porb {
namespace {

/// The file may have been removed by the writer before us between our open and our lock.
bool isStillThere(int descriptor, const std::string& path) {
  struct stat opened {};
  struct stat named {};
  return fstat(descriptor, &opened) == 0 && stat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

}  // namespace

unsigned statusOfErrno(int error) noexcept {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return AIO_NOFILE;
    case EACCES:
    case EPERM:
    case EROFS:
      return AIO_NOACCESS;
    case EEXIST:
      return AIO_FILEEXISTS;
    case EISDIR:
      return AIO_NOTREGULAR;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return AIO_DISKFULL;
    case ENOMEM:
      return AIO_NOMEMORY;
    case EMFILE:
    case ENFILE:
      return AIO_TOOMANYFILES;
    case ENAMETOOLONG:
    case ELOOP:
    case EINVAL:
      return AIO_BADARG;
    default:
      return AIO_IOERROR;
  }
}

WriterLock::WriterLock(const std::string& path) : lock_path_(path + "-lock") {
  for (;;) {
    descriptor_ = open(lock_path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (descriptor_ < 0) throw Failure(statusOfErrno(errno));
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
      const int error = errno;
      close(descriptor_);
      throw Failure(error == EWOULDBLOCK ? Status{AIO_LOCKED} : statusOfErrno(error));
    }
    if (isStillThere(descriptor_, lock_path_)) return;
    close(descriptor_);
  }
}

WriterLock::~WriterLock() {
  unlink(lock_path_.c_str());  // while it is still ours
  close(descriptor_);
}

}  // namespace porb
