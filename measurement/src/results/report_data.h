/// What a data file has for a report.
#pragma once
#include <string>

#include "neighbours.h"
#include "open_file.h"
#include "report.h"
#include "spectrum_to_file.h"

namespace com::norvale::measurement {

/// Everything that a report shows of a data file.
/// @param shown_name  by which the report calls the file
/// @param note        receives what could not be shown, or is shown otherwise
/// @throws Failure
report::Report readReport(const FileAccess& file, const std::string& shown_name, const Note& note);

/// The parts of it: peaks with their fits, nuclides and limits; calibrations; settings; provenance. Uncertainties are
/// multiplied by the coverage factor that the report has already.
void readResults(const FileAccess& file, report::Report& report, const Note& note);
void readCalibrations(const FileAccess& file, report::Report& report);
void readSettings(const FileAccess& file, report::Report& report);
void readProvenance(const FileAccess& file, report::Report& report);

}  // namespace com::norvale::measurement
