#include "kernel/region_fit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "kernel/added_lines.h"
#include "kernel/peak_shape.h"

namespace anautils {
namespace {

/// More counts than a double counts one by one.
constexpr double kMostCounts = 1e15;
constexpr double kGreatestChannel = 1e9;
constexpr double kLeastWidth = 0.05;      // channels
constexpr double kContinuumWindow = 2.5;  // FWHM

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

int firstBadCount(const double* counts, int n) {
  const double* bad = std::find_if(counts, counts + n, [](double c) { return !(c >= 0 && c <= kMostCounts); });
  return bad == counts + n ? -1 : static_cast<int>(bad - counts);
}

bool usableShape(double position, double width, double tail) {
  return std::isfinite(position) && width >= kLeastWidth && width < kGreatestChannel && std::isfinite(tail) &&
         tail >= 0;
}

bool usableLines(const std::vector<LineStart>& lines, const std::vector<FixedLine>& neighbours, double first, int n) {
  if (lines.empty() || lines.size() > at(kMaxLines)) return false;
  return std::all_of(lines.begin(), lines.end(),
                     [&](const LineStart& line) {
                       return usableShape(line.position, line.width, line.tail) && line.position >= first - 0.5 &&
                              line.position <= first + n - 0.5;
                     }) &&
         std::all_of(neighbours.begin(), neighbours.end(), [](const FixedLine& line) {
           return usableShape(line.position, line.width, line.tail) && line.area >= 0 && line.area <= kMostCounts;
         });
}

bool usableSettings(const FitSettings& s) {
  const double values[] = {s.width_scatter,     s.tail_scatter,      s.tail_free_counts,   s.step_min_counts,
                           s.curvature,         s.step_significance, s.convergence,        s.max_shift,
                           s.max_travel,        s.min_separation,    s.residual_threshold, s.add_significance,
                           s.keep_significance, s.shape_error};
  return std::all_of(std::begin(values), std::end(values), [](double v) { return std::isfinite(v) && v >= 0; }) &&
         s.max_steps > 0;
}

/// Parameters that only the data can determine; a width drawn to its calibration needs no channel.
int parametersFromData(const RegionProblem& problem) {
  const bool width_from_data = problem.settings->width != WidthMode::Derived;
  int count = problem.freeParameters();
  if (!problem.held[at(problem.layout.width())] && !width_from_data) --count;
  if (!problem.held[at(problem.layout.tail())]) --count;
  return problem.curved ? count - 1 : count;
}

/// Fewest parameters that the lines can be fitted with, without a step.
int fewestParameters(const std::vector<TrackedLine>& lines, const FitSettings& settings) {
  int count = settings.continuum == Continuum::None ? 0 : 2;
  bool common_width = false;
  for (const TrackedLine& line : lines) {
    count += 1 + (line.start.position_held ? 0 : 1) + (line.start.own_width ? 1 : 0);
    common_width |= !line.start.own_width;
  }
  return count + (common_width && settings.width == WidthMode::Free ? 1 : 0);
}

RegionFit emptyRegion(RegionFit result, std::vector<TrackedLine> lines) {
  std::stable_sort(lines.begin(), lines.end(),
                   [](const TrackedLine& a, const TrackedLine& b) { return a.start.position < b.start.position; });
  result.status = FitStatus::NoCounts;
  result.area_covariance.assign(lines.size() * lines.size(), 0.0);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    FittedLine line;
    line.centroid = lines[i].start.position;
    line.centroid_u = lines[i].start.position_held ? 0 : lines[i].start.width;
    line.fwhm = lines[i].start.width;
    line.tail = lines[i].start.tail;
    line.area_u = line.area_u0 = line.continuum_u = 1;
    line.width_held = true;
    line.start = lines[i].origin;
    line.flags = kLinePositionUndetermined | (lines[i].merged ? kLineMerged : 0U);
    result.lines.push_back(line);
    result.area_covariance[i * lines.size() + i] = 1;
  }
  return result;
}

/// How improbable it is that counting statistics alone bring an area, in standard deviations of a normal distribution:
/// root of twice the logarithm of the likelihood ratio for a continuum of u0^2 counts (Li and Ma, Astrophys. J. 272 (1983)
/// 317, with the continuum known; Cowan et al., Eur. Phys. J. C 71 (2011) 1554). Where counts are many it is the area over
/// u0; where they are few, noise reaches a multiple of u0 much more often than that would say.
double poissonSignificance(double area, double u0) {
  if (!(area > 0)) return area / u0;
  const double continuum = u0 * u0;
  return std::sqrt(2 * ((area + continuum) * std::log1p(area / continuum) - area));
}

class Report {
 public:
  Report(const LineFit& fit, RegionFit& result) : fit_(fit), result_(result), p_(fit.scoring.parameters) {
    covariance_ = fit.covariance + fit.held_scatter;
  }

