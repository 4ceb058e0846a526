#include "kernel/start_values.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace anautils {
namespace {

constexpr double kLeastLevel = 1e-3;  // counts per channel
constexpr double kLeastStartLevel = 0.05;
constexpr double kGreatestStepRatio = 0.1;
constexpr double kSteepContinuum =
    1.3;  // ratio of levels from which a straight line is a bad start under a strong line
constexpr double kWidthFactorLow = -0.5, kWidthFactorHigh = 0.7;  // logarithms
constexpr double kOwnWidthHigh = 1.4;
constexpr double kTailFactorRange = 1.0;
constexpr double kAmpleLevel = 5;  // counts per channel
constexpr int kShareRounds = 5;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

struct EndLevels {
  double left = 0, right = 0;
  double difference_sd = 1;
};

/// Mean of channels without lines.
double meanCounts(const RegionData& data, int from, int n) {
  double sum = 0;
  for (int i = from; i < from + n; ++i) sum += data.counts[i] - data.fixed[at(i)];
  return std::max(sum / n, 0.0);
}

/// The straight line through the mean of the channels without lines at both ends.
EndLevels endLevels(const RegionData& data, const FitSettings& settings) {
  const int guess = std::max(1, data.n / 8);
  const int most = std::max(1, data.n / 3);
  const int left_n = std::clamp(settings.free_left > 0 ? settings.free_left : guess, 1, most);
  const int right_n = std::clamp(settings.free_right > 0 ? settings.free_right : guess, 1, most);
  const double left = meanCounts(data, 0, left_n);
  const double right = meanCounts(data, data.n - right_n, right_n);
  const double slope = (right - left) / (data.n - 0.5 * (left_n + right_n));
  EndLevels levels;
  levels.left = std::max({left - 0.5 * (left_n - 1) * slope, 0.3 * left, kLeastStartLevel});
  levels.right = std::max({right + 0.5 * (right_n - 1) * slope, 0.3 * right, kLeastStartLevel});
  levels.difference_sd = std::sqrt((left + 1.0 / left_n) / left_n + (right + 1.0 / right_n) / right_n);
  return levels;
}

/// Shares the counts out between lines and continuum in proportion to what is expected of each, a few times over
/// (expectation maximisation): areas above 0 that need no solution of equations.
void shareOutCounts(const RegionData& data, const Evaluation& e, const Layout& layout, ParameterVector& p) {
  const Eigen::Map<const Eigen::ArrayXd> counts(data.counts, data.n);
  const Eigen::ArrayXd base = e.continuum + Eigen::Map<const Eigen::ArrayXd>(data.fixed.data(), data.n) + 1e-6;
  const double above = std::max((counts - base).sum(), 1.0);
  for (int line = 0; line < layout.lines; ++line) p[Layout::area(line)] = above / layout.lines;
  Eigen::ArrayXd ratio(data.n);
  for (int round = 0; round < kShareRounds; ++round) {
    ratio = base;
    for (int line = 0; line < layout.lines; ++line)
      ratio += p[Layout::area(line)] * e.jacobian.col(Layout::area(line)).array();
    ratio = counts / ratio;
    for (int line = 0; line < layout.lines; ++line) {
      const auto share = e.jacobian.col(Layout::area(line)).array();
      const double inside = std::max(share.sum(), 1e-3);
      p[Layout::area(line)] = std::max(p[Layout::area(line)] * (share * ratio).sum() / inside, 0.1);
    }
  }
}

void setBounds(RegionProblem& problem) {
  const Layout& layout = problem.layout;
  const double infinity = std::numeric_limits<double>::infinity();
  problem.lower.setConstant(layout.count(), -infinity);
  problem.upper.setConstant(layout.count(), infinity);
  const auto set = [&](int j, double low, double high) {
    problem.lower[j] = low;
    problem.upper[j] = high;
  };
  for (int line = 0; line < layout.lines; ++line) {
    const LineStart& start = problem.lines[at(line)];
    const double travel = problem.settings->max_travel * start.width;
    set(Layout::position(line), start.position - travel, start.position + travel);
    set(Layout::ownWidth(line), kWidthFactorLow, kOwnWidthHigh);
  }
  set(layout.width(), kWidthFactorLow, kWidthFactorHigh);
  set(layout.tail(), -kTailFactorRange, kTailFactorRange);
  for (const int level : {layout.left(), layout.middle(), layout.right()}) set(level, kLeastLevel, infinity);
  set(layout.step(), 0, kGreatestStepRatio);
}

void setHeld(RegionProblem& problem, bool free_tail) {
  const Layout& layout = problem.layout;
  const FitSettings& settings = *problem.settings;
  bool any_common_width = false;
  for (int line = 0; line < layout.lines; ++line) {
    const LineStart& start = problem.lines[at(line)];
    problem.held[at(Layout::position(line))] = start.position_held;
    problem.held[at(Layout::ownWidth(line))] = !start.own_width;
    any_common_width |= !start.own_width;
  }
  const bool fixed =
      settings.width == WidthMode::Fixed || (settings.width == WidthMode::Derived && !(settings.width_scatter > 0));
  const bool no_continuum = settings.continuum == Continuum::None;
  problem.held[at(layout.width())] = fixed || !any_common_width;
  problem.held[at(layout.tail())] = !free_tail;
  problem.held[at(layout.left())] = no_continuum;
  problem.held[at(layout.right())] = no_continuum;
  problem.held[at(layout.middle())] = !problem.curved;
  problem.held[at(layout.step())] = !problem.step;
}

/// Counts in the lines per FWHM, which a step ratio turns into the height of the step.
double stepScale(const RegionProblem& problem) {
  double scale = 0;
  for (int line = 0; line < problem.layout.lines; ++line)
    scale += problem.start[Layout::area(line)] / problem.lines[at(line)].width;
  return scale;
}

/// A step can be negative as long as the levels carry it with room to spare. Cut off at 0, a step too small to be seen
/// would on average come out too great, and the centroid with it.
double leastStepRatio(const RegionProblem& problem, const EndLevels& levels) {
  const double level = std::min(levels.left, levels.right);
  return level < kAmpleLevel ? 0.0 : -std::min(kGreatestStepRatio, 0.5 * level / stepScale(problem));
}

/// Above a strong line the continuum may fall steeply. A straight line cannot follow and would start the fit at the
/// wall where the model is 0; so both ends start at the right level, and the step carries the difference.
void startStep(RegionProblem& problem, const EndLevels& levels) {
  const Layout& layout = problem.layout;
  problem.lower[layout.step()] = leastStepRatio(problem, levels);
  if (levels.left <= kSteepContinuum * levels.right) return;
  for (const int level : {layout.left(), layout.middle(), layout.right()}) problem.start[level] = levels.right;
  problem.start[layout.step()] = std::min((levels.left - levels.right) / stepScale(problem), 0.9 * kGreatestStepRatio);
}

}  // namespace

