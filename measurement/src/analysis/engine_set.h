/// Where the engines are: their catalogue and the folder of their libraries.
#pragma once
#include <memory>
#include <string>
#include <vector>

#include "FileAccess.h"
#include "Library.h"
#include "step_isolation.h"

namespace com::norvale::measurement {

struct EngineSet {
  std::string catalogue;  ///< path of the engine catalogue
  std::string folder;     ///< with the slash at its end
  IsolateSteps isolate;   ///< empty: the steps run in this process
};

/// What is asked for; empty: nothing.
struct EngineOptions {
  std::string catalogue;
  std::string folder;
};
/// The engines that the options name. Without a folder it is that of the catalogue; without either it is the one that
/// the environment variable ORB_ENGINES names, that of an installed orb, or that of the build tree.
/// @throws Failure when the catalogue cannot be read, holds no engine, or names a library outside the folder
EngineSet findEngines(const EngineOptions& options);

/// The engines of the catalogue. @throws Failure when it cannot be read to its end
com::norvale::orb::RegisteredEngines registeredEngines(const EngineSet& engines);

/// The engines' libraries, loaded for as long as the objects live. A step then loads its engine at next to no cost, and
/// threads do not wait for each other's loading. One that does not load is left to its step.
std::vector<std::unique_ptr<com::norvale::datatypes::Library>> keepLoaded(const EngineSet& engines);

/// Path of the sequence: the file of that name, or of that name in a data folder (data_folders.h). An empty name
/// means the standard sequence.
/// @throws Failure when there is none
std::string findSequence(const std::string& name);

}  // namespace com::norvale::measurement
