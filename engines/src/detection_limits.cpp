// Engine "detection limits": decision threshold and detection limit of every nuclide of a library that was not
// identified, from its key line. Without efficiency calibration or live time in counts alone.
#include <algorithm>
#include <cmath>
#include <set>

#include "anastatus.h"
#include "calibrations.h"
#include "engine.h"
#include "kernel/detection_limit.h"
#include "measurement.h"
#include "nuclide_library.h"

namespace orbengine {

namespace {

enum LimitMark { kMarkNoLimit = 1, kMarkExtrapolated = 2, kMarkInterfered = 4, kMarkCut = 8 };

/// A line of the peak results, in channels.
struct Neighbour {
  double position = 0;
  double fwhm = 0;
  double area = 0;
  double area_u = 0;
  ChannelSpan extent;
};

/// As far as the line, or its low tail, holds 1 % of its height: exp(T (2 x + T) / 2 s^2) with T the tail's junction.
ChannelSpan extentOf(const Neighbour& peak, double tail) {
  constexpr double kReach_fwhm = 1.25;
  constexpr double kLongestTail_fwhm = 4;
  const double reach = kReach_fwhm * peak.fwhm;
  double below = reach;
  if (tail > 0) {
    const double sigma = peak.fwhm / 2.3548200450309493;
    below = std::clamp(tail / 2 + sigma * sigma / tail * std::log(100.0), reach, kLongestTail_fwhm * peak.fwhm);
  }
  return {static_cast<int>(std::floor(peak.position - below)), static_cast<int>(std::ceil(peak.position + reach))};
}

/// The lines of the file, those that could not be fitted too: they keep the continuum from their channels.
std::vector<Neighbour> readNeighbours(const File& file, const LineScale& scale, double n_channels) {
  require(file.hasBlock(ORB_CLS_PEAKS), ENG_NOPEAKS);
  std::vector<Neighbour> peaks;
  for (const USHORT record : file.eachRecord(ORB_CLS_PEAKS)) {
    Neighbour peak;
    peak.position = file.number(ORB_D_PKCENTROID, file.number(ORB_D_PKLOCATED, 0, record), record);
    if (!(peak.position > 0 && peak.position <= n_channels)) continue;
    const double slope = scale.slope(peak.position);
    peak.fwhm = file.number(ORB_D_PKFWHM, scale.fwhm(scale.energy(peak.position)), record) / slope;
    if (!(peak.fwhm > 0 && peak.fwhm < n_channels)) continue;
    peak.area = file.number(ORB_D_PKAREA, 0, record);
    peak.area_u = file.number(ORB_D_PKAREAUNC, 0, record);
    peak.extent = extentOf(peak, file.number(ORB_D_PKTAIL, 0, record) / slope);
    peaks.push_back(peak);
  }
  return peaks;
}

/// The settings of the file, checked.
struct Settings {
  explicit Settings(const File& file) {
    const double method = file.number(ORB_L_LIMITMETHOD, 2);
    require(method == 1 || method == 2, ENG_BADSETTING);
    rule.method = method == 1 ? LimitMethod::kCurrie : LimitMethod::kIso11929;
    rule.alpha = rule.beta = file.number(ORB_F_ERRORPROB, 5) / 100;
    rule.currie_const = file.number(ORB_F_CURRIECONST, rule.currie_const);
    rule.currie_slope = file.number(ORB_F_CURRIESLOPE, rule.currie_slope);
    rule.poisson_below = file.number(ORB_L_POISSONLIMIT, rule.poisson_below);
    window.width_fwhm = file.number(ORB_D_LIMITWINDOW, window.width_fwhm);
    geometry_u = file.number(ORB_F_GEOMUNC, 0) / 100;
    coverage = std::erf(file.number(ORB_F_COVERAGE, 2) / std::sqrt(2.0));
    constexpr double kLeastError = 1e-8;
    require(rule.alpha >= kLeastError && rule.alpha < 0.5, ENG_BADSETTING);
    require(rule.currie_const > 0 && rule.currie_slope > 0, ENG_BADSETTING);
    require(std::isfinite(rule.currie_const) && std::isfinite(rule.currie_slope), ENG_BADSETTING);
    require(window.width_fwhm > 0 && window.width_fwhm <= 20, ENG_BADSETTING);
    require(geometry_u >= 0 && std::isfinite(geometry_u), ENG_BADSETTING);
    require(coverage > 0 && coverage < 1, ENG_BADSETTING);
  }

