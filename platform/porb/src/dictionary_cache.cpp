#include "dictionary_cache.h"

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>

#include "status.h"
#include "writelog.h"

namespace porb {

extern const char* const kBuiltinDictionary;  // generated from data/orbdb.dat

namespace {

constexpr const char* kDefaultName = "orbdb.dat";

/// A state of a file: a changed file gets a dictionary of its own.
using FileState = std::tuple<std::string, dev_t, ino_t, off_t, time_t, long>;

struct Location {
  std::string path;
  bool is_default;
};

Location locate() {
  const char* named = std::getenv("ORBDB");
  const std::string name = named == nullptr || *named == '\0' ? kDefaultName : named;
  if (name.find('/') != std::string::npos) return {name, false};
  const char* moved = std::getenv("ORB_DATA_DIR");
  return {std::string(moved != nullptr && *moved != '\0' ? moved : ORB_DATA_DIR) + "/" + name, name == kDefaultName};
}

[[noreturn]] void refuse(Status status, const std::string& message) {
  using namespace com::norvale::application::vyx;
  writelog("parameter dictionary", err, message, status);
  throw Failure(status);
}

const Dictionary& builtin() {
  static const Dictionary* const dictionary = new Dictionary(kBuiltinDictionary, "built-in dictionary");
  return *dictionary;
}

std::unique_ptr<const Dictionary> read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!file || file.bad()) refuse(AIO_NODICTIONARY, "cannot read " + path);
  try {
    return std::make_unique<const Dictionary>(text, path);
  } catch (const DictionaryError& error) {
    refuse(AIO_BADDICTIONARY, error.what());
  }
}

const Dictionary& cached(const std::string& path, const struct stat& state) {
  static std::mutex mutex;
  static auto* const known = new std::map<FileState, std::unique_ptr<const Dictionary>>;
  const FileState key{path, state.st_dev, state.st_ino, state.st_size, state.st_mtim.tv_sec, state.st_mtim.tv_nsec};
  const std::lock_guard lock(mutex);
  auto& dictionary = (*known)[key];
  if (!dictionary) dictionary = read(path);
  return *dictionary;
}

}  // namespace

const Dictionary& currentDictionary() {
  const Location location = locate();
  struct stat state {};
  if (stat(location.path.c_str(), &state) == 0 && S_ISREG(state.st_mode)) return cached(location.path, state);
  if (location.is_default) return builtin();
  refuse(AIO_NODICTIONARY, "no dictionary at " + location.path);
}

}  // namespace porb
