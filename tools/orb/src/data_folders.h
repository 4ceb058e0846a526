/// Where files that come with orb are found.
#pragma once
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace orb::tool {

/// The folder of the running program; empty when the system does not tell.
std::filesystem::path programFolder();

/// A file that comes with orb. A name with a folder is taken as it is; a bare name is looked for as findKnownFile does:
/// in the folder that ORB_DATA_DIR names, beside an installed orb (../share/orbfileaccess), in the build tree of an orb
/// that is not installed, and last in the present folder.
std::optional<std::string> findDataFile(const std::string& name);

}  // namespace orb::tool
