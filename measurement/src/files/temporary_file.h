/// A place for a data file that nobody keeps.
#pragma once
#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>

#include "failure.h"
#include "leftovers.h"

namespace com::norvale::measurement {

/// A name in a new folder that only this user can enter. File and folder are removed at the end of its life, also when
/// a signal ends the program.
class TemporaryFile {
 public:
  TemporaryFile() {
    std::string folder = (std::filesystem::temp_directory_path() / "orb-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) failWithErrno(errno, folder, "cannot make a temporary folder");
    path_ = folder + "/analysed.dat";
    std::vector<std::string> names = namesOfDataFile(path_);
    names.push_back(folder);
    leftovers_.emplace(names);
  }
  ~TemporaryFile() { leftovers_->remove(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Nothing lies there yet.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::optional<Leftovers> leftovers_;
};

}  // namespace com::norvale::measurement
