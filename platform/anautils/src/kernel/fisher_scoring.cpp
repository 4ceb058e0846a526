#include "kernel/fisher_scoring.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace anautils {
namespace {

constexpr double kWidthShift = 0.3;  // of a logarithm, in one step
/// A line can go down to so much of the continuum under it, so that the model stays above 0.
constexpr double kDeepestDip = 0.9;
/// Part of the convergence limit below which a step, squared and in standard deviations, is not worth taking.
constexpr double kNegligiblePart = 0.1;
constexpr int kMostDampings = 12;
/// Steps with the expected information; a fit that converges at all needs fewer.
constexpr int kExpectedSteps = 7;
/// Of an empty channel, as part of the expected information.
constexpr double kLeastCurvature = 0.05;
/// Smaller eigenvalues and pivots of an information matrix scaled to ones are taken for 0.
constexpr double kSmallestPivot = 1e-12;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

/// The indices that a mask does not leave out.
struct IndexList {
  std::array<int, kMaxParameters> index;
  int count = 0;
  IndexList(const ParameterMask& left_out, int parameters) {
    for (int j = 0; j < parameters; ++j)
      if (!left_out[at(j)]) index[at(count++)] = j;
  }
  int operator[](int i) const { return index[at(i)]; }
};

/// The part of a matrix that belongs to the listed parameters, scaled to a diagonal of ones.
ParameterMatrix scaledPart(const ParameterMatrix& matrix, const IndexList& list, ParameterVector& scale) {
  scale.resize(list.count);
  for (int a = 0; a < list.count; ++a) scale[a] = 1 / std::sqrt(matrix(list[a], list[a]));
  ParameterMatrix part(list.count, list.count);
  for (int a = 0; a < list.count; ++a)
    for (int b = 0; b < list.count; ++b) part(a, b) = matrix(list[a], list[b]) * scale[a] * scale[b];
  return part;
}

class Scoring {
 public:
  explicit Scoring(const RegionProblem& problem) : problem_(problem), model_(problem), count_(problem.layout.count()) {
    for (int i = 0; i < problem.data->n; ++i) total_ += problem.data->counts[i];
  }

  ScoringResult run();

 private:
  enum class Progress { Converged, Moved, Stuck };
  Progress advance();
  bool mayStep(int steps) const;
  void prepare();
  void setInformation();
  bool tryStep(const ParameterVector& step, double expected_gain);
  void adaptDamping(double part_of_expected);
  double squaredLength(const ParameterVector& step) const { return step.dot(information_.lazyProduct(step)); }
  void setRange();
  void setAreaRange(int line);
  bool findStep(double damping, ParameterVector& step);
  void holdPushedOut();
  bool holdBeyondRange(const IndexList& list, const ParameterVector& part, ParameterVector& step);

