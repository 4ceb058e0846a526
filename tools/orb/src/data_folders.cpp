#include "data_folders.h"

#include "known_files.h"
#include "open_file.h"

namespace orb::tool {

namespace {

/// Where an installation, or a build, keeps the data files.
std::vector<std::string> installedFolders() {
  const auto folder = programFolder();
  if (folder.empty()) return {};
  return {folder / "../share/orbfileaccess", folder / "../../data"};
}

}  // namespace

std::filesystem::path programFolder() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::path() : program.parent_path();
}

std::optional<std::string> findDataFile(const std::string& name) {
  if (name.find('/') != std::string::npos) return pathExists(name) ? std::optional(name) : std::nullopt;
  return com::norvale::datatypes::findKnownFile(name, installedFolders(), ".");
}

}  // namespace orb::tool
