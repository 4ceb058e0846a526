/// The parts of a report page, each as HTML. What a report has no values for is left out or said in a few words.
#pragma once
#include <string>

#include "report.h"

namespace orb::report {

/// The title of the measurement, or else the name of its file.
std::string titleOf(const Report& report);

std::string headerSection(const Report& report);
std::string spectrumSection(const Report& report);
std::string peakSection(const Report& report);
std::string nuclideSection(const Report& report);
std::string calibrationSection(const Report& report);
std::string settingsSection(const Report& report);
std::string provenanceSection(const Report& report);

/// What the script of the page draws beside the spectrum, as JSON that is safe inside a script element.
std::string fitsJson(const Report& report);
std::string calibrationsJson(const Report& report);

}  // namespace orb::report
