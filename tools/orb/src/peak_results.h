/// The table of lines of a data file.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "json_output.h"
#include "open_file.h"

namespace orb::tool {

/// A fitted line; energies are missing without an energy calibration.
struct PeakRow {
  std::optional<double> energy_keV, energy_unc_keV;
  double centroid = 0, centroid_unc = 0;  ///< channels, from 1
  std::optional<double> fwhm_keV, fwhm_unc_keV;
  double area = 0, area_unc = 0;
  std::optional<double> rate, rate_unc;  ///< 1/s
  double continuum = 0;
  double chi_square_reduced = 0;
  double significance = 0;
  int first = 0, last = 0;  ///< channels of the fitted region
  int region = 0;           ///< lines with the same number were fitted together
  int marks = 0;            ///< 0: nothing to be said against it
  bool width_fixed = false;
  bool added = false;  ///< by the residuals of the fit
  std::string nuclide;
  double library_keV = 0;        ///< energy of the line that it was identified as; 0: none
  bool is_unidentified = false;  ///< an identification found no nuclide for it
};

/// @throws Failure
std::vector<PeakRow> readPeaks(const FileAccess& file);

/// What is to be said against a line: "added, not converged"; empty for nothing.
std::string markWords(const PeakRow& peak);

/// {"peaks": [...]}
Json peaksJson(const std::vector<PeakRow>& peaks);
void printPeaks(const std::vector<PeakRow>& peaks, Console& console);

/// A value with its uncertainty, both to the place of the uncertainty's second digit: "661.657(12)" as "661.657 ±
/// 0.012".
std::string withUncertainty(double value, double uncertainty);

}  // namespace orb::tool
