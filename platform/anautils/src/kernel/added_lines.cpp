#include "kernel/added_lines.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

namespace anautils {
namespace {

constexpr double kScoreSpacing = 0.2;  // FWHM
constexpr double kScoreMargin = 0.8;   // FWHM, from the ends of the region: there the continuum decides
constexpr double kScoreReach = 3.0;    // FWHM
constexpr double kSplit = 0.35;        // FWHM, to both sides
constexpr double kBeside = 2.5;        // FWHM, within which the shape of a strong line decides about a weak one
constexpr double kTailStarts[] = {0.55, 0.75, 1.0};  // FWHM from the centroid to the tail's junction
constexpr double kLineCosts = 6;                     // of the merit
constexpr double kWidthPull = 3;  // standard deviations of the calibrated width that ask for a second line

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}
double square(double x) {
  return x * x;
}

int nearestLine(const LineFit& fit, double position) {
  int nearest = 0;
  for (int line = 1; line < fit.count(); ++line)
    if (std::abs(fit.position(line) - position) < std::abs(fit.position(nearest) - position)) nearest = line;
  return nearest;
}

/// A line of the calibrated shape of the nearest line that has one.
LineStart calibratedLine(const LineFit& fit, double position) {
  LineStart start;
  double distance = std::numeric_limits<double>::infinity();
  for (const TrackedLine& line : fit.lines) {
    const double d = std::abs(line.start.position - position) + (line.start.own_width ? 1e6 : 0.0);
    if (d >= distance) continue;
    distance = d;
    start = line.start;
  }
  start.position = position;
  start.own_width = false;
  start.position_held = false;
  return start;
}

/// A place among parts of a channel, as many to a channel as a spacing asks for, so that the places of a search lie at
/// few distances from the middles of their channels.
class GridPosition {
 public:
  /// The first place at or above a position.
  GridPosition(double position, double spacing)
      : spacing_(spacing),
        parts_(spacing < 1 ? std::ceil(1 / spacing) : 1),
        number_(std::ceil(position * parts_ - 1e-9)) {}

  double position() const { return number_ / parts_; }  ///< [channels from the first one of the region]
  int whole() const { return static_cast<int>(std::floor(number_ / parts_)); }
  double phase() const { return (number_ - whole() * parts_) / parts_; }
  /// The last place that is not farther than the spacing.
  double next() const { return position() + std::floor(spacing_ * parts_) / parts_; }

 private:
  double spacing_;
  double parts_;
  double number_;
};

/// The score test needs the residuals' variance: that of the counts, and what an error of the line shape adds.
class ScoreTest {
 public:
  explicit ScoreTest(const LineFit& fit)
      : fit_(fit),
        data_(*fit.problem.data),
        width_factor_(std::exp(fit.scoring.parameters[fit.problem.layout.width()])) {
    const Evaluation& e = fit.scoring.evaluation;
    const Eigen::Map<const Eigen::ArrayXd> fixed(data_.fixed.data(), data_.n);
    residual_ = Eigen::Map<const Eigen::ArrayXd>(data_.counts, data_.n) - e.model;
    variance_ = e.model + (fit.problem.settings->shape_error * (e.model - e.continuum - fixed)).square();
  }

  /// A line of the calibrated shape at a position of the grid.
  double scoreAt(const GridPosition& position) {
    const Profile& profile = profileOf(calibratedLine(fit_, data_.first_channel + position.position()), position);
    const int begin = position.whole() + profile.first;
    const int low = std::max(0, begin);
    const int length = std::min(data_.n, begin + static_cast<int>(profile.shares.size())) - low;
    if (length <= 0) return 0;
    const auto shares = profile.shares.segment(low - begin, length);
    const Eigen::VectorXd weights = shares / variance_.segment(low, length);
    ParameterVector overlap = fit_.scoring.evaluation.jacobian.middleRows(low, length).transpose().lazyProduct(weights);
    const double variance = weights.dot(shares.matrix()) - overlapVariance(overlap);
    return variance > 0 ? weights.dot(residual_.segment(low, length).matrix()) / std::sqrt(variance) : 0.0;
  }

 private:
  /// The shares of a line's area in the channels about it. Lines of one width at one place between two channels have
  /// the same, wherever they are.
  struct Profile {
    double width;
    double tail;
    double phase;  // [channels] above the whole one
    int first;     // channel of the first share, from the whole one
    Eigen::ArrayXd shares;
  };

  const Profile& profileOf(const LineStart& line, const GridPosition& position) {
    const auto is_same = [&](const Profile& p) {
      return p.width == line.width && p.tail == line.tail && p.phase == position.phase();
    };
    const auto known = std::find_if(profiles_.begin(), profiles_.end(), is_same);
    if (known != profiles_.end()) return *known;
    const int reach = static_cast<int>(std::ceil(kScoreReach * line.width));
    Profile profile{line.width, line.tail, position.phase(), -reach, Eigen::ArrayXd(2 * reach + 2)};
    channelAreas(withUsableTail({profile.phase, line.width * width_factor_ / kFwhmPerSigma, line.tail}), profile.first,
                 static_cast<int>(profile.shares.size()), profile.shares.data());
    profiles_.push_back(std::move(profile));
    return profiles_.back();
  }

