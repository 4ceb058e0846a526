/// Reports as files.
#pragma once
#include <string>

#include "spectrum_to_file.h"
#include "usage_error.h"

namespace orb::tool {

/// Throws what would keep a report from being written there, before anybody works for it.
/// @throws UsageError, Failure
void requireReportCanBeWritten(const std::string& out, bool force);

/// Writes the report on an open data file as one HTML page.
/// @param out         appears whole or not at all
/// @param force       whether an existing file may be replaced; a data file is never replaced
/// @param shown_name  by which the report calls the data file
/// @param note        receives what could not be shown
/// @throws UsageError in a build without HTML pages; Failure
void writeReport(const FileAccess& file, const std::string& out, bool force, const std::string& shown_name,
                 const Note& note);

}  // namespace orb::tool
