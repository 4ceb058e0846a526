/// A folder for files that nobody keeps.
#pragma once
#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "failure.h"

namespace orb::tool {

/// Removed with all it holds at the end of its life.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "orb-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) failWithErrno(errno, name, "cannot make a temporary folder");
    path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace orb::tool
