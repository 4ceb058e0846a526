#pragma once
#include <string>

namespace porb {

/// An empty data file put at a path, whole or not at all, also when the power goes away. It is removed again unless it
/// is kept.
class NewFile {
 public:
  /// @throws Failure(AIO_FILEEXISTS) and what writing a file may give
  explicit NewFile(std::string path);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  void keep() noexcept { is_kept_ = true; }

 private:
  std::string path_;
  bool is_kept_ = false;
};

}  // namespace porb