  double overlapVariance(ParameterVector& overlap) const {
    for (int j = 0; j < overlap.size(); ++j)
      if (fit_.left_out[at(j)]) overlap[j] = 0;
    return fit_.regular ? overlap.dot(fit_.covariance * overlap) : 0.0;
  }

  const LineFit& fit_;
  const RegionData& data_;
  double width_factor_;
  Eigen::ArrayXd residual_, variance_;
  std::deque<Profile> profiles_;
};

/// A width factor far from the calibration is how an unresolved pair looks.
bool widthAsksForLine(const LineFit& fit) {
  const FitSettings& settings = *fit.problem.settings;
  return settings.width == WidthMode::Derived && settings.width_scatter > 0 &&
         fit.scoring.parameters[fit.problem.layout.width()] > kWidthPull * settings.width_scatter;
}

std::vector<TrackedLine> fittedStarts(const LineFit& fit) {
  std::vector<TrackedLine> lines = fit.lines;
  const double first = fit.problem.data->first_channel;
  for (int line = 0; line < fit.count(); ++line)
    if (fit.area(line) > 0)
      lines[at(line)].start.position = std::clamp(fit.position(line), first, first + fit.problem.data->n - 1);
  return lines;
}

/// An added line is believed if it pays, is apart from the others, and is not an error of a strong line's shape.
bool believable(const LineFit& before, const LineFit& after) {
  const FitSettings& settings = *before.problem.settings;
  if (!after.scoring.converged || before.merit() - after.merit() < square(settings.add_significance)) return false;
  const int added = after.count() - 1;
  double strong = 0;
  for (int line = 0; line < added; ++line) {
    const double distance = std::abs(after.position(line) - after.position(added)) / after.width(added);
    if (distance < settings.min_separation) return false;
    if (distance < 1.0 && after.area(line) <= 0) return false;
    if (distance < kBeside) strong += after.area(line);
  }
  return after.area(added) > settings.shape_error * std::max(strong, 0.0);
}

LineFit refit(const LineFit& fit, const std::vector<TrackedLine>& lines) {
  LineFit trial = fitLines(*fit.problem.data, lines, *fit.problem.settings, fit.problem.step);
  trial.steps += fit.steps;
  return trial;
}

/// Tries a line at a position, and the nearest line split in two; keeps the better if it is believable.
bool addLineAt(LineFit& fit, double position) {
  std::vector<TrackedLine> beside = fittedStarts(fit);
  std::vector<TrackedLine> split = beside;
  beside.push_back({calibratedLine(fit, position), -1, false});
  const int host = nearestLine(fit, position);
  LineFit best = refit(fit, beside);
  bool found = believable(fit, best);
  const LineStart& start = fit.lines[at(host)].start;
  const double centre = split[at(host)].start.position;
  if (!start.position_held && std::abs(centre - position) < 1.5 * start.width) {
    const double half = position > centre ? kSplit * start.width : -kSplit * start.width;
    split.push_back({calibratedLine(fit, centre + half), -1, false});
    split[at(host)].start.position = centre - half;
    LineFit trial = refit(fit, split);
    if (believable(fit, trial) && (!found || trial.merit() < best.merit())) {
      best = std::move(trial);
      found = true;
    }
  }
  if (found) fit = std::move(best);
  return found;
}

/// The lines with the tail that explains most, when that is worth as much as an added line has to be. One tail is
/// common to the region; the scatter draws each start only so far, so several are tried.
std::optional<LineFit> fitWithTail(const LineFit& fit) {
  const FitSettings& settings = *fit.problem.settings;
  std::vector<TrackedLine> lines = fittedStarts(fit);
  const bool has_tail = std::any_of(lines.begin(), lines.end(), [](const auto& line) { return line.start.tail > 0; });
  if (!settings.find_tail || has_tail) return std::nullopt;
  std::optional<LineFit> best;
  for (const double junction : kTailStarts) {
    for (TrackedLine& line : lines) line.start.tail = junction * line.start.width;
    LineFit trial = refit(fit, lines);
    const bool is_free = !trial.problem.held[at(trial.problem.layout.tail())];
    const bool is_on_bound = trial.scoring.on_bound[at(trial.problem.layout.tail())];
    const bool pays = fit.merit() - trial.merit() > square(settings.add_significance);
    if (!trial.scoring.converged || !is_free || is_on_bound || !pays) continue;
    if (!best || trial.merit() < best->merit()) best = std::move(trial);
  }
  return best;
}

/// What a fit without a tail takes for a weak line at the foot of a strong one. A line has two parameters more.
bool takeLineOrTail(LineFit& fit, double position) {
  LineFit with_line = fit;
  const bool line_found = addLineAt(with_line, position);
  std::optional<LineFit> with_tail = fitWithTail(fit);
  if (with_tail && (!line_found || with_tail->merit() < with_line.merit() + kLineCosts)) {
    fit = std::move(*with_tail);
    return true;
  }
  if (line_found) fit = std::move(with_line);
  return line_found;
}

/// Strongest line of common width: the one to split if the width asks for it.
double strongestPosition(const LineFit& fit) {
  int strongest = 0;
  for (int line = 1; line < fit.count(); ++line)
    if (!fit.lines[at(line)].start.own_width && fit.area(line) > fit.area(strongest)) strongest = line;
  return fit.position(strongest);
}

/// The lines without one of them; a close neighbour starts between the two.
std::vector<TrackedLine> without(const LineFit& fit, int dropped) {
  std::vector<TrackedLine> lines = fittedStarts(fit);
  const double position = lines[at(dropped)].start.position;
  for (int line = 0; line < fit.count(); ++line) {
    LineStart& start = lines[at(line)].start;
    if (line == dropped || start.position_held || std::abs(start.position - position) > start.width) continue;
    const double share = std::max(fit.area(dropped), 0.0) /
                         std::max(std::max(fit.area(dropped), 0.0) + std::max(fit.area(line), 0.0), 1e-9);
    start.position += share * (position - start.position);
  }
  lines.erase(lines.begin() + dropped);
  return lines;
}

double worth(const LineFit& fit, int line) {
  const FitSettings& settings = *fit.problem.settings;
  if (fit.lines[at(line)].start.position_held) return 0;
  return square(fit.lines[at(line)].origin < 0 ? settings.add_significance : settings.keep_significance);
}

bool dropOneLine(LineFit& fit) {
  double least = 0;
  LineFit best;
  for (int line = 0; line < fit.count() && fit.count() > 1; ++line) {
    if (worth(fit, line) <= 0) continue;
    LineFit trial = refit(fit, without(fit, line));
    const double gain = trial.merit() - fit.merit() - worth(fit, line);
    if (!(gain < least)) continue;
    least = gain;
    best = std::move(trial);
  }
  if (least < 0) fit = std::move(best);
  return least < 0;
}

/// Two lines nearer than allowed, of which the second gives way; {-1, -1} if there are none.
std::pair<int, int> closePair(const std::vector<TrackedLine>& lines, const FitSettings& settings) {
  for (std::size_t a = 0; a < lines.size(); ++a)
    for (std::size_t b = a + 1; b < lines.size(); ++b) {
      const double width = std::min(lines[a].start.width, lines[b].start.width);
      if (std::abs(lines[a].start.position - lines[b].start.position) >= settings.min_separation * width) continue;
      const bool keep_second = lines[b].start.position_held && !lines[a].start.position_held;
      return keep_second ? std::pair(static_cast<int>(b), static_cast<int>(a))
                         : std::pair(static_cast<int>(a), static_cast<int>(b));
    }
  return {-1, -1};
}

}  // namespace

