/// FWHM calibrations between the forms of text formats and the equation of a data file, offset + slope * sqrt(E).
///
/// The two seldom agree, so an import keeps the original equation as text beside the fitted one (provenance of the
/// shape calibration points), and an export hands it on as long as nobody has changed the fitted one.
#pragma once
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "calibration_text.h"
#include "neighbours.h"
#include "spectrum_data.h"

namespace com::norvale::measurement {

struct WidthFit {
  double offset = 0;
  double slope = 0;
  double worst = 0;  ///< greatest relative deviation from the original, where that is positive
};

/// Fits the equation of a data file.
/// @param energy      coefficients over the channel, channels from 0; may be empty
/// @param n_channels  the fit covers channels 0 to n_channels - 1
/// @return nothing when the widths cannot be put over energies, or do not grow with the energy
std::optional<WidthFit> fitWidth(const formats::FwhmCalibration& original, std::span<const double> energy,
                                 std::size_t n_channels);

/// The original as text, one name=value pair a line, together with the fit that was made of it.
std::string widthRecord(const formats::FwhmCalibration& original, const WidthFit& fit);
/// The original out of such a text; nothing when the text is another, or belongs to another fit.
std::optional<formats::FwhmCalibration> originalWidth(const std::string& record, const FwhmCalibration& in_force);

/// The equation as points (energy, width in keV).
formats::FwhmCalibration widthPoints(const FwhmCalibration& calibration, std::span<const double> energy,
                                     std::size_t n_channels);
/// The equation as a quadratic in channels over the channel.
/// @param worst  out: greatest relative deviation
formats::FwhmCalibration widthQuadratic(const FwhmCalibration& calibration, std::span<const double> energy,
                                        std::size_t n_channels, double& worst);

}  // namespace com::norvale::measurement
