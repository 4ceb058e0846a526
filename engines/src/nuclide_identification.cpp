// Engine "nuclide identification": the nuclides of the library that explain the fitted lines, and their activities.
#include <algorithm>
#include <limits>
#include <numeric>

#include "calibrations.h"
#include "kernel/activity.h"
#include "kernel/identification.h"
#include "kernel/peak_naming.h"
#include "measurement.h"
#include "nuclide_library.h"
#include "peaks.h"
#include "spectrum_view.h"

namespace orbengine {

namespace {

constexpr double kLeastTolerance_channels = 1.5;
constexpr double kModelU = 0.3;        // of an efficiency that is a guess of its shape
constexpr double kCalibratedU = 0.15;  // of a calibrated one, true coincidence summing included

enum NuclideMark { kMarkInconsistent = 1, kMarkAllInterfered = 2, kMarkExtrapolated = 4, kMarkNoReference = 16 };

class Identification {
 public:
  explicit Identification(File& file)
      : file_(file),
        scale_(file.handle()),
        curve_(EfficiencyCurve::ofFile(file.handle())),
        view_(file, scale_),
        measurement_(file),
        peaks_(readFittedPeaks(file)),
        source_(readLibrary(findLibrary(file.text(ORB_T_NIDLIBRARY), file.handle()))),
        library_(std::move(source_.nuclides)) {
    for (LibraryNuclide& x_rays : fluorescenceLines()) library_.push_back(std::move(x_rays));
  }

  void run() {
    removeTooOld();
    explained_ = identify(spectrumPeaks(), candidates(), settings());
    for (const IdentifiedNuclide& found : explained_)
      if (!nuclideOf(found).is_fluorescence) found_.push_back(found);
    do solve();
    while (dropUndetected());
    file_.renewBlock(ORB_CLS_NUCRESULTS);
    USHORT record = 0;
    for (std::size_t i = 0; i < found_.size(); ++i) writeNuclide(++record, i);
    writeHeader();
    markPeaks();
  }

 private:
  const LibraryNuclide& nuclideOf(const IdentifiedNuclide& found) const {
    return library_[static_cast<std::size_t>(found.candidate)];
  }

  /// A nuclide that had too many half-lives to decay before the measurement is not there any more.
  void removeTooOld() {
    const double greatest = file_.number(ORB_F_IDMAXHALFLIVES, 0);
    const double elapsed_s = measurement_.elapsed_s();
    if (!(greatest > 0) || !(elapsed_s > 0)) return;
    const auto is_too_old = [&](const LibraryNuclide& n) {
      return n.half_life_s > 0 && elapsed_s > greatest * n.half_life_s;
    };
    library_.erase(std::remove_if(library_.begin(), library_.end(), is_too_old), library_.end());
  }

  std::vector<SpectrumPeak> spectrumPeaks() const {
    std::vector<SpectrumPeak> peaks;
    for (const FittedPeak& peak : peaks_) peaks.push_back({peak.energy, peak.area, peak.area_u});
    return peaks;
  }

  std::vector<Candidate> candidates() const {
    std::vector<Candidate> candidates;
    for (const LibraryNuclide& nuclide : library_) {
      Candidate candidate;
      for (const LibraryLine& line : nuclide.lines) {
        CandidateLine seen;
        seen.energy = line.energy;
        seen.sensitivity = line.probability * efficiencyAt(line.energy);
        seen.limit = std::max(view_.detectionLimit(line.energy), hiddenCounts(line.energy));
        seen.tolerance = toleranceAt(line.energy);
        seen.role = roleOf(line);
        candidate.lines.push_back(seen);
      }
      candidate.parent = indexOf(nuclide.parent);
      candidate.family = familyOf(nuclide);
      candidates.push_back(std::move(candidate));
    }
    return candidates;
  }

