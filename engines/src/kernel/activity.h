/// Activities of identified nuclides from the areas of their peaks. Knows no file.
#pragma once
#include <vector>

namespace orbengine {

/// What a nuclide adds to a peak: counts = coefficient * activity.
struct Contribution {
  int nuclide = 0;         ///< index
  int peak = 0;            ///< index
  double coefficient = 0;  ///< counts per Bq: probability * efficiency * live time * decay during the counting
  double own_u = 0;        ///< relative standard uncertainty that no other line shares (emission probability)
  double shared_u = 0;     ///< relative standard uncertainty that moves all lines together (efficiency)
};

struct PeakArea {
  double area = 0;    ///< net area [counts]
  double area_u = 0;  ///< [counts]
};

struct Activity {
  double value = 0;            ///< [Bq]
  double u = 0;                ///< standard uncertainty [Bq]
  double counting_u = 0;       ///< part of it that comes from counting alone [Bq]
  double chi2 = 0;             ///< reduced chi-square of the lines about the activity; 0 with one line
  int lines = 0;               ///< contributions that took part
  bool is_determined = false;  ///< false: no peak tells this nuclide from others, or none was left
};

/// How one contribution fared.
struct LineActivity {
  double value = 0;            ///< activity from this peak alone, what other nuclides add to it taken off [Bq]
  double u = 0;                ///< [Bq]
  double residual = 0;         ///< value minus the nuclide's activity, in u
  double weight = 0;           ///< share in the nuclide's activity, 0 to 1; 0: left out
  bool is_interfered = false;  ///< another nuclide adds to the peak
};

struct ActivityResult {
  std::vector<Activity> nuclides;
  std::vector<LineActivity> lines;  ///< as the contributions
};

/// Weighted least squares over all peaks at once, so that nuclides that share a peak are told apart by their others.
/// The weights hold counting, probability and efficiency; the uncertainty is the propagated one, with the efficiency's
/// part taken as common to all lines, and is enlarged by the root of the reduced chi-square where that exceeds 1. A
/// peak whose deviation exceeds `greatest_deviation` standard uncertainties is left out as interfered, the worst first,
/// as long as every nuclide of it keeps another.
/// Source: Debertin & Helmer 1988; Gilmore 2008.
ActivityResult solveActivities(const std::vector<PeakArea>& peaks, const std::vector<Contribution>& contributions,
                               int n_nuclides, double greatest_deviation);

}  // namespace orbengine
