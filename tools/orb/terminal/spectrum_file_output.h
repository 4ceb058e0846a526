/// Spectra in text formats as JSON and for the terminal.
#pragma once
#include "json_output.h"
#include "spectrum_file.h"

namespace orb::tool {

/// What `orb info` tells of it. Channels and coefficients count from 0, as in the file.
Json spectrumFileJson(const SpectrumFile& file);
void printSpectrumFile(const SpectrumFile& file, Console& console);

}  // namespace orb::tool
