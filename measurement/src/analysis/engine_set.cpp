#include "engine_set.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "aiostatus.h"
#include "data_folders.h"
#include "failure.h"
#include "known_files.h"
#include "logged_failure.h"
#include "open_file.h"

namespace com::norvale::measurement {

namespace {

constexpr const char* kCatalogueName = "engines.aef";
constexpr const char* kStandardSequence = "STANDARD.ASF";

/// The folder of the engines that come with the product; empty when there is none.
std::filesystem::path shippedFolder() {
  if (const char* const named = std::getenv("ORB_ENGINES"); named != nullptr && *named != '\0') return named;
  for (const auto& folder : engineFolders())
    if (pathExists((folder / kCatalogueName).string())) return folder.lexically_normal();
  return {};
}

/// A catalogue names libraries of its folder; one that reaches out of it is refused before anything of it is loaded.
void requireEngines(const std::string& catalogue) {
  const auto engines = registeredEngines({catalogue, {}, {}});
  if (engines.empty()) throw Failure(catalogue, "the catalogue holds no engine");
  for (const auto& engine : engines) {
    if (com::norvale::datatypes::isPlainFileName(engine.Resource)) continue;
    throw Failure(catalogue, "the library of the engine '" + engine.Name + "', '" + engine.Resource +
                                 "', is not a plain file name");
  }
}

}  // namespace

EngineSet findEngines(const EngineOptions& options) {
  EngineSet engines{options.catalogue, options.folder, {}};
  if (engines.catalogue.empty()) {
    const std::filesystem::path home = engines.folder.empty() ? shippedFolder() : std::filesystem::path(engines.folder);
    if (home.empty()) throw Failure(kCatalogueName, "no engines are installed; name a catalogue with --aef");
    engines.catalogue = (home / kCatalogueName).string();
  }
  if (engines.folder.empty()) engines.folder = std::filesystem::path(engines.catalogue).parent_path().string();
  if (engines.folder.empty()) engines.folder = ".";
  if (engines.folder.back() != '/') engines.folder += '/';
  if (!pathExists(engines.catalogue)) failWithErrno(ENOENT, engines.catalogue, "cannot read the engine catalogue");
  if (!std::filesystem::is_regular_file(engines.catalogue))  // a pipe would be waited for
    throw Failure(engines.catalogue, "cannot read the engine catalogue", convertReturnCode(AIO_NOTREGULAR));
  requireEngines(engines.catalogue);
  return engines;
}

com::norvale::orb::RegisteredEngines registeredEngines(const EngineSet& engines) {
  const LoggedFailure failure;
  auto registered = parseAEF(engines.catalogue);
  require(failure.code(), engines.catalogue, "cannot read the engine catalogue");
  return registered;
}

std::vector<std::unique_ptr<com::norvale::datatypes::Library>> keepLoaded(const EngineSet& engines) {
  std::vector<std::unique_ptr<com::norvale::datatypes::Library>> loaded;
  for (const auto& engine : registeredEngines(engines)) {
    auto library = std::make_unique<com::norvale::datatypes::Library>();
    if (library->open(engines.folder + engine.Resource) == 0) loaded.push_back(std::move(library));
  }
  return loaded;
}

std::string findSequence(const std::string& name) {
  const std::string wanted = name.empty() ? kStandardSequence : name;
  if (const auto path = findDataFile(wanted)) return *path;
  throw Failure(wanted, "cannot open the sequence", convertReturnCode(AIO_NOFILE));
}

}  // namespace com::norvale::measurement
