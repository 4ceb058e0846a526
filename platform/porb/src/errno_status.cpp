#include "errno_status.h"

#include <cerrno>

#include "aiostatus.h"

namespace porb {

ULONG statusOfErrno(int error) noexcept {
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
    case ENXIO:
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
      return AIO_LONGPATH;
    case ELOOP:
    case EINVAL:
      return AIO_BADARG;
    default:
      return AIO_IOERROR;
  }
}

}  // namespace porb