  const RegionProblem& problem_;
  RegionModel model_;
  int count_;
  double total_ = 0;
  ParameterVector here_, there_;
  Evaluation now_, next_;
  ParameterMatrix information_;
  ParameterVector gradient_;
  Eigen::ArrayXd weights_;
  ParameterVector down_, up_;  // range of the next step
  ParameterMask out_{};        // not in the equations of the next step
  double damping_ = 0;
  double last_gain_ = 0;
  bool observed_ = false;
};

/// On a continuum near 0 the expected information is far from the curvature of the likelihood: scoring overshoots or
/// creeps. After a step that failed, or after many, the observed weights n / m^2 take over, with which the step is
/// Newton's in areas and levels.
void Scoring::setInformation() {
  weights_ = now_.model.inverse();
  if (observed_) {
    const Eigen::Map<const Eigen::ArrayXd> counts(problem_.data->counts, problem_.data->n);
    weights_ *= (counts / now_.model).max(kLeastCurvature);
  }
  fisherInformation(now_.jacobian, weights_, problem_.held, information_);
}

/// The range of the next step: the bounds, and how far one step may carry.
void Scoring::setRange() {
  down_ = problem_.lower - here_;
  up_ = problem_.upper - here_;
  const auto limit = [&](int j, double most) {
    down_[j] = std::clamp(down_[j], -most, 0.0);
    up_[j] = std::clamp(up_[j], 0.0, most);
  };
  const Layout& layout = problem_.layout;
  for (int line = 0; line < layout.lines; ++line) {
    const bool has_position = here_[Layout::area(line)] > 0;
    const double width = problem_.lines[at(line)].width;
    limit(Layout::position(line), has_position ? problem_.settings->max_shift * width : 0.0);
    limit(Layout::ownWidth(line), kWidthShift);
    setAreaRange(line);
  }
  limit(layout.width(), kWidthShift);
  limit(layout.tail(), kWidthShift);
}

void Scoring::setAreaRange(int line) {
  const PeakShape shape = problem_.shape(here_, line);
  const double last = problem_.data->n - 1;
  const auto middle = std::lround(std::clamp(shape.centroid - problem_.data->first_channel, 0.0, last));
  const double top = std::min(1.0, 0.4 / shape.sigma);
  down_[Layout::area(line)] = -kDeepestDip * std::max(0.0, now_.continuum[middle]) / top - here_[Layout::area(line)];
}

void Scoring::prepare() {
  setInformation();
  const Eigen::Map<const Eigen::ArrayXd> counts(problem_.data->counts, problem_.data->n);
  weights_ = (counts - now_.model) / now_.model;
  gradient_.noalias() = now_.jacobian.transpose().lazyProduct(weights_.matrix());
  model_.addPriors(here_, information_, gradient_);
  setRange();
}

/// Leaves parameters out that stand on a bound and are pushed outwards, or that the data do not feel at all.
void Scoring::holdPushedOut() {
  out_ = problem_.held;
  for (int j = 0; j < count_; ++j) {
    const double touch = 1e-12 * (1 + std::abs(here_[j]));
    const bool pushed_out = (down_[j] >= -touch && gradient_[j] <= 0) || (up_[j] <= touch && gradient_[j] >= 0);
    if (pushed_out || !(information_(j, j) > 1e-300)) out_[at(j)] = true;
  }
}

/// Holds the parameters that the step would carry out of range at its end. True if there were any.
bool Scoring::holdBeyondRange(const IndexList& list, const ParameterVector& part, ParameterVector& step) {
  bool any = false;
  for (int a = 0; a < list.count; ++a) {
    const int j = list[a];
    const double inside = std::clamp(part[a], std::min(down_[j], up_[j]), up_[j]);
    if (inside == part[a]) continue;
    step[j] = inside;
    out_[at(j)] = true;
    any = true;
  }
  return any;
}

/// The damped step within the range, by an active set: what leaves the range is held at its end, and the rest is
/// solved again.
bool Scoring::findStep(double damping, ParameterVector& step) {
  holdPushedOut();
  step.setZero(count_);
  for (int j = 0; j < count_; ++j)
    if (out_[at(j)] && !problem_.held[at(j)]) step[j] = std::max(0.0, std::min(down_[j], up_[j]));
  for (;;) {
    const IndexList list(out_, count_);
    ParameterVector scale;
    ParameterMatrix matrix = scaledPart(information_, list, scale);
    matrix.diagonal().array() += damping + 1e-14;
    ParameterVector right(list.count);
    for (int a = 0; a < list.count; ++a) {
      right[a] = gradient_[list[a]];
      for (int j = 0; j < count_; ++j)
        if (out_[at(j)] && step[j] != 0) right[a] -= information_(list[a], j) * step[j];
    }
    const Eigen::LLT<ParameterMatrix> factors(matrix);
    if (factors.info() != Eigen::Success) return false;
    ParameterVector part = right.cwiseProduct(scale);
    factors.solveInPlace(part);
    part = part.cwiseProduct(scale);
    if (!part.allFinite()) return false;
    if (holdBeyondRange(list, part, step)) continue;
    for (int a = 0; a < list.count; ++a) step[list[a]] = part[a];
    return true;
  }
}

/// The more of the expected gain a step brought, the less the next one is damped. Steps that go back and forth across
/// the optimum bring little of it.
void Scoring::adaptDamping(double part_of_expected) {
  if (part_of_expected < 0.3)
    damping_ = std::max(0.3, 3 * damping_);
  else if (part_of_expected > 0.7)
    damping_ = damping_ < 1e-2 ? 0 : 0.1 * damping_;
}

bool Scoring::tryStep(const ParameterVector& step, double expected_gain) {
  there_ = here_ + step;
  const double noise = 1e-14 * total_ + 1e-12 * std::abs(now_.merit);
  if (!model_.evaluate(there_, next_) || next_.merit > now_.merit + noise) return false;
  adaptDamping((now_.merit - next_.merit + noise) / (expected_gain + noise));
  last_gain_ = now_.merit - next_.merit;
  std::swap(now_, next_);
  here_ = there_;
  return true;
}

Scoring::Progress Scoring::advance() {
  prepare();
  const double limit = problem_.settings->convergence;
  const double negligible = kNegligiblePart * limit;
  ParameterVector step;
  if (damping_ > 0 && findStep(0, step) && squaredLength(step) < negligible) return Progress::Converged;
  for (int attempt = 0; attempt < kMostDampings; ++attempt) {
    if (findStep(damping_, step)) {
      const double length = squaredLength(step);
      if (damping_ == 0 && length < negligible) return Progress::Converged;
      const bool undamped = damping_ == 0;
      if (tryStep(step, 2 * gradient_.dot(step) - length)) {
        return undamped && length < negligible && last_gain_ < limit ? Progress::Converged : Progress::Moved;
      }
      if (length < 1e-3 * negligible) return Progress::Stuck;
    }
    if (observed_) damping_ = std::max(0.3, 5 * damping_);
    observed_ = true;
    prepare();
  }
  return Progress::Stuck;
}

bool Scoring::mayStep(int steps) const {
  const bool is_affordable = steps < kFewSteps || workOf(problem_, steps) < kMostWork;
  return steps < problem_.settings->max_steps && is_affordable;
}

ScoringResult Scoring::run() {
  ScoringResult result;
  now_ = model_.makeEvaluation();
  next_ = model_.makeEvaluation();
  here_ = problem_.start;
  if (model_.evaluate(here_, now_)) {
    Progress progress = Progress::Moved;
    while (progress == Progress::Moved && mayStep(result.steps)) {
      observed_ |= result.steps == kExpectedSteps;
      progress = advance();
      ++result.steps;
    }
    result.converged = progress == Progress::Converged;
    prepare();
    holdPushedOut();
    for (int j = 0; j < count_; ++j) result.on_bound[at(j)] = out_[at(j)] && !problem_.held[at(j)];
  }
  result.parameters = here_;
  result.evaluation = std::move(now_);
  return result;
}

/// The inverse of a scaled matrix in the directions that it determines, and for each parameter how much of it lies in
/// the others.
ParameterMatrix pseudoInverse(const ParameterMatrix& matrix, ParameterVector& undetermined) {
  const int count = static_cast<int>(matrix.rows());
  ParameterMatrix inverse = ParameterMatrix::Zero(count, count);
  if (!matrix.allFinite()) {
    undetermined.setOnes(count);
    return inverse;
  }
  Eigen::SelfAdjointEigenSolver<ParameterMatrix> solver(count);
  solver.compute(matrix);
  for (int k = 0; k < count; ++k) {
    const ParameterVector direction = solver.eigenvectors().col(k);
    if (solver.eigenvalues()[k] > kSmallestPivot)
      inverse += direction * direction.transpose() / solver.eigenvalues()[k];
    else
      undetermined += direction.cwiseAbs2();
  }
  return inverse;
}

}  // namespace

