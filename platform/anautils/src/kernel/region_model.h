// The model of a region as a function of one parameter vector, with its Jacobian.
#pragma once

#include <Eigen/Core>
#include <array>
#include <vector>

#include "kernel/peak_shape.h"
#include "kernel/region_fit.h"

namespace anautils {

inline constexpr int kMaxParameters = 3 * kMaxLines + 6;
using ParameterVector = Eigen::Matrix<double, Eigen::Dynamic, 1, 0, kMaxParameters, 1>;
using ParameterMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, 0, kMaxParameters, kMaxParameters>;
using ParameterMask = std::array<bool, kMaxParameters>;

/// Where each parameter stands. Every parameter always has its place; those not fitted are held.
/// Widths and tails are logarithms of factors on the calibrated values.
struct Layout {
  int lines = 0;
  static int area(int line) { return 3 * line; }
  static int position(int line) { return 3 * line + 1; }
  static int ownWidth(int line) { return 3 * line + 2; }
  int width() const { return 3 * lines; }
  int tail() const { return 3 * lines + 1; }
  int left() const { return 3 * lines + 2; }
  int middle() const { return 3 * lines + 3; }
  int right() const { return 3 * lines + 4; }
  int step() const { return 3 * lines + 5; }
  int count() const { return 3 * lines + 6; }
};

struct RegionData {
  const double* counts = nullptr;
  int n = 0;
  double first_channel = 0;
  std::vector<double> fixed;  ///< expected counts of what is not fitted
};

/// The model at one point of parameter space. Its arrays are made once for a fit.
struct Evaluation {
  Eigen::ArrayXd model;
  Eigen::ArrayXd continuum;
  Eigen::MatrixXd jacobian;  ///< channels x parameters
  double cash = 0;
  double merit = 0;  ///< cash and what the priors add
};

/// What is to be fitted: data, lines, start, bounds, and what is held.
struct RegionProblem {
  const RegionData* data = nullptr;
  std::vector<LineStart> lines;
  const FitSettings* settings = nullptr;
  Layout layout;
  ParameterVector start, lower, upper;
  ParameterMask held{};
  bool curved = false;
  bool step = false;
  double curvature_sd = 0;  ///< of middle - (left + right) / 2, counts per channel

  double shapeSigma(const ParameterVector& p, int line) const;
  PeakShape shape(const ParameterVector& p, int line) const;
  int freeParameters() const;
};

/// Expected counts of fixed lines in the n channels from `first_channel` on.
std::vector<double> fixedCounts(const std::vector<FixedLine>& lines, double first_channel, int n);

/// 2 (m - n + n ln(n / m)), accurate also where n and m hardly differ.
double cashTerm(double counts, double model);

class RegionModel {
 public:
  explicit RegionModel(const RegionProblem& problem);

  /// An evaluation with arrays of the right size and the columns of the continuum, which never change.
  Evaluation makeEvaluation() const;
  /// False if a channel's model is not above 0; the measures are not set then.
  bool evaluate(const ParameterVector& p, Evaluation& e);
  /// Adds the Gaussian priors to the information matrix and to the gradient.
  void addPriors(const ParameterVector& p, ParameterMatrix& information, ParameterVector& gradient) const;

 private:
  void addLine(const ParameterVector& p, int line, Evaluation& e);
  double priorMerit(const ParameterVector& p) const;

  const RegionProblem& problem_;
  std::vector<ChannelShare> shares_;
};

/// Fisher information J^T diag(weights) J of the parameters that are not left out; zero for those.
void fisherInformation(const Eigen::MatrixXd& jacobian, const Eigen::ArrayXd& weights, const ParameterMask& left_out,
                       ParameterMatrix& result);

}  // namespace anautils
