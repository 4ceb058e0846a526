#include "activity.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

namespace orbengine {

namespace {

constexpr int kReweightings = 3;  // the weights depend on the activities

double squared(double x) {
  return x * x;
}

class System {
 public:
  System(const std::vector<PeakArea>& peaks, const std::vector<Contribution>& contributions, int n_nuclides)
      : peaks_(peaks),
        contributions_(contributions),
        design_(Eigen::MatrixXd::Zero(std::ssize(peaks), n_nuclides)),
        areas_(std::ssize(peaks)),
        is_used_(peaks.size(), false),
        activities_(Eigen::VectorXd::Zero(n_nuclides)) {
    for (std::size_t i = 0; i < peaks.size(); ++i) areas_[static_cast<Eigen::Index>(i)] = peaks[i].area;
    for (const Contribution& c : contributions) {
      design_(c.peak, c.nuclide) += c.coefficient;
      is_used_[static_cast<std::size_t>(c.peak)] = peaks[static_cast<std::size_t>(c.peak)].area_u > 0;
    }
  }

  void solve() {
    for (int i = 0; i < kReweightings; ++i) solveOnce(variances());
  }

  /// Leaves out the peak that deviates most; false when none deviates too far or all are needed.
  bool dropWorst(double greatest) {
    const Eigen::VectorXd variance = variances();
    const Eigen::VectorXd residual = areas_ - design_ * activities_;
    Eigen::Index worst = -1;
    double deviation = greatest;
    for (Eigen::Index k = 0; k < areas_.size(); ++k) {
      if (!isUsed(k) || !isDispensable(k)) continue;
      const double d = std::abs(residual[k]) / std::sqrt(variance[k]);
      if (!(d > deviation)) continue;
      deviation = d;
      worst = k;
    }
    if (worst < 0) return false;
    is_used_[static_cast<std::size_t>(worst)] = false;
    return true;
  }

  ActivityResult result() const {
    ActivityResult result;
    result.lines = lineActivities();
    for (Eigen::Index n = 0; n < activities_.size(); ++n) result.nuclides.push_back(activity(n, result.lines));
    for (std::size_t i = 0; i < contributions_.size(); ++i) setWeight(result.lines[i], contributions_[i]);
    return result;
  }

 private:
  bool isUsed(Eigen::Index peak) const { return is_used_[static_cast<std::size_t>(peak)]; }

  /// Counting, and what the probabilities and efficiencies leave open at the present activities.
  Eigen::VectorXd variances() const {
    Eigen::VectorXd variance(areas_.size());
    for (std::size_t i = 0; i < peaks_.size(); ++i) variance[static_cast<Eigen::Index>(i)] = squared(peaks_[i].area_u);
    for (const Contribution& c : contributions_)
      variance[c.peak] += squared(activities_[c.nuclide] * c.coefficient) * (squared(c.own_u) + squared(c.shared_u));
    return variance;
  }

  void solveOnce(const Eigen::VectorXd& variance) {
    weights_ = Eigen::VectorXd::Zero(areas_.size());
    for (Eigen::Index k = 0; k < areas_.size(); ++k)
      if (isUsed(k)) weights_[k] = 1 / variance[k];
    const Eigen::VectorXd root = weights_.cwiseSqrt();
    const Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(scaledDesign(root));
    const Eigen::VectorXd scaled = qr.solve(root.cwiseProduct(areas_));
    activities_ = scaled.cwiseProduct(scales_);
    const Eigen::MatrixXd inverse = qr.solve(Eigen::MatrixXd(root.asDiagonal()));
    gains_ = scales_.asDiagonal() * inverse;  // activities = gains * areas
  }

  /// Columns of unit length, so that the rank does not depend on how strong a nuclide is.
  Eigen::MatrixXd scaledDesign(const Eigen::VectorXd& root) {
    Eigen::MatrixXd design = root.asDiagonal() * design_;
    scales_ = Eigen::VectorXd::Ones(design.cols());
    for (Eigen::Index n = 0; n < design.cols(); ++n) {
      const double length = design.col(n).norm();
      if (!(length > 0)) continue;
      scales_[n] = 1 / length;
      design.col(n) *= scales_[n];
    }
    return design;
  }

