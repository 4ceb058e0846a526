/// A spectrum and what is written around it in a picture.
#pragma once
#include <string>

#include "neighbours.h"
#include "plot.h"
#include "spectrum_to_file.h"

namespace com::norvale::measurement {

/// The first spectrum of a data file, with the lines of its peak table marked, or of a spectrum in a text format.
/// Channels count from 1 in the result. An energy equation that cannot serve as an axis is told to `note` and left out.
/// @throws Failure for a file that cannot be read, or has no spectrum
plot::Spectrum spectrumForPlot(const std::string& path, const Note& note);
/// The same of an open data file.
plot::Spectrum spectrumForPlot(const FileAccess& file, const Note& note);

}  // namespace com::norvale::measurement
