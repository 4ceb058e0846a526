#include "draft_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string_view>
#include <vector>

#include "failure.h"
#include "known_files.h"

namespace com::norvale::measurement {

namespace {

constexpr std::string_view kPrefix = ".orb-";
constexpr std::string_view kSuffix = ".part";
constexpr std::size_t kRandom = 6;  // letters between them
constexpr std::string_view kDraft = "draft";

/// With the slash at its end; empty is the present folder.
std::string folderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

/// An open folder with the lock of its owner, which other processes see on every file system that has locks. Without
/// waiting.
int openLocked(const std::string& path, bool& is_locked) {
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  is_locked = folder >= 0 && flock(folder, LOCK_EX | LOCK_NB) == 0;
  return folder;
}

bool hasName(int folder, const std::string& path) {
  struct stat opened {};
  struct stat named {};
  return fstat(folder, &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(folder.empty() ? "." : folder.c_str()), closedir);
  while (entries) {
    const dirent* const entry = readdir(entries.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return names;
}

/// Removes a draft folder of this user whose process is dead. One that holds anything but a draft is none of ours.
void removeDead(const std::string& path) {
  bool is_locked = false;
  const int folder = openLocked(path, is_locked);
  struct stat state {};
  const bool is_dead = is_locked && fstat(folder, &state) == 0 && state.st_uid == geteuid() && hasName(folder, path);
  if (is_dead) {
    const auto names = namesIn(path);
    bool are_ours = true;
    for (const std::string& name : names) are_ours = are_ours && name.starts_with(kDraft);
    if (are_ours) {
      for (const std::string& name : names) unlinkat(folder, name.c_str(), 0);
      rmdir(path.c_str());
    }
  }
  if (folder >= 0) close(folder);
}

/// A new folder of that user alone. mkdtemp knows no suffix.
std::string makeFolder(const std::string& beside, const std::string& shown_name) {
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789";
  std::random_device random;
  while (true) {
    std::string path = beside + std::string(kPrefix);
    for (std::size_t i = 0; i < kRandom; ++i) path += kLetters[random() % kLetters.size()];
    path += kSuffix;
    if (mkdir(path.c_str(), 0700) == 0) return path;
    if (errno != EEXIST) failWithErrno(errno, shown_name, "cannot write");
  }
}

}  // namespace

void removeDeadDrafts(const std::string& target) {
  const std::string folder = folderOf(target);
  static std::mutex mutex;
  static std::set<std::string>& seen = *new std::set<std::string>;
  const std::lock_guard lock(mutex);
  if (!seen.insert(folder).second) return;
  for (const std::string& name : namesIn(folder))
    if (com::norvale::datatypes::isDraftFolder(name)) removeDead(folder + name);
}

DraftFolder::DraftFolder(const std::string& target, const std::string& shown_name) {
  constexpr int kAttempts = 16;
  for (int i = 0; i < kAttempts; ++i) {
    const std::string path = makeFolder(folderOf(target), shown_name);
    bool is_locked = false;
    lock_ = openLocked(path, is_locked);
    const int error = errno;
    // Between the two calls another process may have taken it for a dead one's. A file system without locks has no
    // such processes either.
    const bool is_ours = is_locked || (lock_ >= 0 && error != EWOULDBLOCK);
    if (is_ours && hasName(lock_, path)) {
      remember(path);
      return;
    }
    rmdir(path.c_str());
    if (lock_ >= 0) close(lock_);
    if (lock_ < 0 && error != ENOENT) failWithErrno(error, shown_name, "cannot write");
  }
  throw Failure(shown_name, "cannot write: somebody keeps removing the draft");
}

void DraftFolder::remember(const std::string& path) {
  try {
    draft_ = path + "/" + std::string(kDraft);
    std::vector<std::string> names = namesOfDataFile(draft_);
    names.push_back(path);
    leftovers_.emplace(names);
  } catch (...) {
    rmdir(path.c_str());
    close(lock_);
    throw;
  }
}

DraftFolder::~DraftFolder() {
  leftovers_->remove();
  close(lock_);
}

}  // namespace com::norvale::measurement
