#include "data_folders.h"

#include <cstdlib>

#include "open_file.h"

namespace orb::tool {

namespace {

std::vector<std::filesystem::path> dataFolders() {
  std::vector<std::filesystem::path> folders;
  if (const char* const named = std::getenv("ORB_DATA_DIR"); named != nullptr && *named != '\0')
    folders.emplace_back(named);
  const auto folder = programFolder();
  if (folder.empty()) return folders;
  folders.push_back(folder / "../share/orbfileaccess");
  folders.push_back(folder / "../../data");
  return folders;
}

}  // namespace

std::filesystem::path programFolder() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::path() : program.parent_path();
}

std::optional<std::string> findDataFile(const std::string& name) {
  if (pathExists(name)) return name;
  if (name.find('/') != std::string::npos) return std::nullopt;
  for (const auto& folder : dataFolders()) {
    const std::string path = (folder / name).lexically_normal().string();
    if (pathExists(path)) return path;
  }
  return std::nullopt;
}

}  // namespace orb::tool
