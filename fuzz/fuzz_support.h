#pragma once
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

// What the fuzz targets share.
namespace fuzz {

/// Ends the program, which the fuzzing engine takes for a fault found.
inline void require(bool holds) {
  if (!holds) std::abort();
}

/// A folder of this process; it goes with the process.
class Scratch {
 public:
  Scratch() {
    folder_ = (std::filesystem::temp_directory_path() / "orb_fuzz_XXXXXX").string();
    require(::mkdtemp(folder_.data()) != nullptr);
  }
  ~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  std::string path(const std::string& name = "fuzz.dat") const { return folder_ + "/" + name; }

 private:
  std::string folder_;
};

}  // namespace fuzz