  int indexOf(const std::string& name) const {
    const auto found = std::find_if(library_.begin(), library_.end(), [&](const auto& n) { return n.name == name; });
    return found == library_.end() ? -1 : static_cast<int>(found - library_.begin());
  }

  /// 1 + index of the first nuclide of the library with the same parent, the parent itself counted in.
  int familyOf(const LibraryNuclide& nuclide) const {
    const auto headOf = [](const LibraryNuclide& n) { return n.parent.empty() ? n.name : n.parent; };
    const auto first = std::find_if(library_.begin(), library_.end(),
                                    [&](const LibraryNuclide& n) { return headOf(n) == headOf(nuclide); });
    return 1 + static_cast<int>(first - library_.begin());
  }

  LineRole roleOf(const LibraryLine& line) const {
    if (isAtAnnihilation(line)) return LineRole::kNothing;
    return line.is_x_ray ? LineRole::kCompanion : LineRole::kEvidence;
  }

  IdentificationSettings settings() const {
    IdentificationSettings settings;
    settings.model_u = curve_ ? kCalibratedU : kModelU;
    settings.are_blends = view_.isScintillator();
    settings.least_share = file_.number(ORB_F_IDMINSHARE, 75) / 100;
    settings.least_confidence = file_.number(ORB_F_IDMINCONF, 0.3);
    settings.miss_penalty = std::clamp(file_.number(ORB_F_IDMISSPENALTY, 1), 0.0, 1.0);
    return settings;
  }

  double efficiencyAt(double energy) const {
    if (!curve_) return view_.typicalEfficiency(energy);
    const auto efficiency = curve_->at(energy);
    return efficiency ? efficiency->value : 0;
  }

  /// Counts of a line that could lie unresolved in the flanks of fitted ones.
  double hiddenCounts(double energy) const {
    constexpr double kReach_fwhm = 1.25;
    constexpr double kShare = 0.5;
    double counts = 0;
    for (const FittedPeak& peak : peaks_)
      if (std::abs(peak.energy - energy) < kReach_fwhm * scale_.fwhm(energy)) counts += kShare * peak.area;
    return counts;
  }

  /// No narrower than what a spectrum of coarse channels can tell.
  double toleranceAt(double energy) const {
    const double set = matchTolerance(file_, {ORB_D_IDTOLKEV, 1}, {ORB_D_IDTOLFWHM, 1}, scale_.fwhm(energy));
    const double position = scale_.position(energy);
    return std::isfinite(position) ? std::max(set, kLeastTolerance_channels * scale_.slope(position)) : set;
  }

  // ---- Activities -------------------------------------------------------------------------------------------

  bool hasActivities() const { return curve_ && measurement_.live_s() > 0; }

  /// Counts per Bq of every matched line that may take part.
  void solve() {
    if (!hasActivities()) return;
    contributions_.clear();
    line_of_contribution_.clear();
    const bool key_only = file_.number(ORB_L_ACTMEAN, 1) == 0;
    for (std::size_t i = 0; i < found_.size(); ++i) {
      const LibraryNuclide& nuclide = nuclideOf(found_[i]);
      for (std::size_t k = 0; k < nuclide.lines.size(); ++k) {
        const LibraryLine& line = nuclide.lines[k];
        const bool takes_part = !line.no_activity && roleOf(line) == LineRole::kEvidence && (!key_only || line.is_key);
        const int peak = found_[i].lines[k].peak;
        if (peak < 0 || !takes_part) continue;
        const auto efficiency = curve_->at(line.energy);
        if (!efficiency) continue;
        Contribution c;
        c.nuclide = static_cast<int>(i);
        c.peak = peak;
        c.coefficient = countsPerBq(nuclide, line, *efficiency);
        c.own_u = line.probability_u / line.probability;
        c.shared_u = efficiency->relative_u;
        line_of_contribution_.push_back(k);
        contributions_.push_back(c);
      }
    }
    std::vector<PeakArea> areas;
    for (const FittedPeak& peak : peaks_) areas.push_back({peak.area, peak.area_u});
    activities_ =
        solveActivities(areas, contributions_, static_cast<int>(found_.size()), file_.number(ORB_F_IDCONSIST, 3));
  }

