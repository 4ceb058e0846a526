// Engine "detection limits": decision threshold and detection limit of every nuclide of a library that was not
// identified, from its key line. Without efficiency calibration or live time in counts alone.
#include <algorithm>
#include <cmath>
#include <set>

#include "anastatus.h"
#include "calibrations.h"
#include "engine.h"
#include "kernel/decay.h"
#include "kernel/detection_limit.h"
#include "nuclide_library.h"

namespace orbengine {

namespace {

constexpr double kTicksPerSecond = 1e7;  // of a time in a data file

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
  const auto blocks = file.blocks();
  require(std::any_of(blocks.begin(), blocks.end(), [](const auto& b) { return b.usClass == ORB_CLS_PEAKS; }),
          ENG_NOPEAKS);
  std::vector<Neighbour> peaks;
  const USHORT records = file.records(ORB_CLS_PEAKS);
  for (unsigned i = 1; i <= records; ++i) {
    const auto record = static_cast<USHORT>(i);
    Neighbour peak;
    peak.position = file.number(0x2006000A, file.number(0x20060006, 0, record), record);
    if (!(peak.position > 0 && peak.position <= n_channels)) continue;
    const double slope = scale.slope(peak.position);
    peak.fwhm = file.number(0x20060024, scale.fwhm(scale.energy(peak.position)), record) / slope;
    if (!(peak.fwhm > 0 && peak.fwhm < n_channels)) continue;
    peak.area = file.number(0x2006000C, 0, record);
    peak.area_u = file.number(0x2006000D, 0, record);
    peak.extent = extentOf(peak, file.number(0x20060022, 0, record) / slope);
    peaks.push_back(peak);
  }
  return peaks;
}

/// The settings of the file, checked.
struct Settings {
  explicit Settings(const File& file) {
    const double method = file.number(0x20030085, 2);
    require(method == 1 || method == 2, ENG_BADSETTING);
    rule.method = method == 1 ? LimitMethod::kCurrie : LimitMethod::kIso11929;
    rule.alpha = rule.beta = file.number(0x200300B1, 5) / 100;
    rule.currie_const = file.number(0x20030082, rule.currie_const);
    rule.currie_slope = file.number(0x20030083, rule.currie_slope);
    rule.poisson_below = file.number(0x2003003C, rule.poisson_below);
    window.width_fwhm = file.number(0x20030033, window.width_fwhm);
    geometry_u = file.number(0x200300B3, 0) / 100;
    coverage = std::erf(file.number(0x200300B2, 2) / std::sqrt(2.0));
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

/// The times of the file, and what decay makes of an activity between them.
class Measurement {
 public:
  explicit Measurement(const File& file)
      : live_s_(file.number(0x20000005, 0)),
        start_(file.find(0x20000001)),
        reference_(file.find(0x20010008)),
        quantity_(file.number(0x20010005, 0)),
        quantity_u_(file.number(0x20010007, 0)),
        collection_s_(file.number(0x20030015, 0)) {
    const double real_s = file.number(0x20000006, 0);
    counting_s_ = file.number(0x20030059, 1) == 0 ? 0 : real_s > 0 ? real_s : live_s_;
    const std::string kind = file.text(0x20030053);
    build_up_ = kind == "DEPOSIT" ? BuildUp::Deposit : kind == "IRRAD" ? BuildUp::Irradiation : BuildUp::None;
  }

  double live_s() const { return live_s_ > 0 && std::isfinite(live_s_) ? live_s_ : 0; }
  double quantity() const { return quantity_ > 0 && std::isfinite(quantity_) ? quantity_ : 0; }
  double quantityRelativeU() const { return quantity_u_ / quantity_; }
  /// Date of the activities: the sample's, or the start of the acquisition.
  std::optional<double> date() const { return start_ && reference_ ? reference_ : start_; }

  /// From the mean activity during the counting to that at the reference date.
  DecayFactor decayFactor(const LibraryNuclide& nuclide) const {
    const double elapsed_s = start_ && reference_ ? (*start_ - *reference_) / kTicksPerSecond : 0;
    DecayFactor factor = toReferenceDate(nuclide.half_life_s, nuclide.half_life_u, elapsed_s);
    factor.value *= forBuildUp(build_up_, nuclide.half_life_s, collection_s_) /
                    meanDuringCounting(nuclide.half_life_s, counting_s_);
    return factor;
  }

 private:
  double live_s_;
  double counting_s_ = 0;
  std::optional<double> start_;
  std::optional<double> reference_;
  double quantity_;
  double quantity_u_;
  double collection_s_;
  BuildUp build_up_ = BuildUp::None;
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
        library_path_(findLibrary(file.text(0x20100072), file.handle())) {
    const bool are_counts =
        std::all_of(counts_.begin(), counts_.end(), [](float n) { return n >= 0 && std::isfinite(n); });
    require(are_counts, ANA_BADCOUNTS);
    for (const Neighbour& peak : peaks_) occupied_.push_back(peak.extent);
  }

  void run() {
    const std::vector<LibraryNuclide> library = readLibrary(library_path_);
    const std::set<std::string> identified = identifiedNuclides();
    file_.renewBlock(ORB_CLS_LIMITS);
    USHORT record = 0;
    for (const LibraryNuclide& nuclide : library) {
      if (identified.count(nuclide.name) > 0) continue;
      if (const auto seen = lineOf(nuclide)) write(++record, nuclide, *seen);
    }
    writeHeader();
  }

 private:
  std::set<std::string> identifiedNuclides() const {
    std::set<std::string> names;
    const USHORT records = file_.records(ORB_CLS_NUCRESULTS);
    for (unsigned i = 1; i <= records; ++i) names.insert(file_.text(0x20080001, static_cast<USHORT>(i)));
    return names;
  }

  /// The key line, or the strongest other one when the spectrum cannot show the key. Nothing when it shows none.
  std::optional<SeenLine> lineOf(const LibraryNuclide& nuclide) const {
    std::vector<LibraryLine> lines;
    for (const LibraryLine& line : nuclide.lines)
      if (!line.is_annihilation && (line.is_key || !line.no_activity)) lines.push_back(line);
    std::stable_sort(lines.begin(), lines.end(), [](const LibraryLine& a, const LibraryLine& b) {
      return a.is_key != b.is_key ? a.is_key : a.probability > b.probability;
    });
    for (const LibraryLine& line : lines) {
      SeenLine seen = look(line);
      if (seen.window.state == WindowState::kMeasured || seen.window.state == WindowState::kNoFlank) return seen;
    }
    return std::nullopt;
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
    file_.setText(0x20090001, nuclide.name, record);
    file_.set(0x20090002, seen.line.energy, record);
    file_.set(0x2009000D, widthOf(seen), record);
    file_.set(0x2009000E, seen.window.inside, record);
    file_.set(0x20090014, seen.line.probability * 100, record);
    int marks = (seen.is_interfered ? kMarkInterfered : 0) | (seen.window.is_cut ? kMarkCut : 0);
    std::optional<EfficiencyValue> efficiency;
    if (curve_) efficiency = curve_->at(seen.line.energy);
    if (efficiency) {
      file_.set(0x20090015, efficiency->value, record);
      marks |= efficiency->is_extrapolated ? kMarkExtrapolated : 0;
    }
    if (seen.window.state == WindowState::kMeasured) {
      const CountLimits counts = writeCounts(record, seen);
      if (efficiency) marks |= writeActivities(record, nuclide, seen, counts, *efficiency);
    } else {
      marks |= kMarkInterfered;  // other lines leave no channel for the continuum
    }
    file_.set(0x20090017, marks, record);
  }

  /// [keV] of the channels of the window.
  double widthOf(const SeenLine& seen) const {
    return scale_.energy(seen.window.channels.last + 0.5) - scale_.energy(seen.window.channels.first - 0.5);
  }

  CountLimits writeCounts(USHORT record, const SeenLine& seen) {
    const CountLimits counts = countLimits(seen.background, settings_.rule);
    file_.set(0x20090007, counts.k_alpha, record);
    file_.set(0x20090008, counts.k_beta, record);
    file_.set(0x20090009, counts.threshold, record);
    file_.set(0x2009000A, counts.limit, record);
    file_.set(0x2009000B, seen.background.counts, record);
    file_.set(0x2009000C, seen.background.counts_u, record);
    file_.set(0x2009000F, seen.window.gross - seen.background.counts > counts.threshold ? 1 : 0, record);
    file_.setText(0x20090016, nameOf(counts.source), record);
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
    const DecayFactor decay = measurement_.decayFactor(nuclide);
    const double per_bq = seen.window.inside * efficiency.value * seen.line.probability * measurement_.live_s();
    CountCalibration calibration{decay.value / per_bq, 0};
    if (!(per_bq > 0) || !std::isfinite(calibration.per_count)) return 0;
    for (const double u : {efficiency.relative_u, seen.line.probability_u / seen.line.probability, decay.relative_u,
                           settings_.geometry_u})
      calibration.relative_u = std::hypot(calibration.relative_u, u);
    const ActivityLimits result =
        activityLimits(seen.window.gross, seen.background, counts, calibration, settings_.coverage);
    file_.set(0x20090003, result.threshold, record);
    file_.set(0x20090005, result.activity, record);
    file_.set(0x20090006, result.activity_u, record);
    file_.set(0x20090010, result.best, record);
    file_.set(0x20090011, result.best_u, record);
    file_.set(0x20090012, result.low, record);
    file_.set(0x20090013, result.high, record);
    if (!result.limit) return kMarkNoLimit;
    file_.set(0x20090004, *result.limit, record);
    writeSpecificLimit(record, counts, calibration);
    return 0;
  }

  void writeSpecificLimit(USHORT record, const CountLimits& counts, CountCalibration calibration) {
    const double quantity = measurement_.quantity();
    if (!(quantity > 0)) return;
    calibration.per_count /= quantity;
    calibration.relative_u = std::hypot(calibration.relative_u, measurement_.quantityRelativeU());
    if (const auto limit = activityLimit(counts, calibration)) file_.set(0x20090018, *limit, record);
  }

  void writeHeader() {
    if (const auto date = measurement_.date()) file_.set(0x20090040, *date);
    file_.setText(0x20090041, shortened(library_path_));
    file_.set(0x20090042, settings_.coverage * 100);
    file_.stamp(ORB_CLS_LIMITS, "detection limits", ENGINE_VERSION,
                {0x20030015, 0x20030033, 0x2003003C, 0x20030053, 0x20030059, 0x20030082, 0x20030083, 0x20030085,
                 0x200300B1, 0x200300B2, 0x200300B3, 0x20020028, 0x20100072});
  }

  File& file_;
  Settings settings_;
  LineScale scale_;
  std::optional<EfficiencyCurve> curve_;
  Measurement measurement_;
  std::vector<float> counts_;
  std::vector<Neighbour> peaks_;
  std::vector<ChannelSpan> occupied_;
  std::string library_path_;
};

}  // namespace

}  // namespace orbengine

using namespace orbengine;

ORB_ENGINE RunDetectionLimits(void* handle, USHORT step, void*, void*) {
  return run(handle, step, {ORB_CLS_LIMITS}, [](File& file) { Limits(file).run(); });
}
