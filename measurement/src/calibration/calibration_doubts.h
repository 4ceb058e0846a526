/// What there is to doubt about a calibration that was just fitted.
#pragma once
#include <optional>

#include "calibration_points.h"
#include "calibration_text.h"
#include "spectrum_to_file.h"

namespace com::norvale::measurement {

/// @throws Failure for an energy point outside the spectrum's channels
void requireChannels(const FileAccess& file, const CalibrationTable& table);

/// @throws Failure naming the energy when the FWHM equation is not positive from 100 keV, or the first channel where
/// that lies higher, to the end of the spectrum
void requireWidths(const FileAccess& file);

/// Tells of points that lie off the equations, of energies far from those of the former equation, and of results in the
/// file that the former calibrations made.
/// @param is_found  points that were found, not given: the former equation is held against them
void noteDoubts(FileAccess& file, const CalibrationTable& table, const std::optional<EnergyCalibration>& former,
                bool is_found, const Note& note);

}  // namespace com::norvale::measurement
