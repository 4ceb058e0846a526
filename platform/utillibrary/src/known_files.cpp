#include "known_files.h"

#include <cstdlib>
#include <filesystem>

namespace com::norvale::datatypes {

namespace fs = std::filesystem;

bool isPlainFileName(const std::string& text) {
  return !text.empty() && text != "." && text != ".." && text.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

bool isDraftFolder(std::string_view name) {
  constexpr std::size_t kLength = 16;
  return name.size() == kLength && name.substr(0, 5) == ".orb-" && name.substr(kLength - 5) == ".part";
}

std::optional<std::string> findKnownFile(const std::string& name, const std::vector<std::string>& installed,
                                         const std::string& own) {
  if (!isPlainFileName(name)) return std::nullopt;
  std::vector<std::string> folders;
  if (const char* const named = std::getenv("ORB_DATA_DIR"); named != nullptr && *named != '\0')
    folders.emplace_back(named);
  folders.insert(folders.end(), installed.begin(), installed.end());
  folders.push_back(own);
  for (const fs::path folder : folders) {
    std::error_code error;
    const fs::path path = fs::absolute(folder / name, error).lexically_normal();
    if (!error && fs::is_regular_file(path, error)) return path.string();
  }
  return std::nullopt;
}

}  // namespace com::norvale::datatypes
