/// The content of a data file as spectra of the text formats.
#pragma once
#include <string>
#include <vector>

#include "measurement_rows.h"
#include "neighbours.h"
#include "open_file.h"
#include "spectrum_data.h"
#include "spectrum_to_file.h"

namespace com::norvale::measurement {

/// One spectrum for each that was written to the file; all share times, texts and calibrations. Channels count from 0
/// in the result. What is left out goes to `note`.
/// @throws Failure for a file without a spectral block, or counts that the formats cannot hold
std::vector<formats::SpectrumData> spectraOfFile(const FileAccess& file, ExportFormat format, const Note& note);

/// The file as a text in a format. What is left out goes to `note`. @throws Failure as spectraOfFile
std::string textOfFile(const FileAccess& file, ExportFormat format, const Note& note);

}  // namespace com::norvale::measurement