  LimitRule rule;
  WindowSettings window;
  double geometry_u = 0;  // relative
  double coverage = 0;    // probability
};

/// A line of a nuclide and its window in the spectrum.
struct SeenLine {
  LibraryLine line;
  double position = 0;  // [channel]
  double fwhm = 0;      // [channels]
  LineWindow window;
  Background background;  // other lines included
  bool is_interfered = false;
};

class Limits {
 public:
  explicit Limits(File& file)
      : file_(file),
        settings_(file),
        scale_(file.handle()),
        curve_(EfficiencyCurve::ofFile(file.handle())),
        measurement_(file),
        counts_(file.spectrum()),
        peaks_(readNeighbours(file, scale_, static_cast<double>(counts_.size()))),
        library_(readLibrary(findLibrary(file.text(ORB_T_LIMLIBRARY), file.handle()))) {
    const bool are_counts =
        std::all_of(counts_.begin(), counts_.end(), [](float n) { return n >= 0 && std::isfinite(n); });
    require(are_counts, ANA_BADCOUNTS);
    for (const Neighbour& peak : peaks_) occupied_.push_back(peak.extent);
  }

  void run() {
    const std::set<std::string> identified = identifiedNuclides();
    file_.renewBlock(ORB_CLS_LIMITS);
    USHORT record = 0;
    for (const LibraryNuclide& nuclide : library_.nuclides) {
      if (identified.count(nuclide.name) > 0) continue;
      if (const auto seen = lineOf(nuclide)) write(++record, nuclide, *seen);
    }
    writeHeader();
  }

 private:
  std::set<std::string> identifiedNuclides() const {
    std::set<std::string> names;
    for (const USHORT record : file_.eachRecord(ORB_CLS_NUCRESULTS)) names.insert(file_.text(ORB_T_NUNAME, record));
    return names;
  }

  /// The key line, or the strongest other one when the spectrum cannot show the key. Nothing when it shows none.
  std::optional<SeenLine> lineOf(const LibraryNuclide& nuclide) const {
    std::vector<LibraryLine> lines;
    for (const LibraryLine& line : nuclide.lines)
      if (!line.is_annihilation && !line.is_x_ray && (line.is_key || !line.no_activity)) lines.push_back(line);
    std::stable_sort(lines.begin(), lines.end(), [](const LibraryLine& a, const LibraryLine& b) {
      return a.is_key != b.is_key ? a.is_key : a.probability > b.probability;
    });
    std::optional<SeenLine> between_others;
    for (const LibraryLine& line : lines) {
      SeenLine seen = look(line);
      if (seen.window.state == WindowState::kMeasured) return seen;
      if (seen.window.state == WindowState::kNoFlank && !between_others) between_others = seen;
    }
    return between_others;
  }

  SeenLine look(const LibraryLine& line) const {
    SeenLine seen;
    seen.line = line;
    seen.position = scale_.position(line.energy);
    seen.fwhm = scale_.fwhm(line.energy) / scale_.slope(seen.position);
    seen.window = measureWindow(counts_, seen.position, seen.fwhm, settings_.window, occupied_);
    double other_counts = 0;
    double other_u = 0;
    for (const Neighbour& peak : peaks_) {
      if (std::abs(peak.position - seen.position) <= seen.fwhm) seen.is_interfered = true;
      if (!(peak.area > 0)) continue;
      const double share = shareInside(peak.position, peak.fwhm, seen.window.channels);
      other_counts += share * peak.area;
      other_u = std::hypot(other_u, share * peak.area_u);
    }
    seen.background = withOtherLines(seen.window.continuum, other_counts, other_u);
    return seen;
  }

  void write(USHORT record, const LibraryNuclide& nuclide, const SeenLine& seen) {
    file_.setText(ORB_T_DLNAME, nuclide.name, record);
    file_.set(ORB_D_DLKEYENERGY, seen.line.energy, record);
    file_.set(ORB_D_DLWINDOW, widthOf(seen), record);
    file_.set(ORB_D_DLINSIDE, seen.window.inside, record);
    file_.set(ORB_D_DLPROB, seen.line.probability * 100, record);
    int marks = (seen.is_interfered ? kMarkInterfered : 0) | (seen.window.is_cut ? kMarkCut : 0);
    std::optional<EfficiencyValue> efficiency;
    if (curve_) efficiency = curve_->at(seen.line.energy);
    if (efficiency) {
      file_.set(ORB_D_DLEFF, efficiency->value, record);
      marks |= efficiency->is_extrapolated ? kMarkExtrapolated : 0;
    }
    if (seen.window.state == WindowState::kMeasured) {
      const CountLimits counts = writeCounts(record, seen);
      if (efficiency) marks |= writeActivities(record, nuclide, seen, counts, *efficiency);
    } else {
      marks |= kMarkInterfered;  // other lines leave no channel for the continuum
    }
    file_.set(ORB_L_DLSTATUS, marks, record);
  }

  /// [keV] of the channels of the window.
  double widthOf(const SeenLine& seen) const {
    return scale_.energy(seen.window.channels.last + 0.5) - scale_.energy(seen.window.channels.first - 0.5);
  }