ScoringResult maximiseLikelihood(const RegionProblem& problem) {
  return Scoring(problem).run();
}

bool invertInformation(const ParameterMatrix& information, const ParameterMask& left_out, ParameterMatrix& covariance) {
  const int count = static_cast<int>(information.rows());
  const IndexList list(left_out, count);
  covariance.setZero(count, count);
  ParameterVector scale;
  const ParameterMatrix matrix = scaledPart(information, list, scale);
  ParameterVector undetermined = ParameterVector::Zero(list.count);
  const Eigen::LLT<ParameterMatrix> factors(matrix);
  const bool regular = matrix.allFinite() && factors.info() == Eigen::Success &&
                       factors.matrixLLT().diagonal().array().square().minCoeff() > kSmallestPivot;
  ParameterMatrix inverse;
  if (regular)
    inverse = factors.solve(ParameterMatrix::Identity(list.count, list.count));
  else
    inverse = pseudoInverse(matrix, undetermined);
  for (int a = 0; a < list.count; ++a) {
    for (int b = 0; b < list.count; ++b) covariance(list[a], list[b]) = inverse(a, b) * scale[a] * scale[b];
    if (undetermined[a] > 1e-6) covariance(list[a], list[a]) = std::numeric_limits<double>::infinity();
  }
  return regular;
}

}  // namespace anautils
