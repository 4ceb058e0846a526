#include "kernel/line_fit.h"

#include <algorithm>
#include <cmath>

#include "kernel/start_values.h"

namespace anautils {
namespace {

/// A position known worse than this many FWHM says nothing; the line keeps the one it has.
constexpr double kVaguePosition = 0.7;
constexpr double kLeastVariance = 1e-6;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

/// The variance of the counts. Lines of negative area do not make it smaller: at the bottom of a dip there would be no
/// variance left and the uncertainty would vanish.
Eigen::ArrayXd countVariance(const LineFit& fit) {
  const Evaluation& e = fit.scoring.evaluation;
  Eigen::ArrayXd variance = e.model;
  for (int line = 0; line < fit.count(); ++line)
    if (fit.area(line) < 0) variance -= fit.area(line) * e.jacobian.col(Layout::area(line)).array();
  return variance.max(kLeastVariance);
}

/// Adds to the uncertainty what a held parameter of the given scatter does to the others.
void propagateHeld(LineFit& fit, const ParameterMatrix& information, int held, double scatter) {
  ParameterVector pull = information.col(held);
  for (int j = 0; j < pull.size(); ++j)
    if (fit.left_out[at(j)]) pull[j] = 0;
  const ParameterVector shift = scatter * (fit.covariance * pull);
  if (shift.allFinite()) fit.held_scatter += shift * shift.transpose();
}

bool leaveOutVaguePositions(LineFit& fit) {
  bool any = false;
  for (int line = 0; line < fit.count(); ++line) {
    const int j = Layout::position(line);
    if (fit.left_out[at(j)] || std::sqrt(fit.covariance(j, j)) < kVaguePosition * fit.width(line)) continue;
    fit.left_out[at(j)] = true;
    any = true;
  }
  return any;
}

void findCovariance(LineFit& fit) {
  const Layout& layout = fit.problem.layout;
  const FitSettings& settings = *fit.problem.settings;
  fit.left_out = fit.problem.held;
  for (int j = 0; j < layout.count(); ++j) fit.left_out[at(j)] |= fit.scoring.on_bound[at(j)];

  const bool width_held = fit.problem.held[at(layout.width())] && settings.width == WidthMode::Fixed;
  const bool tail_held = fit.problem.held[at(layout.tail())];
  ParameterMask needed_not = fit.left_out;
  if (width_held) needed_not[at(layout.width())] = false;
  if (tail_held) needed_not[at(layout.tail())] = false;

  ParameterMatrix information;
  fisherInformation(fit.scoring.evaluation.jacobian, countVariance(fit).inverse(), needed_not, information);
  ParameterVector gradient = ParameterVector::Zero(layout.count());
  RegionModel(fit.problem).addPriors(fit.scoring.parameters, information, gradient);
  fit.regular = invertInformation(information, fit.left_out, fit.covariance);
  if (leaveOutVaguePositions(fit)) fit.regular = invertInformation(information, fit.left_out, fit.covariance);

  fit.held_scatter.setZero(layout.count(), layout.count());
  if (width_held) propagateHeld(fit, information, layout.width(), settings.width_scatter);
  if (tail_held) propagateHeld(fit, information, layout.tail(), settings.tail_scatter);
}

LineFit fitOnce(const RegionData& data, const std::vector<TrackedLine>& lines, const FitSettings& settings,
                bool allow_step) {
  LineFit fit;
  fit.lines = lines;
  std::vector<LineStart> starts;
  starts.reserve(lines.size());
  for (const TrackedLine& line : lines) starts.push_back(line.start);
  fit.problem = makeProblem(data, starts, settings, allow_step);
  fit.scoring = maximiseLikelihood(fit.problem);
  fit.steps = fit.scoring.steps;
  findCovariance(fit);
  return fit;
}

/// A step with a free slope beside it is poorly determined under weak lines.
bool stepIsDoubtful(const LineFit& fit) {
  if (!fit.problem.step) return false;
  const FitSettings& settings = *fit.problem.settings;
  double in_lines = 0;
  for (int line = 0; line < fit.count(); ++line) in_lines += fit.area(line);
  if (in_lines > settings.step_min_counts) return false;
  const int j = fit.problem.layout.step();
  return fit.left_out[at(j)] ||
         fit.scoring.parameters[j] < settings.step_significance * std::sqrt(fit.covariance(j, j));
}

}  // namespace

LineFit fitLines(const RegionData& data, const std::vector<TrackedLine>& lines, const FitSettings& settings,
                 bool allow_step) {
  LineFit fit = fitOnce(data, lines, settings, allow_step);
  if (!stepIsDoubtful(fit)) return fit;
  LineFit straight = fitOnce(data, lines, settings, false);
  straight.steps += fit.steps;
  return straight;
}

double areaUncertaintyWithout(const LineFit& fit, int line) {
  const RegionData& data = *fit.problem.data;
  const Layout& layout = fit.problem.layout;
  std::vector<ChannelShare> shares(at(data.n));
  channelShares(fit.problem.shape(fit.scoring.parameters, line), data.first_channel, data.n, shares.data());
  Eigen::ArrayXd variance = countVariance(fit);
  const double area = std::max(fit.area(line), 0.0);
  for (int i = 0; i < data.n; ++i) variance[i] = std::max(variance[i] - area * shares[at(i)].area, kLeastVariance);

  ParameterMask left_out = fit.left_out;
  for (const int j : {Layout::position(line), Layout::ownWidth(line), layout.width(), layout.tail(), layout.step()})
    left_out[at(j)] = true;
  left_out[at(Layout::area(line))] = false;
  ParameterMatrix information, covariance;
  fisherInformation(fit.scoring.evaluation.jacobian, variance.inverse(), left_out, information);
  ParameterVector gradient = ParameterVector::Zero(layout.count());
  RegionModel(fit.problem).addPriors(fit.scoring.parameters, information, gradient);
  invertInformation(information, left_out, covariance);
  const int j = Layout::area(line);
  return std::max(1.0, std::sqrt(covariance(j, j)));
}

}  // namespace anautils