  CountLimits writeCounts(USHORT record, const SeenLine& seen) {
    const CountLimits counts = countLimits(seen.background, settings_.rule);
    file_.set(ORB_D_DLKALPHA, counts.k_alpha, record);
    file_.set(ORB_D_DLKBETA, counts.k_beta, record);
    file_.set(ORB_D_DLTHRCOUNTS, counts.threshold, record);
    file_.set(ORB_D_DLLIMCOUNTS, counts.limit, record);
    file_.set(ORB_D_DLCONT, seen.background.counts, record);
    file_.set(ORB_D_DLCONTUNC, seen.background.counts_u, record);
    file_.set(ORB_B_DLRECOGNISED, seen.window.gross - seen.background.counts > counts.threshold ? 1 : 0, record);
    file_.setText(ORB_T_DLMETHOD, nameOf(counts.source), record);
    return counts;
  }

  static const char* nameOf(LimitSource source) {
    switch (source) {
      case LimitSource::kPoisson:
        return "Poisson quantiles";
      case LimitSource::kCurrie:
        return "normal approximation, Currie";
      default:
        return "normal approximation, ISO 11929";
    }
  }

  /// Marks that the activities bring. Nothing is written where they have no value.
  int writeActivities(USHORT record, const LibraryNuclide& nuclide, const SeenLine& seen, const CountLimits& counts,
                      const EfficiencyValue& efficiency) {
    const DecayFactor decay = measurement_.toReference(nuclide.half_life_s, nuclide.half_life_u);
    const double per_bq = seen.window.inside * efficiency.value * seen.line.probability * measurement_.live_s() *
                          measurement_.duringCounting(nuclide.half_life_s);
    CountCalibration calibration{decay.value / per_bq, 0};
    if (!(per_bq > 0) || !std::isfinite(calibration.per_count)) return 0;
    for (const double u : {efficiency.relative_u, seen.line.probability_u / seen.line.probability, decay.relative_u,
                           settings_.geometry_u})
      calibration.relative_u = std::hypot(calibration.relative_u, u);
    const ActivityLimits result =
        activityLimits(seen.window.gross, seen.background, counts, calibration, settings_.coverage);
    file_.set(ORB_D_DLTHRESHOLD, result.threshold, record);
    file_.set(ORB_D_DLACT, result.activity, record);
    file_.set(ORB_D_DLACTUNC, result.activity_u, record);
    file_.set(ORB_D_DLBEST, result.best, record);
    file_.set(ORB_D_DLBESTUNC, result.best_u, record);
    file_.set(ORB_D_DLINTLOW, result.low, record);
    file_.set(ORB_D_DLINTHIGH, result.high, record);
    if (!result.limit) return kMarkNoLimit;
    file_.set(ORB_D_DLLIMIT, *result.limit, record);
    writeSpecificLimit(record, counts, calibration);
    return 0;
  }

  void writeSpecificLimit(USHORT record, const CountLimits& counts, CountCalibration calibration) {
    const double quantity = measurement_.quantity();
    if (!(quantity > 0)) return;
    calibration.per_count /= quantity;
    calibration.relative_u = std::hypot(calibration.relative_u, measurement_.quantityRelativeU());
    if (const auto limit = activityLimit(counts, calibration)) file_.set(ORB_D_DLSPECLIMIT, *limit, record);
  }

  void writeHeader() {
    if (const auto date = measurement_.date()) file_.set(ORB_X_DLREFTIME, *date);
    file_.setText(ORB_T_DLLIBRARY, shortened(library_.path));
    file_.setText(ORB_T_DLLIBHASH, library_.hash);
    file_.set(ORB_D_DLCOVERPROB, settings_.coverage * 100);
    file_.stamp(ORB_CLS_LIMITS, "detection limits", ENGINE_VERSION,
                {ORB_D_COLLTIME, ORB_D_LIMITWINDOW, ORB_L_POISSONLIMIT, ORB_T_BUILDUP, ORB_L_DECAYCOUNTING,
                 ORB_F_CURRIECONST, ORB_F_CURRIESLOPE, ORB_L_LIMITMETHOD, ORB_F_ERRORPROB, ORB_F_COVERAGE,
                 ORB_F_GEOMUNC, ORB_T_EFFMODEL, ORB_T_LIMLIBRARY});
  }

  File& file_;
  Settings settings_;
  LineScale scale_;
  std::optional<EfficiencyCurve> curve_;
  Measurement measurement_;
  std::vector<float> counts_;
  std::vector<Neighbour> peaks_;
  std::vector<ChannelSpan> occupied_;
  NuclideLibrary library_;
};

}  // namespace

}  // namespace orbengine

using namespace orbengine;

ORB_ENGINE RunDetectionLimits(void* handle, USHORT step, void*, void*) {
  return run(handle, step, {ORB_CLS_LIMITS}, [](File& file) { Limits(file).run(); });
}