  /// Takes out the nuclide whose activity lies farthest below its decision threshold: what others leave of its peaks is
  /// compatible with nothing.
  bool dropUndetected() {
    if (!hasActivities()) return false;
    std::size_t worst = found_.size();
    double least = view_.quantile();
    for (std::size_t i = 0; i < found_.size(); ++i) {
      const Activity& activity = activities_.nuclides[i];
      if (!activity.is_determined || !(activity.value < least * activity.counting_u)) continue;
      least = activity.value / activity.counting_u;
      worst = i;
    }
    if (worst == found_.size()) return false;
    const int candidate = found_[worst].candidate;
    const auto is_it = [&](const IdentifiedNuclide& n) { return n.candidate == candidate; };
    found_.erase(found_.begin() + static_cast<std::ptrdiff_t>(worst));
    explained_.erase(std::remove_if(explained_.begin(), explained_.end(), is_it), explained_.end());
    return true;
  }

  /// Counts in the peak of a line that an activity of 1 Bq at the start of the acquisition leaves.
  double countsPerBq(const LibraryNuclide& nuclide, const LibraryLine& line, const EfficiencyValue& efficiency) const {
    return line.probability * efficiency.value * measurement_.live_s() *
           measurement_.duringCounting(nuclide.half_life_s);
  }

  // ---- Results ----------------------------------------------------------------------------------------------

  void writeNuclide(USHORT record, std::size_t i) {
    const IdentifiedNuclide& found = found_[i];
    const LibraryNuclide& nuclide = nuclideOf(found);
    file_.setText(ORB_T_NUNAME, nuclide.name, record);
    file_.set(ORB_D_NUCONF, found.confidence, record);
    file_.set(ORB_D_NUHALFLIFE, nuclide.half_life_s, record);
    file_.set(ORB_D_NUHALFLIFEUNC, nuclide.half_life_u, record);
    file_.set(ORB_D_NUSHARE, found.share * 100, record);
    int marks = measurement_.hasReference() ? 0 : kMarkNoReference;
    if (hasActivities()) marks |= writeActivity(record, activities_.nuclides[i], nuclide);
    const int n_expected = static_cast<int>(
        std::count_if(found.lines.begin(), found.lines.end(), [](const auto& line) { return line.is_expected; }));
    const int n_found = static_cast<int>(
        std::count_if(found.lines.begin(), found.lines.end(), [](const auto& line) { return line.peak >= 0; }));
    file_.set(ORB_L_NULINES, n_expected, record);
    file_.set(ORB_L_NUFOUND, n_found, record);
    USHORT entry = 0;
    for (std::size_t k = 0; k < nuclide.lines.size(); ++k) {
      if (nuclide.lines[k].is_key) file_.set(ORB_D_NUKEYENERGY, nuclide.lines[k].energy, record);
      if (!found.lines[k].is_expected) continue;
      marks |= writeLine(record, ++entry, i, k);
    }
    file_.set(ORB_L_NUSTATUS, marks, record);
  }

  /// Marks of the nuclide.
  int writeActivity(USHORT record, const Activity& activity, const LibraryNuclide& nuclide) {
    if (!activity.is_determined) return kMarkAllInterfered;
    const double geometry_u = activity.value * file_.number(ORB_F_GEOMUNC, 0) / 100;
    const double u = std::hypot(activity.u, geometry_u);
    file_.set(ORB_D_NUACT, activity.value, record);
    file_.set(ORB_D_NUACTUNC, u, record);
    file_.set(ORB_D_NUFITUNC, activity.counting_u, record);
    file_.set(ORB_D_NUCHISQ, activity.chi2, record);
    file_.set(ORB_L_NUUSED, activity.lines, record);
    const DecayFactor decay = measurement_.toReference(nuclide.half_life_s, nuclide.half_life_u);
    if (std::isfinite(decay.value)) {
      const double reference_u = std::hypot(u, activity.value * decay.relative_u) * decay.value;
      file_.set(ORB_D_NUDECAYFACT, decay.value, record);
      file_.set(ORB_D_NUREFACT, activity.value * decay.value, record);
      file_.set(ORB_D_NUREFACTUNC, reference_u, record);
      writeSpecific(record, activity.value * decay.value, reference_u);
    }
    const double deviation = file_.number(ORB_F_IDCONSIST, 3);
    return deviation > 0 && activity.chi2 > deviation * deviation ? kMarkInconsistent : 0;
  }

