// Calibration fits against exact solutions, and their quoted uncertainties.
#include <algorithm>
#include <cstdio>
#include <random>

#include "kernel/calibration_fit.h"
#include "measures.h"

using namespace anautils;

namespace {

std::string scientific(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1e", number);
  return text;
}

double worstOf(std::initializer_list<std::pair<double, double>> pairs) {
  double worst = 0;
  for (const auto& [found, truth] : pairs) worst = std::max(worst, std::abs(found / truth - 1));
  return worst;
}

Measure exactFits() {
  Points energy, fwhm, tail;
  for (double x = 300; x < 8000; x += 700) energy.add(x, 1.5 + 0.37 * x + 2e-7 * x * x + 1e-11 * x * x * x, 0.01);
  for (double e = 100; e < 2000; e += 300) fwhm.add(e, 0.8 + 0.035 * std::sqrt(e), 0.01);
  for (double e = 100; e < 2000; e += 300) tail.add(e, 1.2 + 0.0008 * e, 0.05);
  const EnergyFit a = fitEnergy(energy, 4, 0, 8192);
  const CurveFit b = fitFwhm(fwhm);
  const CurveFit c = fitTail(tail);
  const double worst = worstOf({{a.coefficients[0], 1.5},
                                {a.coefficients[1], 0.37},
                                {a.coefficients[2], 2e-7},
                                {a.coefficients[3], 1e-11},
                                {b.offset, 0.8},
                                {b.slope, 0.035},
                                {c.offset, 1.2},
                                {c.slope, 0.0008}});
  return {"energy (4 terms), FWHM and tail fits against the exact coefficients, noise-free", "10^-6 relative",
          scientific(worst), worst < 1e-6};
}

Measure pulls() {
  std::mt19937_64 random(5);
  std::normal_distribution<double> normal;
  Sample energies, widths;
  for (int i = 0; i < 10000; ++i) {
    Points points, fwhm;
    for (double x = 300; x < 8000; x += 700) points.add(x, 1.5 + 0.37 * x + 2e-7 * x * x + 0.02 * normal(random), 0.02);
    for (double e = 100; e < 2000; e += 200) fwhm.add(e, 0.8 + 0.035 * std::sqrt(e) + 0.03 * normal(random), 0.03);
    const EnergyFit fit = fitEnergy(points, 3, 0, 8192);
    const double x = 3100;
    const Eigen::Vector4d g(1, x, x * x, 0);
    const double e = fit.coefficients[0] + x * (fit.coefficients[1] + x * fit.coefficients[2]);
    energies.add((e - (1.5 + 0.37 * x + 2e-7 * x * x)) / std::sqrt(g.dot(fit.covariance * g)));
    const CurveFit curve = fitFwhm(fwhm);
    const double r = std::sqrt(700.0);
    const double u = std::sqrt(curve.covariance[0] + 2 * r * curve.covariance[1] + r * r * curve.covariance[2]);
    widths.add((curve.offset + curve.slope * r - 0.8 - 0.035 * r) / u);
  }
  const double least = std::min(energies.sd(), widths.sd());
  const double most = std::max(energies.sd(), widths.sd());
  return {"pulls of the fitted energy and FWHM, 10 000 replicas, width", "1 (0.95 to 1.05)",
          fixed(energies.sd(), 3) + " and " + fixed(widths.sd(), 3), least > 0.95 && most < 1.05};
}

}  // namespace

std::vector<Measure> measureCalibrations() {
  return {exactFits(), pulls()};
}
