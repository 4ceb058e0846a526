#include "kernel/region_model.h"

#include <cmath>

namespace anautils {
namespace {

/// Expected counts of every channel of a region without continuum, so that an empty channel has a likelihood.
constexpr double kModelFloor = 1e-6;

double square(double x) {
  return x * x;
}

}  // namespace

double cashTerm(double counts, double model) {
  if (counts <= 0) return 2 * model;
  const double excess = (model - counts) / counts;
  return 2 * counts * (excess - std::log1p(excess));
}

std::vector<double> fixedCounts(const std::vector<FixedLine>& lines, double first_channel, int n) {
  std::vector<double> counts(static_cast<std::size_t>(n), 0.0);
  std::vector<ChannelShare> shares(static_cast<std::size_t>(n));
  for (const FixedLine& line : lines) {
    channelShares(withUsableTail({line.position, line.width / kFwhmPerSigma, line.tail}), first_channel, n,
                  shares.data());
    for (std::size_t i = 0; i < shares.size(); ++i) counts[i] += line.area * shares[i].area;
  }
  return counts;
}

double RegionProblem::shapeSigma(const ParameterVector& p, int line) const {
  const LineStart& calibrated = lines[static_cast<std::size_t>(line)];
  const double factor = std::exp(calibrated.own_width ? p[Layout::ownWidth(line)] : p[layout.width()]);
  return calibrated.width * factor / kFwhmPerSigma;
}

PeakShape RegionProblem::shape(const ParameterVector& p, int line) const {
  const double tail = lines[static_cast<std::size_t>(line)].tail;
  return withUsableTail(
      {p[Layout::position(line)], shapeSigma(p, line), tail > 0 ? tail * std::exp(p[layout.tail()]) : 0.0});
}

int RegionProblem::freeParameters() const {
  int count = 0;
  for (int j = 0; j < layout.count(); ++j) count += held[static_cast<std::size_t>(j)] ? 0 : 1;
  return count;
}

RegionModel::RegionModel(const RegionProblem& problem)
    : problem_(problem), shares_(static_cast<std::size_t>(problem.data->n)) {}

Evaluation RegionModel::makeEvaluation() const {
  const int n = problem_.data->n;
  const Layout& layout = problem_.layout;
  Evaluation e;
  e.model.resize(n);
  e.continuum.resize(n);
  e.jacobian.setZero(n, layout.count());
  if (problem_.settings->continuum == Continuum::None) return e;
  for (int i = 0; i < n; ++i) {
    const double t = n > 1 ? static_cast<double>(i) / (n - 1) : 0.5;
    e.jacobian(i, layout.left()) = problem_.curved ? square(1 - t) : 1 - t;
    e.jacobian(i, layout.middle()) = problem_.curved ? 2 * t * (1 - t) : 0.0;
    e.jacobian(i, layout.right()) = problem_.curved ? square(t) : t;
  }
  return e;
}

void RegionModel::addLine(const ParameterVector& p, int line, Evaluation& e) {
  const Layout& layout = problem_.layout;
  const PeakShape shape = problem_.shape(p, line);
  const double area = p[Layout::area(line)];
  const double width = shape.sigma * kFwhmPerSigma;
  const double step = p[layout.step()] / width;
  channelShares(shape, problem_.data->first_channel, problem_.data->n, shares_.data());
  double* by_area = e.jacobian.col(Layout::area(line)).data();
  double* by_position = e.jacobian.col(Layout::position(line)).data();
  double* by_width = e.jacobian.col(Layout::ownWidth(line)).data();
  double* by_tail = e.jacobian.col(layout.tail()).data();
  double* by_step = e.jacobian.col(layout.step()).data();
  for (int i = 0; i < problem_.data->n; ++i) {
    const ChannelShare& s = shares_[static_cast<std::size_t>(i)];
    by_area[i] = s.area + step * s.step;
    by_position[i] = area * (s.area_by_centroid + step * s.step_by_centroid);
    by_width[i] = area * (shape.sigma * s.area_by_sigma + step * (shape.sigma * s.step_by_sigma - s.step));
    by_tail[i] += area * shape.tail * s.area_by_tail;
    by_step[i] += area / width * s.step;
    e.continuum[i] += area * step * s.step;
    e.model[i] += area * s.area;
  }
  if (!problem_.lines[static_cast<std::size_t>(line)].own_width)
    e.jacobian.col(layout.width()) += e.jacobian.col(Layout::ownWidth(line));
}

bool RegionModel::evaluate(const ParameterVector& p, Evaluation& e) {
  const RegionData& data = *problem_.data;
  const Layout& layout = problem_.layout;
  e.continuum = p[layout.left()] * e.jacobian.col(layout.left()).array() +
                p[layout.middle()] * e.jacobian.col(layout.middle()).array() +
                p[layout.right()] * e.jacobian.col(layout.right()).array();
  e.model = Eigen::Map<const Eigen::ArrayXd>(data.fixed.data(), data.n);
  if (problem_.settings->continuum == Continuum::None) e.model += kModelFloor;
  for (const int column : {layout.width(), layout.tail(), layout.step()}) e.jacobian.col(column).setZero();
  for (int line = 0; line < layout.lines; ++line) addLine(p, line, e);
  e.model += e.continuum;
  if (!(e.model.minCoeff() > 0)) return false;
  e.cash = 0;
  for (int i = 0; i < data.n; ++i) e.cash += cashTerm(data.counts[i], e.model[i]);
  e.merit = e.cash + priorMerit(p);
  return std::isfinite(e.merit);
}

double RegionModel::priorMerit(const ParameterVector& p) const {
  const Layout& layout = problem_.layout;
  const FitSettings& settings = *problem_.settings;
  double merit = 0;
  if (settings.width == WidthMode::Derived && settings.width_scatter > 0)
    merit += square(p[layout.width()] / settings.width_scatter);
  if (settings.tail_scatter > 0) merit += square(p[layout.tail()] / settings.tail_scatter);
  if (problem_.curved)
    merit += square((p[layout.middle()] - 0.5 * (p[layout.left()] + p[layout.right()])) / problem_.curvature_sd);
  return merit;
}

void RegionModel::addPriors(const ParameterVector& p, ParameterMatrix& information, ParameterVector& gradient) const {
  const Layout& layout = problem_.layout;
  const auto add = [&](int j, double scatter) {
    information(j, j) += 1 / square(scatter);
    gradient[j] -= p[j] / square(scatter);
  };
  const FitSettings& settings = *problem_.settings;
  if (settings.width == WidthMode::Derived && settings.width_scatter > 0) add(layout.width(), settings.width_scatter);
  if (settings.tail_scatter > 0) add(layout.tail(), settings.tail_scatter);
  if (!problem_.curved) return;
  const int index[] = {layout.left(), layout.middle(), layout.right()};
  const double part[] = {-0.5, 1.0, -0.5};
  double bend = 0;
  for (int a = 0; a < 3; ++a) bend += part[a] * p[index[a]];
  for (int a = 0; a < 3; ++a) {
    gradient[index[a]] -= part[a] * bend / square(problem_.curvature_sd);
    for (int b = 0; b < 3; ++b) information(index[a], index[b]) += part[a] * part[b] / square(problem_.curvature_sd);
  }
}

void fisherInformation(const Eigen::MatrixXd& jacobian, const Eigen::ArrayXd& weights, const ParameterMask& left_out,
                       ParameterMatrix& result) {
  const int count = static_cast<int>(jacobian.cols());
  result.setZero(count, count);
  for (int a = 0; a < count; ++a) {
    if (left_out[static_cast<std::size_t>(a)]) continue;
    for (int b = 0; b <= a; ++b) {
      if (left_out[static_cast<std::size_t>(b)]) continue;
      result(a, b) = result(b, a) = (jacobian.col(a).array() * weights * jacobian.col(b).array()).sum();
    }
  }
}

}  // namespace anautils