  void write() {
    writeRegion();
    writeFlags();
    writeGoodness();
    std::vector<int> order(at(fit_.count()));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return fit_.position(a) < fit_.position(b); });
    for (const int a : order) {
      result_.lines.push_back(line(a));
      for (const int b : order) result_.area_covariance.push_back(covariance_(Layout::area(a), Layout::area(b)));
    }
  }

 private:
  double deviation(int j) const { return std::sqrt(std::max(covariance_(j, j), 0.0)); }
  bool onBound(int j) const { return fit_.scoring.on_bound[at(j)]; }
  bool leftOut(int j) const { return fit_.left_out[at(j)]; }
  unsigned flag(bool condition, unsigned bit) const { return condition ? bit : 0U; }

  void writeRegion() {
    const Layout& layout = fit_.problem.layout;
    result_.status = fit_.scoring.converged ? FitStatus::Ok : FitStatus::NotConverged;
    result_.steps = fit_.steps;
    result_.level_left = p_[layout.left()];
    result_.level_left_u = deviation(layout.left());
    result_.level_right = p_[layout.right()];
    result_.level_right_u = deviation(layout.right());
    result_.level_middle = fit_.problem.curved ? p_[layout.middle()] : 0.5 * (result_.level_left + result_.level_right);
    result_.step_ratio = p_[layout.step()];
    result_.step_ratio_u = deviation(layout.step());
  }

  void writeFlags() {
    const Layout& layout = fit_.problem.layout;
    const bool level_on_bound = onBound(layout.left()) || onBound(layout.middle()) || onBound(layout.right());
    result_.flags |= flag(level_on_bound, kRegionContinuumOnBound) | flag(fit_.problem.step, kRegionStepUsed) |
                     flag(onBound(layout.step()), kRegionStepOnBound) |
                     flag(onBound(layout.width()), kRegionWidthOnBound) |
                     flag(!fit_.problem.held[at(layout.tail())], kRegionTailFree) |
                     flag(onBound(layout.tail()), kRegionTailOnBound) | flag(!fit_.regular, kRegionSingular);
  }

  void writeGoodness() {
    const Evaluation& e = fit_.scoring.evaluation;
    const Eigen::Map<const Eigen::ArrayXd> counts(fit_.problem.data->counts, fit_.problem.data->n);
    result_.cash = e.cash;
    result_.chi2 = ((counts - e.model).square() / e.model).sum();
    result_.dof = fit_.problem.data->n - parametersFromData(fit_.problem);
  }

  FittedLine line(int index) const {
    const TrackedLine& tracked = fit_.lines[at(index)];
    const Layout& layout = fit_.problem.layout;
    const PeakShape shape = fit_.problem.shape(p_, index);
    const int width = tracked.start.own_width ? Layout::ownWidth(index) : layout.width();
    FittedLine line;
    line.centroid = shape.centroid;
    line.centroid_u = deviation(Layout::position(index));
    line.fwhm = fit_.width(index);
    line.width_held = fit_.problem.held[at(width)];
    line.fwhm_u = line.width_held ? 0 : line.fwhm * deviation(width);
    line.tail = shape.tail;
    line.tail_u = shape.tail * deviation(layout.tail());
    line.area = fit_.area(index);
    line.area_u = areaDeviation(index);
    line.area_u0 = areaUncertaintyWithout(fit_, index);
    line.significance = poissonSignificance(line.area, line.area_u0);
    line.added = tracked.origin < 0;
    line.start = tracked.origin;
    writeContinuum(line);
    writeLineFlags(index, line);
    return line;
  }

  /// An area held at the bottom of a dip has no entry in the covariance; it is as uncertain as no line at all.
  double areaDeviation(int index) const {
    const int j = Layout::area(index);
    return leftOut(j) ? areaUncertaintyWithout(fit_, index) : deviation(j);
  }

  void writeLineFlags(int index, FittedLine& line) const {
    const TrackedLine& tracked = fit_.lines[at(index)];
    const int j = Layout::position(index);
    const bool position_free = !tracked.start.position_held;
    const bool on_bound = onBound(j) && line.area > 0;
    const bool undetermined = position_free && leftOut(j) && !on_bound;
    if (position_free && leftOut(j)) line.centroid_u = std::max(line.centroid_u, fit_.width(index));
    line.flags = flag(line.added, kLineAdded) | flag(on_bound, kLinePositionOnBound) |
                 flag(undetermined, kLinePositionUndetermined) |
                 flag(onBound(Layout::ownWidth(index)), kLineWidthOnBound) |
                 flag(onBound(Layout::area(index)), kLineAreaOnBound) | flag(tracked.merged, kLineMerged) |
                 flag(std::isinf(line.area_u), kLineSingular);
  }

  /// Continuum and step in the window about the centroid.
  void writeContinuum(FittedLine& line) const {
    const Evaluation& e = fit_.scoring.evaluation;
    const Layout& layout = fit_.problem.layout;
    const double low = line.centroid - 0.5 * kContinuumWindow * line.fwhm;
    const double high = line.centroid + 0.5 * kContinuumWindow * line.fwhm;
    ParameterVector slope = ParameterVector::Zero(layout.count());
    const double first = fit_.problem.data->first_channel;
    for (int i = 0; i < fit_.problem.data->n; ++i) {
      const double covered = std::min(high, first + i + 0.5) - std::max(low, first + i - 0.5);
      if (covered <= 0) continue;
      const double part = std::min(covered, 1.0);
      line.continuum += part * e.continuum[i];
      for (const int j : {layout.left(), layout.middle(), layout.right(), layout.step()})
        if (!leftOut(j)) slope[j] += part * e.jacobian(i, j);
    }
    line.continuum_u = std::sqrt(std::max(slope.dot(covariance_ * slope), 0.0));
    if (!std::isfinite(line.continuum_u)) line.continuum_u = std::numeric_limits<double>::infinity();
  }

  const LineFit& fit_;
  RegionFit& result_;
  const ParameterVector& p_;
  ParameterMatrix covariance_;
};

