#pragma once
#include <cstddef>
#include <vector>

namespace anautils {

/// Points of a calibration: positions, values and their standard uncertainties (0: not known).
struct Points {
  std::vector<double> x;
  std::vector<double> y;
  std::vector<double> u;

  std::size_t size() const { return x.size(); }
  void add(double x_i, double y_i, double u_i) {
    x.push_back(x_i);
    y.push_back(y_i);
    u.push_back(u_i);
  }
  /// The uncertainties as weights of a fit: none, so that all weigh alike, unless every point has one.
  std::vector<double> sigmas() const {
    for (const double u_i : u)
      if (!(u_i > 0)) return {};
    return u;
  }
};

}  // namespace anautils
