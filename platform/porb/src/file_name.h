#pragma once
#include <string>

namespace porb {

/// The name that a data file is known by inside: its path without symbolic links, so that two names of one file meet in
/// one lock, and so that nothing in it means anything but a path. A file that does not exist yet is named by its
/// folder.
/// @throws Failure(AIO_BADNAME) for the names of what lies beside data files, AIO_LONGPATH, AIO_NOFILE, AIO_NOACCESS
std::string fileNameOf(const std::string& path);

/// The folder of such a name, with the slash.
std::string folderOf(const std::string& name);

}  // namespace porb
