#include "kernel/compton_edge.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>

#include "kernel/peak_shape.h"
#include "kernel/second_difference.h"

namespace anautils {

namespace {

constexpr double kElectronMass_keV = 510.999;
constexpr double kSharp_fwhm = 0.6;  // a step washed out by the detector: erfc(x / (0.6 FWHM))
constexpr double kBlurred_fwhm = 1.8;
constexpr double kLineReach_fwhm = 1.3;
constexpr int kTerms = 6;
constexpr int kLeastChannels = 2 * kTerms;

using Row = Eigen::Matrix<double, 1, kTerms>;

/// Values of the terms at an element: the line first, then the continuum.
Row termsAt(double element, double fwhm, double position, double edge) {
  const double from_edge = (element - edge) / fwhm;
  const double from_line = (element - position) / fwhm * kFwhmPerSigma;
  const double sharp = 0.5 * std::erfc(from_edge / kSharp_fwhm);
  const double blurred = 0.5 * std::erfc(from_edge / kBlurred_fwhm);
  Row row;
  row << std::exp(-0.5 * from_line * from_line), 1, from_edge, sharp, blurred, from_edge * sharp;
  return row;
}

}  // namespace

double comptonEdge(double energy) {
  return energy / (1 + kElectronMass_keV / (2 * energy));
}

double significanceBesideEdge(const std::vector<double>& counts, double fwhm, double position, double edge,
                              const std::vector<double>& leave_out) {
  const std::vector<double> variances = smoothedCounts(counts, static_cast<int>(fwhm) | 1);
  Eigen::Matrix<double, kTerms, kTerms> information = Eigen::Matrix<double, kTerms, kTerms>::Zero();
  Eigen::Matrix<double, kTerms, 1> right = Eigen::Matrix<double, kTerms, 1>::Zero();
  int n = 0;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const auto element = static_cast<double>(i);
    const auto is_of_other = [&](double other) { return std::abs(element - other) < kLineReach_fwhm * fwhm; };
    if (std::any_of(leave_out.begin(), leave_out.end(), is_of_other)) continue;
    const Row row = termsAt(element, fwhm, position, edge);
    information += row.transpose() * row / variances[i];
    right += counts[i] / variances[i] * row.transpose();
    ++n;
  }
  const Eigen::FullPivLU<Eigen::Matrix<double, kTerms, kTerms>> lu(information);
  if (n < kLeastChannels || !lu.isInvertible()) return std::numeric_limits<double>::infinity();
  const double variance = lu.inverse()(0, 0);
  return variance > 0 ? lu.solve(right)(0) / std::sqrt(variance) : std::numeric_limits<double>::infinity();
}

}  // namespace anautils
