/// What is known of a measurement, as plain values. Nothing here refers to an open file.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "measurement_export.h"

namespace com::norvale::measurement {

/// The text formats that a measurement can be written in.
enum class ExportFormat { kSpe, kN42, kCsv, kJson };

/// Energy of a position in keV: sum of coefficients[i] * position^i.
struct MEASUREMENT_EXPORT EnergyCalibration {
  std::vector<double> coefficients;  ///< at least two, no needless zeros at the end
  int first_channel = 1;             ///< channels count from 1 in data files and from 0 in text formats
  bool is_default = false;           ///< what a new file begins with; nobody has measured it
  std::string source;                ///< where it comes from; may be empty

  double energy_keV(double position) const;
};

/// Width in keV: offset + slope * sqrt(energy in keV).
struct MEASUREMENT_EXPORT FwhmCalibration {
  double offset = 0;
  double slope = 0;
  bool is_default = false;
  std::string source;

  double fwhm_keV(double energy_keV) const;
};

/// When and how long a spectrum was measured.
struct Acquisition {
  std::string title;
  std::string detector;              ///< kind of detector, as the file names it
  std::optional<std::string> start;  ///< ISO 8601
  std::optional<double> live_s, real_s;
};

/// A fitted line; energies are missing without an energy calibration.
struct Peak {
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

/// A line of a nuclide.
struct FoundLine {
  double energy_keV = 0;
  int peak = 0;  ///< number of the peak, from 1; 0: not found
};

/// A nuclide that was judged present.
struct Nuclide {
  std::string name;
  double confidence = 0;
  std::optional<double> activity_bq, activity_unc_bq;  ///< at the reference date where the file has one
  int marks = 0;                                       ///< values of ORB_L_NUSTATUS
  std::vector<FoundLine> lines;
};

/// What could have been seen of a nuclide that was not found.
struct Limit {
  std::string name;
  double key_energy_keV = 0;
  std::optional<double> threshold_bq, limit_bq;
  std::optional<double> threshold_counts, limit_counts;
};

/// A file that the results were made from.
struct SourceFile {
  std::string path;
  std::string sha256;
};

}  // namespace com::norvale::measurement