RegionProblem makeProblem(const RegionData& data, const std::vector<LineStart>& lines, const FitSettings& settings,
                          bool allow_step) {
  RegionProblem problem;
  problem.data = &data;
  problem.lines = lines;
  problem.settings = &settings;
  problem.layout.lines = static_cast<int>(lines.size());
  const Layout& layout = problem.layout;
  problem.start.setZero(layout.count());
  for (int line = 0; line < layout.lines; ++line) problem.start[Layout::position(line)] = lines[at(line)].position;
  EndLevels levels;
  if (settings.continuum != Continuum::None) {
    levels = endLevels(data, settings);
    problem.curved = settings.curvature > 0;
    problem.curvature_sd = settings.curvature * 0.5 * (levels.left + levels.right);
    problem.start[layout.left()] = levels.left;
    problem.start[layout.middle()] = 0.5 * (levels.left + levels.right);
    problem.start[layout.right()] = levels.right;
  }
  RegionModel model(problem);
  Evaluation e = model.makeEvaluation();
  model.evaluate(problem.start, e);
  shareOutCounts(data, e, layout, problem.start);

  double in_lines = 0;
  bool any_tail = false;
  for (int line = 0; line < layout.lines; ++line) {
    in_lines += problem.start[Layout::area(line)];
    any_tail |= problem.shape(problem.start, line).tail > 0;
  }
  problem.step = allow_step && settings.continuum == Continuum::Step &&
                 (in_lines > settings.step_min_counts ||
                  levels.left - levels.right > settings.step_significance * levels.difference_sd);
  setBounds(problem);
  setHeld(problem, any_tail && settings.tail_scatter > 0 && in_lines > settings.tail_free_counts);
  if (problem.step) startStep(problem, levels);
  return problem;
}

}  // namespace anautils
