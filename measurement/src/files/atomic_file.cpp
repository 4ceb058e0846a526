#include "atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "aioproto.h"
#include "blocks.h"
#include "failure.h"
#include "file_descriptor.h"
#include "memory_shortage.h"
#include "open_file.h"

namespace com::norvale::measurement {

namespace {

/// The file that a symbolic link stands for, so that the link stays a link.
std::string followLink(const std::string& path) {
  struct stat state {};
  if (lstat(path.c_str(), &state) != 0 || !S_ISLNK(state.st_mode)) return path;
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  if (!real) failWithErrno(errno, path, "cannot follow the link");
  return real.get();
}

void requireReplaceable(const std::string& path, bool force) {
  struct stat state {};
  if (stat(path.c_str(), &state) != 0) return;
  if (!S_ISREG(state.st_mode)) throw Failure(path, "cannot write", convertReturnCode(AIO_NOTREGULAR));
  if (!force) throw Failure(path, "not overwritten without --force", convertReturnCode(AIO_FILEEXISTS));
}

void requireNoOtherFile(const std::string& path, const std::string& shown_name) {
  struct stat state {};
  if (stat(path.c_str(), &state) != 0 || state.st_size == 0 || !S_ISREG(state.st_mode)) return;
  if (looksLikeDataFile(path)) return;
  throw Failure(shown_name, "is no data file, and is not replaced by one", convertReturnCode(AIO_FILEEXISTS));
}

}  // namespace

DraftFile::DraftFile(const std::string& target, bool force, Content content)
    : named_(target), target_(followLink(target)), force_(force) {
  removeDeadDrafts(target_);
  requireReplaceable(target_, force);
  if (content == Content::kData) {
    reserve();
    requireReplaceable(target_, force);
    requireNoOtherFile(target_, named_);
  }
  folder_ = std::make_unique<DraftFolder>(target_, named_);
}

void DraftFile::reserve() {
  AioReservation_T* reservation = nullptr;
  require(convertReturnCode(AioReserve(target_.c_str(), &reservation)), named_, "cannot write");
  reservation_.reset(reservation);
  target_ = AioReservedName(reservation);  // a link may mean another file by now
  lock_file_.emplace(std::vector<std::string>{target_ + "-lock"});
}

void DraftFile::write(std::string_view text) {
  const com::norvale::datatypes::FileDescriptor file(
      open(path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
  if (!file || !file.write(text)) failWithErrno(errno, named_, "cannot write");
}

void DraftFile::write(FileAccess& file) {
  // Without waiting for the disk: a draft that a crash leaves behind is worth nothing, whole or not.
  require(convertReturnCode(AioMakeDraft(file.handle())), named_, "cannot write");
  require(file.flush(), named_, "cannot write");
  require(file.close(com::norvale::orb::NOFLUSH), named_, "cannot close");
}

void DraftFile::publish() {
  requireNoMemoryShortage(named_);
  if (!reservation_) reserve();  // what is replaced may be a data file
  require(convertReturnCode(AioPublish(reservation_.get(), path().c_str(), force_ ? 1 : 0)), named_, "cannot write");
  lock_file_.reset();
  reservation_.reset();
}

}  // namespace com::norvale::measurement
