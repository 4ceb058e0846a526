#include "data_folders.h"

#include <dlfcn.h>

#include "known_files.h"
#include "open_file.h"

namespace com::norvale::measurement {

namespace fs = std::filesystem;

namespace {

/// Empty when the system does not tell.
fs::path programFolder() {
  std::error_code error;
  const auto program = fs::read_symlink("/proc/self/exe", error);
  return error ? fs::path() : program.parent_path();
}

/// Of the library that holds this code, or of the program where it is part of that.
fs::path moduleFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&findDataFile), &info) == 0 || info.dli_fname == nullptr) return {};
  std::error_code error;
  const auto module = fs::canonical(info.dli_fname, error);
  return error ? fs::path() : module.parent_path();
}

/// The places of a kind of files: by their way from an installed program, from an installed library, and in a build
/// tree.
std::vector<fs::path> placesOf(const char* from_program, const char* from_library, const char* in_build) {
  std::vector<fs::path> places;
  if (const auto program = programFolder(); !program.empty())
    places = {program / from_program, program / "../.." / in_build};
  if (const auto module = moduleFolder(); !module.empty()) {
    places.push_back(module / from_library);
    places.push_back(module / ".." / in_build);
  }
  return places;
}

}  // namespace

std::vector<fs::path> engineFolders() {
  return placesOf(ORB_ENGINES_FROM_PROGRAM, ORB_ENGINES_FROM_LIBRARY, "engines");
}

std::optional<std::string> findDataFile(const std::string& name) {
  if (name.find('/') != std::string::npos) return pathExists(name) ? std::optional(name) : std::nullopt;
  std::vector<std::string> folders;
  for (const fs::path& folder : placesOf(ORB_DATA_FROM_PROGRAM, ORB_DATA_FROM_LIBRARY, "data"))
    folders.push_back(folder.string());
  return com::norvale::datatypes::findKnownFile(name, folders, ".");
}

}  // namespace com::norvale::measurement