void fitAndReport(const RegionData& data, const std::vector<TrackedLine>& lines, const FitSettings& settings,
                  RegionFit& result) {
  const bool room_for_step = data.n > fewestParameters(lines, settings) + 1;
  LineFit fit = fitLines(data, lines, settings, room_for_step);
  const std::size_t given = lines.size();
  if (mergeFitted(fit)) result.flags |= kRegionLinesMerged;
  addLines(fit);
  if (dropLines(fit) && fit.lines.size() < given) result.flags |= kRegionLinesDropped;
  Report(fit, result).write();
}

}  // namespace

RegionFit fitRegion(const double* counts, int n, double first_channel, const std::vector<LineStart>& lines,
                    const FitSettings& settings, const std::vector<FixedLine>& neighbours) {
  RegionFit result;
  result.first_channel = first_channel;
  result.channels = std::max(n, 0);
  result.neighbours = neighbours;
  const auto refuse = [&](FitStatus status) {
    result.status = status;
    return result;
  };
  if (counts == nullptr || n < 1) return refuse(FitStatus::TooFewChannels);
  result.bad_channel = firstBadCount(counts, n);
  if (result.bad_channel >= 0) return refuse(FitStatus::BadCounts);
  if (!(std::abs(first_channel) < kGreatestChannel) || !usableSettings(settings)) return refuse(FitStatus::BadSetting);
  if (!usableLines(lines, neighbours, first_channel, n)) return refuse(FitStatus::BadLine);

  std::vector<TrackedLine> tracked;
  for (const LineStart& line : lines) tracked.push_back({line, static_cast<int>(tracked.size()), false});
  if (mergeStarts(tracked, settings)) result.flags |= kRegionLinesMerged;
  if (n < fewestParameters(tracked, settings) + 1) return refuse(FitStatus::TooFewChannels);
  if (std::all_of(counts, counts + n, [](double c) { return c == 0; })) return emptyRegion(result, tracked);

  const RegionData data{counts, n, first_channel, fixedCounts(neighbours, first_channel, n)};
  fitAndReport(data, tracked, settings, result);
  return result;
}

RegionCurves evaluateRegion(const RegionFit& fit) {
  RegionCurves curves;
  curves.continuum.resize(at(fit.channels));
  for (int i = 0; i < fit.channels; ++i) {
    const double t = fit.channels > 1 ? static_cast<double>(i) / (fit.channels - 1) : 0.5;
    curves.continuum[at(i)] =
        (1 - t) * (1 - t) * fit.level_left + 2 * t * (1 - t) * fit.level_middle + t * t * fit.level_right;
  }
  curves.total = fixedCounts(fit.neighbours, fit.first_channel, fit.channels);
  std::vector<ChannelShare> shares(at(fit.channels));
  for (const FittedLine& line : fit.lines) {
    channelShares({line.centroid, line.fwhm / kFwhmPerSigma, line.tail}, fit.first_channel, fit.channels,
                  shares.data());
    std::vector<double>& own = curves.lines.emplace_back(shares.size());
    for (std::size_t i = 0; i < shares.size(); ++i) {
      own[i] = line.area * shares[i].area;
      curves.continuum[i] += line.area * fit.step_ratio / line.fwhm * shares[i].step;
      curves.total[i] += own[i];
    }
  }
  for (std::size_t i = 0; i < shares.size(); ++i) curves.total[i] += curves.continuum[i];
  return curves;
}

}  // namespace anautils
