#include "engine_set.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "aiostatus.h"
#include "data_folders.h"
#include "failure.h"
#include "open_file.h"

namespace orb::tool {

namespace {

constexpr const char* kCatalogueName = "engines.aef";
constexpr const char* kStandardSequence = "STANDARD.ASF";

/// The folder of the engines that come with orb; empty when there is none.
std::filesystem::path shippedFolder() {
  if (const char* const named = std::getenv("ORB_ENGINES"); named != nullptr && *named != '\0') return named;
  const auto program = programFolder();
  for (const char* const folder : {ORB_ENGINES_FROM_PROGRAM, "../../engines"}) {
    const auto found = (program / folder).lexically_normal();
    if (pathExists((found / kCatalogueName).string())) return found;
  }
  return {};
}

}  // namespace

EngineSet findEngines(const std::string& catalogue, const std::string& folder) {
  EngineSet engines{catalogue, folder};
  if (catalogue.empty()) {
    const std::filesystem::path home = folder.empty() ? shippedFolder() : std::filesystem::path(folder);
    if (home.empty()) throw Failure(kCatalogueName, "no engines are installed; name a catalogue with --aef");
    engines.catalogue = (home / kCatalogueName).string();
  }
  if (engines.folder.empty()) engines.folder = std::filesystem::path(engines.catalogue).parent_path().string();
  if (engines.folder.empty()) engines.folder = ".";
  if (engines.folder.back() != '/') engines.folder += '/';
  if (!pathExists(engines.catalogue)) failWithErrno(ENOENT, engines.catalogue, "cannot read the engine catalogue");
  if (parseAEF(engines.catalogue).empty()) throw Failure(engines.catalogue, "the catalogue holds no engine");
  return engines;
}

std::string findSequence(const std::string& name) {
  const std::string wanted = name.empty() ? kStandardSequence : name;
  if (const auto path = findDataFile(wanted)) return *path;
  throw Failure(wanted, "cannot open the sequence", convertReturnCode(AIO_NOFILE));
}

}  // namespace orb::tool