  void writeSpecific(USHORT record, double value, double u) {
    const double quantity = measurement_.quantity();
    if (!(quantity > 0)) return;
    file_.set(ORB_D_NUSPECACT, value / quantity, record);
    file_.set(ORB_D_NUSPECACTUNC, std::hypot(u, value * measurement_.quantityRelativeU()) / quantity, record);
  }

  /// Marks of the nuclide that the line brings.
  int writeLine(USHORT record, USHORT entry, std::size_t i, std::size_t k) {
    const LibraryLine& line = nuclideOf(found_[i]).lines[k];
    const MatchedLine& match = found_[i].lines[k];
    file_.set(ORB_D_NLRENERGY, line.energy, record, entry);
    file_.set(ORB_L_NLRPEAK, match.peak >= 0 ? peaks_[static_cast<std::size_t>(match.peak)].record : 0, record, entry);
    file_.set(ORB_D_NLRPROB, line.probability * 100, record, entry);
    if (match.peak >= 0) file_.set(ORB_D_NLRDELTAE, match.delta_e, record, entry);
    file_.set(ORB_B_NLRINTERF, isShared(i, match.peak) ? 1 : 0, record, entry);
    if (!curve_) return 0;
    const auto efficiency = curve_->at(line.energy);
    if (!efficiency) return 0;
    file_.set(ORB_D_NLREFF, efficiency->value, record, entry);
    file_.set(ORB_D_NLREFFUNC, efficiency->value * efficiency->relative_u, record, entry);
    if (!hasActivities()) return 0;
    const double counts_per_bq = countsPerBq(nuclideOf(found_[i]), line, *efficiency);
    file_.set(ORB_D_NLRLIMIT, view_.detectionLimit(line.energy) / counts_per_bq, record, entry);
    for (std::size_t c = 0; c < contributions_.size(); ++c) {
      if (contributions_[c].nuclide != static_cast<int>(i) || line_of_contribution_[c] != k) continue;
      const LineActivity& activity = activities_.lines[c];
      file_.set(ORB_D_NLRACT, activity.value, record, entry);
      file_.set(ORB_D_NLRACTUNC, activity.u, record, entry);
      file_.set(ORB_D_NLRRESID, activity.residual, record, entry);
      file_.set(ORB_D_NLRWEIGHT, activity.weight * 100, record, entry);
    }
    return match.peak >= 0 && efficiency->is_extrapolated ? kMarkExtrapolated : 0;
  }

  bool isShared(std::size_t i, int peak) const {
    for (std::size_t other = 0; other < found_.size(); ++other) {
      if (other == i || peak < 0) continue;
      for (const MatchedLine& line : found_[other].lines)
        if (line.peak == peak) return true;
    }
    return false;
  }