  bool isDispensable(Eigen::Index peak) const {
    for (Eigen::Index n = 0; n < design_.cols(); ++n) {
      if (design_(peak, n) == 0) continue;
      if (countPeaks(n) < 2) return false;
    }
    return true;
  }

  int countPeaks(Eigen::Index nuclide) const {
    int count = 0;
    for (Eigen::Index k = 0; k < design_.rows(); ++k) count += isUsed(k) && design_(k, nuclide) != 0 ? 1 : 0;
    return count;
  }

  std::vector<LineActivity> lineActivities() const {
    const Eigen::VectorXd model = design_ * activities_;
    std::vector<LineActivity> lines;
    for (const Contribution& c : contributions_) {
      const double own = design_(c.peak, c.nuclide);
      const double others = model[c.peak] - own * activities_[c.nuclide];
      LineActivity line;
      line.value = (areas_[c.peak] - others) / own;
      line.u = std::hypot(peaks_[static_cast<std::size_t>(c.peak)].area_u / own,
                          activities_[c.nuclide] * std::hypot(c.own_u, c.shared_u));
      line.residual = line.u > 0 ? (line.value - activities_[c.nuclide]) / line.u : 0;
      line.is_interfered = (design_.row(c.peak).array() != 0).count() > 1;
      lines.push_back(line);
    }
    return lines;
  }

  /// The part of a line in the sum that makes the activity, its own effect on the nuclide alone.
  void setWeight(LineActivity& line, const Contribution& c) const {
    line.weight = std::clamp(gains_(c.nuclide, c.peak) * c.coefficient, 0.0, 1.0);
  }

  /// Whether the peaks tell the nuclide from all others: its activity then follows itself and nothing else.
  bool isDetermined(Eigen::Index n) const {
    if (countPeaks(n) == 0) return false;
    constexpr double kRounding = 1e-6;
    Eigen::RowVectorXd response = gains_.row(n) * design_;
    response[n] -= 1;
    const double length = design_.col(n).norm();
    for (Eigen::Index j = 0; j < response.size(); ++j)
      if (std::abs(response[j]) * length > kRounding * std::max(length, design_.col(j).norm())) return false;
    return true;
  }

  Activity activity(Eigen::Index n, const std::vector<LineActivity>& lines) const {
    Activity activity;
    activity.value = activities_[n];
    activity.is_determined = isDetermined(n);
    double counting = 0;
    for (Eigen::Index k = 0; k < areas_.size(); ++k)
      counting += squared(gains_(n, k) * peaks_[static_cast<std::size_t>(k)].area_u);
    double own = 0;
    double shared = 0;
    double chi2 = 0;
    for (std::size_t i = 0; i < contributions_.size(); ++i) {
      const Contribution& c = contributions_[i];
      const double effect = gains_(n, c.peak) * c.coefficient * activities_[c.nuclide];
      own += squared(effect * c.own_u);
      shared += effect * c.shared_u;
      if (c.nuclide != n || !isUsed(c.peak)) continue;
      ++activity.lines;
      chi2 += squared(lines[i].residual);
    }
    if (activity.lines > 1) activity.chi2 = chi2 / (activity.lines - 1);
    const double scatter = std::max(1.0, activity.chi2);
    activity.counting_u = std::sqrt(counting);
    activity.u = std::sqrt((counting + own) * scatter + squared(shared));
    return activity;
  }

  const std::vector<PeakArea>& peaks_;
  const std::vector<Contribution>& contributions_;
  Eigen::MatrixXd design_;  // [peak, nuclide] counts per Bq
  Eigen::VectorXd areas_;
  std::vector<bool> is_used_;
  Eigen::VectorXd activities_;
  Eigen::VectorXd weights_;
  Eigen::VectorXd scales_;
  Eigen::MatrixXd gains_;
};

}  // namespace

ActivityResult solveActivities(const std::vector<PeakArea>& peaks, const std::vector<Contribution>& contributions,
                               int n_nuclides, double greatest_deviation) {
  if (peaks.empty() || n_nuclides == 0) return {std::vector<Activity>(static_cast<std::size_t>(n_nuclides)), {}};
  System system(peaks, contributions, n_nuclides);
  system.solve();
  while (greatest_deviation > 0 && system.dropWorst(greatest_deviation)) system.solve();
  return system.result();
}

}  // namespace orbengine
