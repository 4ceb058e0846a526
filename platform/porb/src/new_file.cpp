#include "new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>

#include "cell.h"
#include "errno_status.h"
#include "file_descriptor.h"
#include "file_name.h"
#include "file_publication.h"
#include "sqlite_schema.h"
#include "status.h"

namespace porb {
namespace {

using com::norvale::datatypes::FileDescriptor;

void writeImage(const FileDescriptor& file) {
  if (!file.write(emptyFileImage())) throw Failure(statusOfErrno(errno));
  synchronise(file.get());  // the name must never stand for less than the whole
}

/// A file without a name, which a crash cannot leave behind. @return false where the file system has no such files
bool makeUnnamed(const std::string& path) {
  const FileDescriptor file(open(folderOf(path).c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666));
  if (!file) return false;
  writeImage(file);
  const std::string link = "/proc/self/fd/" + std::to_string(file.get());
  if (linkat(AT_FDCWD, link.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0) return true;
  if (errno == EEXIST) throw Failure(AIO_FILEEXISTS);
  return false;
}

/// A file under a name that nobody has.
class NamedDraft {
 public:
  explicit NamedDraft(const std::string& folder) {
    auto seed = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    do {
      seed = mixHash(seed, static_cast<std::uint64_t>(getpid()));
      char name[32];
      std::snprintf(name, sizeof name, ".orb-%08x.part", static_cast<unsigned>(seed));
      name_ = folder + name;
      file_.reset(open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
      if (!file_ && errno != EEXIST) throw Failure(statusOfErrno(errno));
    } while (!file_);
  }
  ~NamedDraft() { unlink(name_.c_str()); }
  NamedDraft(const NamedDraft&) = delete;
  NamedDraft& operator=(const NamedDraft&) = delete;

  const FileDescriptor& file() const noexcept { return file_; }
  const std::string& name() const noexcept { return name_; }

 private:
  std::string name_;
  FileDescriptor file_;
};

}  // namespace

NewFile::NewFile(std::string path) : path_(std::move(path)) {
  if (makeUnnamed(path_)) return;
  const NamedDraft draft(folderOf(path_));
  writeImage(draft.file());
  renameOver(draft.name(), path_, false);
}

NewFile::~NewFile() {
  if (!is_kept_) unlink(path_.c_str());
}

}  // namespace porb
