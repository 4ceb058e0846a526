#include "file_publication.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <vector>

#include "errno_status.h"
#include "file_descriptor.h"
#include "file_name.h"
#include "journal.h"
#include "sqlite_storage.h"
#include "status.h"

namespace porb {
namespace {

using com::norvale::datatypes::FileDescriptor;

constexpr const char* kAccessList = "system.posix_acl_access";

void requireDone(int result) {
  if (result != 0) throw Failure(statusOfErrno(errno));
}

/// A file without an access list, or a file system without them, has none to give.
std::vector<char> accessListOf(const std::string& path) {
  const ssize_t bytes = getxattr(path.c_str(), kAccessList, nullptr, 0);
  if (bytes <= 0) return {};
  std::vector<char> list(static_cast<std::size_t>(bytes));
  const ssize_t got = getxattr(path.c_str(), kAccessList, list.data(), list.size());
  if (got < 0) throw Failure(AIO_NOACCESS);
  list.resize(static_cast<std::size_t>(got));
  return list;
}

void takeOverRights(int descriptor, const std::string& path, const struct stat& former) {
  struct stat own {};
  requireDone(fstat(descriptor, &own));
  const bool changes_hands = own.st_uid != former.st_uid || own.st_gid != former.st_gid;
  if (changes_hands && fchown(descriptor, former.st_uid, former.st_gid) != 0) throw Failure(AIO_NOACCESS);
  requireDone(fchmod(descriptor, former.st_mode & 07777));
  const std::vector<char> list = accessListOf(path);
  if (list.empty())
    fremovexattr(descriptor, kAccessList);  // one inherited from the folder
  else if (fsetxattr(descriptor, kAccessList, list.data(), list.size(), 0) != 0)
    throw Failure(AIO_NOACCESS);
}

/// Nothing may lie there that would be taken for the journal of a file that gets this name.
void requireNoJournal(const std::string& path) {
  if (JournalFile(path + "-journal").isThere()) throw Failure(AIO_BADJOURNAL);
}

}  // namespace

void synchronise(int descriptor) {
  if (fsync(descriptor) != 0 && errno != EINVAL && errno != EROFS) throw Failure(statusOfErrno(errno));
}

void renameOver(const std::string& from, const std::string& to, bool replace) {
  if (!replace) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return;
    // Not every file system knows that; the writer's lock keeps others of us away.
    if (errno != EINVAL && errno != ENOSYS) throw Failure(statusOfErrno(errno));
    struct stat state {};
    if (lstat(to.c_str(), &state) == 0) throw Failure(AIO_FILEEXISTS);
  }
  requireDone(rename(from.c_str(), to.c_str()));
}

Reservation::Reservation(const std::string& path) : target_(fileNameOf(path)) {
  lock_ = std::make_unique<WriterLock>(target_);
  struct stat state {};
  const bool is_there = lstat(target_.c_str(), &state) == 0;
  if (is_there && !S_ISREG(state.st_mode)) throw Failure(AIO_NOTREGULAR);
  if (is_there && JournalFile(target_ + "-journal").isThere()) lock_ = recover(target_, std::move(lock_));
  requireNoJournal(target_);
}

void Reservation::publish(const std::string& draft, bool replace) {
  lock_->requireHeld();
  const FileDescriptor file(open(draft.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (!file) throw Failure(statusOfErrno(errno));
  struct stat former {};
  const bool is_there = lstat(target_.c_str(), &former) == 0;
  if (is_there && !replace) throw Failure(AIO_FILEEXISTS);
  if (is_there && !S_ISREG(former.st_mode)) throw Failure(AIO_NOTREGULAR);
  if (is_there) takeOverRights(file.get(), target_, former);
  synchronise(file.get());
  requireNoJournal(target_);
  renameOver(draft, target_, replace);
  // A folder that cannot be opened or synchronised is passed over: not every file system can.
  const FileDescriptor folder(open(folderOf(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) fsync(folder.get());
}

}  // namespace porb
