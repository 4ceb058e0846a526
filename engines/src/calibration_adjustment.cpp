// Engine "calibration adjustment": FWHM curve and energies put right from the spectrum itself, where they are off.
//
// The widths of strong single lines, fitted freely, replace an FWHM curve that they contradict; the lines of natural
// radioactivity, where their pattern is there, replace an energy equation under which they are elsewhere. A calibration
// that agrees with the spectrum stays as it is.
#include <algorithm>
#include <set>

#include "anautils.h"
#include "calibrations.h"
#include "engine.h"
#include "kernel/energy_shift.h"

namespace orbengine {

namespace {

constexpr int kPasses = 3;
constexpr double kLeastSignificance = 20;
constexpr double kGreatestChi2 = 6;       // of a line whose width tells something
constexpr double kPoorWidth = 0.05;       // relative deviation of the curve from the widths that is not borne
constexpr double kPoorEnergy_fwhm = 0.2;  // mean deviation of natural lines, likewise
constexpr double kWidthFloor = 0.02;      // relative uncertainty of a width, the model's
constexpr std::size_t kLeastForCurve = 4;

constexpr double kStrongLocation = 5;  // of the second difference: weaker lines tell nothing here and cost as much

constexpr int kFitEnergy = 1;
constexpr int kFitFwhm = 2;

struct FreeLine {
  double centroid = 0;
  double centroid_u = 0;
  double energy = 0;
  double fwhm = 0;
  double fwhm_u = 0;
  double significance = 0;
  bool tells_width = false;  ///< single, well fitted, not broadened by nature
};

/// Annihilation is broadened by Doppler effect, and the X-rays of the shield lie on top of each other.
bool isBroadByNature(double energy) {
  return (energy > 503 && energy < 519) || (energy > 66 && energy < 93);
}

std::vector<FreeLine> readLines(const File& file) {
  std::multiset<int> regions;
  const auto region_of = [&](USHORT record) { return static_cast<int>(file.number(ORB_L_PKREGION, 0, record)); };
  for (const USHORT record : file.eachRecord(ORB_CLS_PEAKS)) regions.insert(region_of(record));
  std::vector<FreeLine> lines;
  for (const USHORT record : file.eachRecord(ORB_CLS_PEAKS)) {
    FreeLine line;
    line.centroid = file.number(ORB_D_PKCENTROID, 0, record);
    line.centroid_u = file.number(ORB_D_PKCENTROIDUNC, 0, record);
    line.energy = file.number(ORB_D_PKENERGY, 0, record);
    line.fwhm = file.number(ORB_D_PKFWHM, 0, record);
    line.fwhm_u = file.number(ORB_D_PKFWHMUNC, 0, record);
    line.significance = file.number(ORB_D_PKSIGNIF, 0, record);
    const bool is_marked =
        file.number(ORB_L_PKSTATUS, 0, record) != 0 && file.number(ORB_D_PKCHISQ, 0, record) > kGreatestChi2;
    const bool is_single = regions.count(region_of(record)) == 1;
    line.tells_width = is_single && !is_marked && line.fwhm_u > 0 && line.significance >= kLeastSignificance &&
                       line.energy > 0 && !isBroadByNature(line.energy);
    lines.push_back(line);
  }
  return lines;
}

/// The strong lines of the spectrum as the present calibrations find them, their widths left free.
std::vector<FreeLine> fitFreely(File& file) {
  const BlockCopy settings(file.handle(), ORB_CLS_PROC);
  file.setText(ORB_T_WIDTHMODE, "Free");
  file.set(ORB_F_LOCTHRESH, std::max(kStrongLocation, file.number(ORB_F_LOCTHRESH, 0)));
  file.set(ORB_L_LOCTWOFILTERS, 0);  // the other filter is for weak lines
  LONG status = AA_2nd_Diff_Peak_Loc(file.handle(), 0, 0, 0);
  if (status == ANA_OK) status = lPANolin(file.handle(), 0, 0, 0);
  settings.restore();
  check(status);
  return readLines(file);
}

/// Weighted mean and root mean square of the relative deviation of the widths from the curve.
struct Deviation {
  double mean = 0;
  double rms = 0;
};

Deviation deviationOf(const File& file, const std::vector<FreeLine>& lines) {
  const LineScale scale(file.handle());
  double weights = 0;
  Deviation deviation;
  for (const FreeLine& line : lines) {
    const double relative_u = std::hypot(line.fwhm_u / line.fwhm, kWidthFloor);
    const double weight = 1 / (relative_u * relative_u);
    const double d = line.fwhm / scale.fwhm(line.energy) - 1;
    weights += weight;
    deviation.mean += weight * d;
    deviation.rms += weight * d * d;
  }
  deviation.mean /= weights;
  deviation.rms = std::sqrt(deviation.rms / weights);
  return deviation;
}

/// Runs lEncal2 with its settings, which come back to what they were.
LONG fitCalibration(File& file, int flags) {
  const double former = file.number(ORB_L_CALFLAGS, 0);
  file.set(ORB_L_CALFLAGS, flags);
  const LONG status = lEncal2(file.handle(), 1, nullptr, nullptr);
  file.set(ORB_L_CALFLAGS, former);
  return status;
}

bool spansACurve(const std::vector<FreeLine>& lines) {
  const auto [low, high] =
      std::minmax_element(lines.begin(), lines.end(), [](const auto& a, const auto& b) { return a.energy < b.energy; });
  return lines.size() >= kLeastForCurve && high->energy > 2 * low->energy;
}

bool fitWidths(File& file, const std::vector<FreeLine>& lines) {
  file.renewBlock(ORB_CLS_SHAPECALRES);
  USHORT record = 0;
  for (const FreeLine& line : lines) {
    file.set(ORB_D_SRENERGY, line.energy, ++record);
    file.set(ORB_D_SRFWHM, line.fwhm, record);
    file.set(ORB_D_SRFWHMUNC, std::hypot(line.fwhm_u, kWidthFloor * line.fwhm), record);
    file.set(ORB_L_SRSTATUS, 0, record);
  }
  return hasResult(fitCalibration(file, kFitFwhm));
}

/// Whether the curve was changed.
bool adjustWidths(File& file, std::vector<FreeLine> lines) {
  lines.erase(std::remove_if(lines.begin(), lines.end(), [](const FreeLine& line) { return !line.tells_width; }),
              lines.end());
  if (lines.empty()) return false;
  const Deviation deviation = deviationOf(file, lines);
  if (deviation.rms < kPoorWidth) return false;
  const BlockCopy points(file.handle(), ORB_CLS_SHAPECALRES);
  if (!spansACurve(lines) || !fitWidths(file, lines)) {
    points.restore();
    const bool is_plausible = deviation.mean > -0.8 && deviation.mean < 4;
    if (std::abs(deviation.mean) < kPoorWidth || !is_plausible) return false;
    for (const ULONG code : {ORB_D_FWHMOFF, ORB_D_FWHMSLOPE})
      file.set(code, file.number(code, 0) * (1 + deviation.mean));
    const double scatter = std::sqrt(std::max(0.0, deviation.rms * deviation.rms - deviation.mean * deviation.mean));
    file.set(ORB_D_FWHMSCATTER, 100 * std::max(kWidthFloor, scatter));
  }
  file.setText(ORB_T_SCALSOURCE, "adjusted to " + std::to_string(lines.size()) + " lines of the spectrum");
  return true;
}

/// Lines of natural radioactivity that are strong in most samples: the daughters of Ra-226 and Th-228, Ac-228, K-40
/// (ENSDF; keV).
constexpr double kNaturalLines[] = {238.632, 295.224,  351.932,  583.187,  609.321, 911.196,
                                    968.960, 1120.294, 1460.820, 1764.491, 2614.511};

void adjustEnergies(File& file, const std::vector<FreeLine>& lines) {
  std::vector<ShiftPeak> peaks;
  for (const FreeLine& line : lines) peaks.push_back({line.energy, line.fwhm, line.significance});
  const EnergyShift shift = findEnergyShift(peaks, {std::begin(kNaturalLines), std::end(kNaturalLines)});
  if (shift.matches.empty() || shift.mean_fwhm < kPoorEnergy_fwhm) return;
  const LineScale scale(file.handle());
  const double former_terms = file.number(ORB_L_ECALTERMS, 2);
  const BlockCopy points(file.handle(), ORB_CLS_CALRESULTS);
  file.renewBlock(ORB_CLS_CALRESULTS);
  USHORT record = 0;
  for (const ShiftMatch& match : shift.matches) {
    const FreeLine& line = lines[match.peak];
    const double keV_per_channel = scale.slope(line.centroid);
    file.set(ORB_D_CRCHANNEL, line.centroid, ++record);
    file.set(ORB_D_CRENERGY, match.energy, record);
    file.set(ORB_D_CRCHANNELUNC, line.centroid_u, record);
    // Half a tenth of the width stands for what the shape of the line and its neighbours do to the centroid.
    file.set(ORB_D_CRENERGYUNC, std::hypot(line.centroid_u * keV_per_channel, 0.05 * line.fwhm), record);
  }
  file.set(ORB_L_ECALTERMS, 3);
  if (!hasResult(fitCalibration(file, kFitEnergy))) {
    file.set(ORB_L_ECALTERMS, former_terms);
    return points.restore();
  }
  file.setText(ORB_T_ECALSOURCE,
               "adjusted to " + std::to_string(shift.matches.size()) + " lines of natural radioactivity");
}

}  // namespace

}  // namespace orbengine

using namespace orbengine;

ORB_ENGINE RunCalibrationAdjustment(void* handle, USHORT step, void*, void*) {
  return runOnWholeSpectrum(handle, step,
                            {ORB_CLS_ACQUISITION, ORB_CLS_PROC, ORB_CLS_CALRESULTS, ORB_CLS_SHAPECALRES, ORB_CLS_PEAKS,
                             ORB_CLS_NUCRESULTS, ORB_CLS_LIMITS},
                            [](File& file) {
                              std::vector<FreeLine> lines;
                              for (int pass = 0; pass < kPasses; ++pass) {
                                lines = fitFreely(file);
                                if (!adjustWidths(file, lines)) break;
                              }
                              adjustEnergies(file, lines);
                            });
}
