#pragma once
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace orbtest {

/// An empty folder that goes away with everything in it: on disk, or in memory where the machine has such a place, for
/// tests that make thousands of files and no point of their durability.
class ScratchFolder {
 public:
  enum Place { InMemory, OnDisk };
  explicit ScratchFolder(Place place = InMemory) {
    const char* const memory = "/dev/shm";
    const bool in_memory = place == InMemory && getenv("TMPDIR") == nullptr && access(memory, W_OK | X_OK) == 0;
    path_ = ((in_memory ? memory : std::filesystem::temp_directory_path()) / "orb_XXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr) throw std::filesystem::filesystem_error("mkdtemp", path_, {});
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace orbtest