LineScore greatestScore(const LineFit& fit) {
  ScoreTest test(fit);
  const RegionData& data = *fit.problem.data;
  LineScore greatest;
  double position = kScoreMargin * calibratedLine(fit, data.first_channel).width;
  while (true) {
    const double width = calibratedLine(fit, data.first_channel + position).width;
    const GridPosition place(position, kScoreSpacing * width);
    if (place.position() > data.n - 1 - kScoreMargin * width) return greatest;
    const double score = test.scoreAt(place);
    if (score > greatest.score) greatest = {data.first_channel + place.position(), score};
    position = place.next();
  }
}

void addLines(LineFit& fit) {
  const FitSettings& settings = *fit.problem.settings;
  for (int added = 0; added < settings.max_added && fit.count() < kMaxLines; ++added) {
    if (workOf(fit.problem, fit.steps) > kMostWork) return;
    const LineScore score = greatestScore(fit);
    const bool residual_asks = score.score > settings.residual_threshold;
    if (residual_asks && takeLineOrTail(fit, score.position)) continue;
    if (!widthAsksForLine(fit) || !addLineAt(fit, strongestPosition(fit))) return;
  }
}

bool dropLines(LineFit& fit) {
  bool any = false;
  while (dropOneLine(fit)) any = true;
  return any;
}

bool mergeStarts(std::vector<TrackedLine>& lines, const FitSettings& settings) {
  bool any = false;
  for (auto [kept, gone] = closePair(lines, settings); gone >= 0; std::tie(kept, gone) = closePair(lines, settings)) {
    lines[at(kept)].merged = true;
    lines.erase(lines.begin() + gone);
    any = true;
  }
  return any;
}

bool mergeFitted(LineFit& fit) {
  bool any = false;
  for (;;) {
    std::vector<TrackedLine> lines = fittedStarts(fit);
    const auto [kept, gone] = closePair(lines, *fit.problem.settings);
    if (gone < 0 || (lines[at(kept)].start.position_held && lines[at(gone)].start.position_held)) return any;
    if (fit.lines[at(kept)].origin < 0) fit.lines[at(kept)].origin = fit.lines[at(gone)].origin;
    lines = without(fit, gone);
    lines[at(kept > gone ? kept - 1 : kept)].merged = true;
    fit = refit(fit, lines);
    any = true;
  }
}

}  // namespace anautils
