#include "atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "aioproto.h"
#include "blocks.h"
#include "failure.h"
#include "open_file.h"

namespace orb::tool {

namespace {

/// The file that a symbolic link stands for, so that the link stays a link.
std::string followLink(const std::string& path) {
  struct stat state {};
  if (lstat(path.c_str(), &state) != 0 || !S_ISLNK(state.st_mode)) return path;
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  if (!real) failWithErrno(errno, path, "cannot follow the link");
  return real.get();
}

/// Refuses to pull a data file from under its writer. Opening it also completes what a crashed writer left.
void requireNoWriter(const std::string& path) {
  FileAccess existing;
  const std::uint32_t status = existing.open(path, com::norvale::orb::READWRITE);
  for (const std::uint32_t refusal : {AIO_LOCKED, AIO_BUSY, AIO_NOACCESS}) {
    if (status == convertReturnCode(refusal)) throw Failure(path, "cannot replace", status);
  }
}

void requireReplaceable(const std::string& path, bool force) {
  struct stat state {};
  if (stat(path.c_str(), &state) == 0) {
    if (!S_ISREG(state.st_mode)) throw Failure(path, "cannot write", convertReturnCode(AIO_NOTREGULAR));
    if (!force) throw Failure(path, "not overwritten without --force", convertReturnCode(AIO_FILEEXISTS));
    requireNoWriter(path);
  }
  // It would be taken for the journal of the new file and undo parts of it.
  if (pathExists(path + "-journal")) {
    throw Failure(path + "-journal", "a journal lies beside the file; restore or remove it first",
                  convertReturnCode(AIO_FILEEXISTS));
  }
}

/// A short name in the target's folder that is not in use.
std::string draftName(const std::string& target) {
  const auto slash = target.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : target.substr(0, slash + 1);
  static std::atomic<unsigned> number{0};  // two threads must not take one name
  while (true) {
    const std::string name = folder + ".orb-" + std::to_string(getpid()) + "-" + std::to_string(number++) + ".part";
    if (!pathExists(name)) return name;
  }
}

void writeAll(int descriptor, std::string_view text, const std::string& name) {
  while (!text.empty()) {
    const ssize_t n = ::write(descriptor, text.data(), text.size());
    if (n < 0 && errno != EINTR) failWithErrno(errno, name, "cannot write");
    if (n > 0) text.remove_prefix(static_cast<std::size_t>(n));
  }
}

using Descriptor = std::unique_ptr<const int, void (*)(const int*)>;

/// Waits until a file, or the names in a folder, are on disk. A folder that cannot be opened or synchronised is passed
/// over: not every file system can.
void synchronise(const std::string& path, bool is_folder, const std::string& named) {
  const int number = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const Descriptor closer(&number, [](const int* d) { close(*d); });
  const bool done = number >= 0 && fsync(number) == 0;
  if (!done && !is_folder) failWithErrno(errno, named, "cannot write");
}

std::string folderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

bool renameWithoutReplacing(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  // Not every file system knows this rename; the check when the draft was begun has to do there.
  if (errno != EINVAL && errno != ENOSYS) return false;
  return rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace

void requireNoOtherFile(const std::string& path) {
  struct stat state {};
  if (stat(path.c_str(), &state) != 0 || state.st_size == 0 || !S_ISREG(state.st_mode)) return;
  if (looksLikeDataFile(path)) return;
  throw Failure(path, "is no data file, and is not replaced by one", convertReturnCode(AIO_FILEEXISTS));
}

DraftFile::DraftFile(const std::string& target, bool force)
    : named_(target),
      target_(followLink(target)),
      draft_(draftName(target_)),
      force_(force),
      leftovers_(namesOfDataFile(draft_)) {
  requireReplaceable(target_, force);
}

DraftFile::~DraftFile() {
  if (!is_published_) leftovers_.remove();
}

void DraftFile::write(std::string_view text) {
  const int descriptor = open(draft_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (descriptor < 0) failWithErrno(errno, named_, "cannot write");
  const Descriptor closer(&descriptor, [](const int* d) { close(*d); });
  writeAll(descriptor, text, named_);
}

void DraftFile::write(FileAccess& file) {
  flushDraft(file, named_);
  require(file.close(com::norvale::orb::NOFLUSH), named_, "cannot close");
}

void DraftFile::publish() {
  synchronise(draft_, false, named_);
  struct stat former {};
  if (stat(target_.c_str(), &former) == 0) chmod(draft_.c_str(), former.st_mode & 07777);  // who may read it stays
  const bool done = force_ ? rename(draft_.c_str(), target_.c_str()) == 0 : renameWithoutReplacing(draft_, target_);
  if (!done) failWithErrno(errno, named_, "cannot write");
  is_published_ = true;
  synchronise(folderOf(target_), true, named_);
}

void flushDraft(FileAccess& file, const std::string& shown_name) {
  require(convertReturnCode(AioMakeDraft(file.handle())), shown_name, "cannot write");
  require(file.flush(), shown_name, "cannot write");
}

}  // namespace orb::tool
