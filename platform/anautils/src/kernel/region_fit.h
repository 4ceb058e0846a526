// The fit of a region: lines on a continuum, by Poisson maximum likelihood.
//
// The expected counts of channel i are
//   m_i = sum_p A_p [ g_i(position_p, width_p, tail_p) + q / w_p h_i ] + continuum_i,
// g the share of a line and h the step under it (peak_shape.h), q one step ratio for the region, and the continuum a
// straight line given by its levels at the two end channels, or a parabola with a middle level more (Bernstein form,
// so that levels above 0 keep it above 0). The likelihood is climbed by Fisher scoring with Levenberg's damping; its
// measure is the statistic of Cash, Astrophys. J. 228 (1979) 939. Parameters on a bound are held by an active set.
//
// Pure functions of their arguments: safe in any number of threads, and every result depends on the arguments alone.
// The only exception they let out is std::bad_alloc.
#pragma once

#include <vector>

namespace anautils {

/// As many lines, given and added, as one region can hold.
inline constexpr int kMaxLines = 16;

/// Where a line is looked for. All in channels; the FWHM is that of the calibration, at least 0.05 channels, and the
/// position lies in the region.
struct LineStart {
  double position = 0;
  double width = 0;            ///< FWHM
  double tail = 0;             ///< distance of the tail's junction below the centroid, 0 for none
  bool own_width = false;      ///< broader than the calibration says: its width is free and its own
  bool position_held = false;  ///< for questions at known energies
};

/// A line outside the region, or fitted elsewhere, whose counts belong to the model as they are. Its step is left to
/// the levels of the continuum.
struct FixedLine {
  double position = 0;
  double width = 0;
  double tail = 0;
  double area = 0;
};

enum class Continuum { None, Linear, Step };

enum class WidthMode {
  Derived,  ///< calibrated widths times one factor for the region, drawn to 1 by the calibration's scatter
  Fixed,    ///< calibrated widths; their scatter enters the uncertainties
  Free      ///< calibrated widths times one free factor
};

struct FitSettings {
  Continuum continuum = Continuum::Linear;
  WidthMode width = WidthMode::Derived;
  double width_scatter = 0.02;     ///< relative standard deviation of the calibrated FWHM
  double tail_scatter = 0.2;       ///< the same of the calibrated junction distance
  double tail_free_counts = 2000;  ///< the tail is fitted, drawn by its scatter, above so many counts in lines
  bool find_tail = false;          ///< lines without one may get it where it explains residuals better than a line
  double step_min_counts = 2000;   ///< a step is fitted above so many counts in lines, ...
  double step_significance = 3;    ///< ... or where the two sides differ by so many standard deviations
  double curvature = 0;            ///< standard deviation of (middle - mean level) / mean level; 0 is a straight line
  int max_steps = 60;              ///< Fisher scoring
  double convergence = 1e-6;  ///< change of the Cash statistic; (step / standard deviation)^2 goes down to 1/10 of it
  double max_shift = 0.4;     ///< of a position in one step, in FWHM
  double max_travel = 1.2;    ///< of a position in all, in FWHM
  double min_separation = 0.25;   ///< of two lines, in FWHM; nearer ones become one
  int max_added = 0;              ///< lines that may be added where the residuals ask for them
  double residual_threshold = 4;  ///< score in standard deviations that asks for a line
  double add_significance = 4.5;  ///< square root of the fall of the merit that an added line must bring
  double keep_significance = 0;   ///< the same for given lines of free position; 0 keeps all of them
  double shape_error = 0.003;     ///< relative error of the line shape; smaller added lines beside strong ones are not
                                  ///< believed
  int free_left = 0;              ///< channels without lines at the left end, for the start of the continuum; 0 guess
  int free_right = 0;
};

enum class FitStatus {
  Ok,
  TooFewChannels,  ///< fewer than parameters + 1, without a step
  NoCounts,        ///< all channels are empty: areas are 0, their uncertainties that of one count
  NotConverged,    ///< the numbers are the last ones reached
  BadCounts,       ///< negative, not finite, or above 1e15; see bad_channel
  BadLine,         ///< no line or too many, or a position or width that is not usable
  BadSetting
};

enum LineFlag : unsigned {
  kLineAdded = 1,                 ///< was not given
  kLinePositionOnBound = 2,       ///< moved as far as allowed; held there
  kLinePositionUndetermined = 4,  ///< too weak to have a position; held
  kLineWidthOnBound = 8,
  kLineAreaOnBound = 16,  ///< cannot be more negative
  kLineMerged = 32,       ///< stands for a given line beside it, too
  kLineSingular = 64      ///< the region does not determine the area
};

enum RegionFlag : unsigned {
  kRegionContinuumOnBound = 1,
  kRegionStepUsed = 2,
  kRegionStepOnBound = 4,
  kRegionWidthOnBound = 8,
  kRegionTailFree = 16,
  kRegionTailOnBound = 32,
  kRegionSingular = 64,
  kRegionLinesMerged = 128,
  kRegionLinesDropped = 256
};

/// Standard deviations contain everything that was free, and the scatter of what was held.
struct FittedLine {
  double centroid = 0, centroid_u = 0;    ///< channels
  double fwhm = 0, fwhm_u = 0;            ///< channels; u 0 where held
  double tail = 0, tail_u = 0;            ///< channels; u 0 where held
  double area = 0, area_u = 0;            ///< counts
  double area_u0 = 0;                     ///< area_u without the line, position and width held (ISO 11929); at least 1
  double significance = 0;                ///< area / area_u0 where counts are many, less where few
  double continuum = 0, continuum_u = 0;  ///< counts in a window of 2.5 FWHM about the centroid, within the region
  bool width_held = false;
  bool added = false;
  int start = -1;      ///< index of the given line, -1 for an added one
  unsigned flags = 0;  ///< LineFlag
};

struct RegionFit {
  FitStatus status = FitStatus::Ok;
  int bad_channel = -1;  ///< index of the first refused count
  double first_channel = 0;
  int channels = 0;
  std::vector<FittedLine> lines;              ///< by centroid
  std::vector<double> area_covariance;        ///< lines x lines, row by row
  double level_left = 0, level_left_u = 0;    ///< counts per channel in the first channel, without the step
  double level_right = 0, level_right_u = 0;  ///< the same in the last channel
  double level_middle = 0;                    ///< of the Bernstein form; the mean of both ends for a straight line
  double step_ratio = 0, step_ratio_u = 0;    ///< height of a line's step times its FWHM over its area
  double cash = 0;
  double chi2 = 0;  ///< Pearson's, with the model's variance
  int dof = 0;
  int steps = 0;       ///< of all fits that led to this one
  unsigned flags = 0;  ///< RegionFlag
  std::vector<FixedLine> neighbours;
};

/// Fits the lines to counts[0..n-1], channel numbers first_channel, first_channel + 1, ...
RegionFit fitRegion(const double* counts, int n, double first_channel, const std::vector<LineStart>& lines,
                    const FitSettings& settings, const std::vector<FixedLine>& neighbours = {});

/// The fitted model, channel by channel: everything, the continuum with its step, and each line alone.
struct RegionCurves {
  std::vector<double> total;
  std::vector<double> continuum;
  std::vector<std::vector<double>> lines;
};
RegionCurves evaluateRegion(const RegionFit& fit);

}  // namespace anautils
