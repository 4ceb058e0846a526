/// Where files that come with the product are found.
#pragma once
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace com::norvale::measurement {

/// Where an installation, or a build tree, keeps its engines: seen from the running program, then from the library that
/// holds this code.
std::vector<std::filesystem::path> engineFolders();

/// A file that comes with the product. A name with a folder is taken as it is; a bare name is looked for as
/// findKnownFile does: in the folder that ORB_DATA_DIR names, where an installation keeps its data, in the build tree
/// of a program that is not installed, and last in the present folder.
std::optional<std::string> findDataFile(const std::string& name);

}  // namespace com::norvale::measurement
