#include "file_name.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "data_file_vfs.h"
#include "errno_status.h"
#include "status.h"

namespace porb {
namespace {

/// What the service, or SQLite, makes beside a data file, or once made.
constexpr std::string_view kCompanions[] = {"-journal", "-wal", "-shm", "-lock", "-new"};

std::string resolved(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  if (!real) throw Failure(statusOfErrno(errno));
  return real.get();
}

std::string withoutLinks(const std::string& path) {
  struct stat state {};
  if (lstat(path.c_str(), &state) == 0) return resolved(path);
  const auto slash = path.rfind('/');
  const std::string folder = resolved(slash == std::string::npos ? "." : path.substr(0, slash + 1));
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

}  // namespace

std::string fileNameOf(const std::string& path) {
  std::string name = withoutLinks(path);
  for (const std::string_view companion : kCompanions)
    if (name.ends_with(companion) || path.ends_with(companion)) throw Failure(AIO_BADNAME);
  if (name.size() > kMostPathBytes) throw Failure(AIO_LONGPATH);
  return name;
}

std::string folderOf(const std::string& name) {
  return name.substr(0, name.rfind('/') + 1);
}

}  // namespace porb
