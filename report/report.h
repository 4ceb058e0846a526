/// A spectrum and what an analysis made of it as one HTML page, for the screen and for paper. Knows nothing of data
/// files: the caller fills a Report. Texts are UTF-8 and may hold anything. All functions may be called from any
/// thread.
#pragma once
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "plot.h"

namespace orb::report {

/// A value with its uncertainty; 0: none is known.
struct Quantity {
  double value = 0;
  double uncertainty = 0;
};

struct Fact {
  std::string label;
  std::string text;
};

/// What a fit expects in the channels from `first_channel` on [counts per channel].
struct FittedRegion {
  unsigned first_channel = 1;
  std::vector<double> continuum;
  std::vector<double> model;  ///< as many; continuum and lines
};

struct Peak {
  std::optional<Quantity> energy_keV;
  Quantity centroid;  ///< channels, from 1
  std::optional<Quantity> fwhm_keV;
  bool is_width_fixed = false;
  Quantity area;                 ///< counts
  std::optional<Quantity> rate;  ///< 1/s
  double significance = 0;
  double chi_square_reduced = 0;
  std::string nuclide;
  bool is_unidentified = false;  ///< an identification found no nuclide for it
  std::string remarks;
};

/// Activities below are in the unit that the report names.
struct NuclideLine {
  double energy_keV = 0;
  std::optional<double> probability_percent;
  int peak = 0;  ///< row of the peak table, from 1; 0: not found
  std::optional<double> energy_difference_keV;
  std::optional<Quantity> activity;
  std::optional<double> residual;        ///< against the nuclide's activity, in standard uncertainties
  std::optional<double> weight_percent;  ///< in the nuclide's activity
  std::string remarks;
};

struct Nuclide {
  std::string name;
  std::optional<double> confidence;
  std::optional<double> half_life_s;
  std::optional<Quantity> activity;            ///< at the start of the acquisition
  std::optional<Quantity> reference_activity;  ///< at the reference date
  std::optional<Quantity> specific_activity;   ///< per unit of the sample quantity
  std::string lines_found;                     ///< "3 of 4"
  std::string remarks;
  std::vector<NuclideLine> lines;
};

/// A nuclide that was not found.
struct Limit {
  std::string name;
  std::optional<double> key_energy_keV;
  std::optional<double> threshold, limit, specific_limit;
  std::optional<double> threshold_counts, limit_counts;
  std::string method;
  std::string remarks;
};

struct CurvePoint {
  double x = 0;
  Quantity y;
  std::optional<double> residual;
  std::string label;
  bool is_used = true;
};

/// A calibration: the equation, evaluated, and its points.
struct Calibration {
  std::string name;  ///< "Energy"
  std::string x_label, y_label, residual_label;
  bool is_log_x = false, is_log_y = false;
  std::vector<Fact> facts;
  std::vector<std::pair<double, double>> curve;
  std::vector<CurvePoint> points;
};

struct Setting {
  std::string name;
  std::string value;
  std::string meaning;
};

/// Who wrote a block of results.
struct Provenance {
  std::string results;  ///< "Peak results"
  std::string routine, version, time;
  std::string settings;  ///< name=value, one a line
};

struct Report {
  plot::Spectrum spectrum;  ///< without counts: the file has none
  bool is_log = true;       ///< the scale of the counts that the page begins with
  std::vector<Fact> facts;  ///< about the measurement and the sample
  std::vector<FittedRegion> regions;
  bool has_peak_table = false;
  std::vector<Peak> peaks;
  bool has_nuclide_table = false;
  std::vector<Nuclide> nuclides;
  bool has_limit_table = false;
  std::vector<Limit> limits;
  std::string activity_unit = "Bq";
  std::string specific_unit = "Bq/unit";
  double coverage_factor = 1;  ///< of all uncertainties; those in this struct are multiplied by it already
  std::vector<Fact> nuclide_facts;
  std::vector<Calibration> calibrations;
  std::vector<Setting> settings;
  std::vector<Setting> steps;  ///< of the analysis sequence
  std::vector<Fact> origin;    ///< where the spectrum came from
  std::vector<Provenance> provenance;
  std::string made;  ///< by whom and when
};

/// @throws std::runtime_error in a build without pages (plot::htmlAvailable()); std::invalid_argument for an energy
///         calibration that cannot serve as an axis (plot::calibrationProblem())
std::string htmlPage(const Report& report);

}  // namespace orb::report