  void writeHeader() {
    if (const auto reference = measurement_.reference()) file_.set(ORB_X_NUREFTIME, *reference);
    file_.setText(ORB_T_NULIBRARY, shortened(source_.path));
    file_.setText(ORB_T_NULIBHASH, source_.hash);
    file_.set(ORB_L_NUCOUNT, static_cast<double>(found_.size()));
    file_.stamp(ORB_CLS_NUCRESULTS, "nuclide identification", ENGINE_VERSION,
                {ORB_F_IDMAXHALFLIVES, ORB_F_IDMINSHARE, ORB_D_IDTOLKEV, ORB_D_COLLTIME, ORB_F_IDCONSIST,
                 ORB_F_IDMINCONF, ORB_F_IDMISSPENALTY, ORB_L_TOLMODE, ORB_T_BUILDUP, ORB_D_IDTOLFWHM,
                 ORB_L_DECAYCOUNTING, ORB_L_ACTMEAN, ORB_F_ERRORPROB, ORB_F_GEOMUNC, ORB_T_EFFMODEL, ORB_T_NIDLIBRARY});
  }

  /// Every line that was matched with a peak, nuclide by nuclide.
  std::vector<ExplainingLine> explainingLines() const {
    std::vector<ExplainingLine> lines;
    for (const IdentifiedNuclide& found : explained_) {
      const LibraryNuclide& nuclide = nuclideOf(found);
      for (std::size_t k = 0; k < found.lines.size(); ++k) {
        const LibraryLine& line = nuclide.lines[k];
        const double counts = found.strength * line.probability * efficiencyAt(line.energy);
        if (found.lines[k].peak >= 0) lines.push_back({nuclide.name, line.energy, counts, found.lines[k].peak});
      }
    }
    return lines;
  }

  /// Leaves with every peak what it is.
  void markPeaks() {
    std::vector<PeakToName> peaks;
    for (const FittedPeak& peak : peaks_)
      peaks.push_back({peak.energy, peak.area, scale_.fwhm(peak.energy), toleranceAt(peak.energy)});
    const std::vector<PeakName> names = namePeaks(peaks, explainingLines());
    int n_unidentified = 0;
    for (std::size_t p = 0; p < peaks_.size(); ++p) {
      const bool is_unidentified = names[p].name.empty();
      file_.set(ORB_B_PKUNIDENT, is_unidentified ? 1 : 0, peaks_[p].record);
      file_.setText(ORB_T_PKNUCLIDE, names[p].name, peaks_[p].record);
      const bool has_former = file_.find(ORB_D_PKLIBENERGY, peaks_[p].record).has_value();
      if (names[p].energy > 0 || has_former) file_.set(ORB_D_PKLIBENERGY, names[p].energy, peaks_[p].record);
      n_unidentified += is_unidentified ? 1 : 0;
    }
    file_.set(ORB_L_PKNUNIDENT, n_unidentified);
  }

  /// A gamma line that nobody can tell from annihilation says no more than that.
  bool isAtAnnihilation(const LibraryLine& line) const {
    const double unresolved_keV = std::max(1.5, 0.3 * scale_.fwhm(kAnnihilation_keV));
    return line.is_annihilation || std::abs(line.energy - kAnnihilation_keV) < unresolved_keV;
  }

  File& file_;
  LineScale scale_;
  std::optional<EfficiencyCurve> curve_;
  SpectrumView view_;
  Measurement measurement_;
  std::vector<FittedPeak> peaks_;
  NuclideLibrary source_;
  std::vector<LibraryNuclide> library_;
  std::vector<IdentifiedNuclide> explained_;  // with the X-rays of the surroundings
  std::vector<IdentifiedNuclide> found_;      // the nuclides among them
  std::vector<Contribution> contributions_;
  std::vector<std::size_t> line_of_contribution_;  // index of the line in its nuclide
  ActivityResult activities_;
};

}  // namespace

}  // namespace orbengine

using namespace orbengine;

ORB_ENGINE RunNuclideIdentification(void* handle, USHORT step, void*, void*) {
  return run(handle, step, {ORB_CLS_PEAKS, ORB_CLS_NUCRESULTS, ORB_CLS_LIMITS}, [](File& file) {
    const ULONG status = AioDeleteLevel(file.handle(), AIO_LEVEL_LIMITS);  // they were taken from the former nuclides
    check(status);
    Identification(file).run();
  });
}
