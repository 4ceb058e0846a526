// Regions of interest: limits, the fit of one line, location and fit of all lines.
#include "AnalysisSupport.h"
#include "BulkRead.h"
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "anautils.h"
#include "orbparams.h"

namespace com::norvale::orb {

using datatypes::Variant;

namespace {

constexpr const char* kDetermination = "FileAccess::determineRegion";
constexpr const char* kEstimation = "FileAccess::estimateRegionParameters";
constexpr const char* kQuantification = "FileAccess::quantifyRegion";

constexpr std::uint32_t kPeakLevel = 20;

constexpr std::uint32_t kFitsEnergyAndFwhm = 3;
constexpr std::uint32_t kFitsTailToo = 7;

/// First and last channel, and how the continuum and the tail are treated.
struct Region {
  std::uint32_t start;
  std::uint32_t end;
  ContinuumOptions options;
  ContinuumType type;
  float width;
  bool low_tail;
};

/// What the fit of a single region overwrites.
ParameterMap overwrittenValues() {
  ParameterMap values;
  addEmpty(values, {ORB_D_SRFWHM, ORB_D_SRFWHMUNC, ORB_D_SRTAIL, ORB_D_SRTAILUNC, ORB_L_SRSTATUS, ORB_L_SRFIRST,
                    ORB_L_SRLAST, ORB_D_CRCHANNEL, ORB_D_CRENERGY, ORB_D_CRENERGYUNC, ORB_D_CRAREA, ORB_D_CRAREAUNC});
  return values;
}

ParameterMap regionResults(bool lowTail) {
  ParameterMap values;
  addEmpty(values, {ORB_D_SRFWHM, ORB_D_SRFWHMUNC, ORB_L_SRSTATUS, ORB_L_SRFIRST, ORB_L_SRLAST, ORB_D_CRCHANNEL,
                    ORB_D_CRENERGY, ORB_D_CRENERGYUNC, ORB_D_CRAREA, ORB_D_CRAREAUNC, ORB_D_SRCHISQ, ORB_D_SRCONT});
  if (lowTail) addEmpty(values, {ORB_D_SRTAIL, ORB_D_SRTAILUNC});
  return values;
}

void clearPeakResults(ParameterMap& values, bool lowTail) {
  addEmpty(values, {ORB_L_PKFIRST, ORB_L_PKLAST, ORB_D_PKCENTROID, ORB_L_PKREGION, ORB_D_PKSIGNIF, ORB_D_PKRATE,
                    ORB_D_PKTHRESHOLD, ORB_D_PKENERGY, ORB_D_PKENERGYUNC, ORB_D_PKFWHM, ORB_D_PKFWHMUNC,
                    ORB_D_PKCENTROIDUNC, ORB_D_PKRATEUNC, ORB_D_PKLIMIT, ORB_D_PKAREA, ORB_D_PKAREAUNC, ORB_D_PKCONT,
                    ORB_D_PKCONTUNC, ORB_D_PKCHISQ});
  if (lowTail) addEmpty(values, {ORB_D_PKTAIL, ORB_D_PKTAILUNC});
}

/// The tables that the fit of a single region writes to, in a file that has none of their values.
void createPointTables(FileAccess& file) {
  file.insertItem(ORB_D_CRAREAUNC, 1, 0);
  file.createBlock(ORB_D_CRCHANNEL, 0, 1, 1);
  file.createBlock(ORB_D_SRENERGY, 0, 1, 1);
  file.setParameter(ORB_D_CRCHANNEL, Variant(0.0), 0, 0);
  file.setParameter(ORB_D_SRENERGY, Variant(0.0), 0, 0);
}

ParameterMap estimate(FileAccess& file, const Region& region) {
  ParameterMap former = overwrittenValues();
  const bool restores = readParameters(file, former, 1, 0, true).any_value;
  if (!restores) createPointTables(file);

  ParameterMap pars;
  pars[ORB_L_CRLINES] = Variant(1u);
  pars[ORB_L_SRFIRST] = Variant(region.start);
  pars[ORB_L_SRLAST] = Variant(region.end);
  pars[ORB_L_CALFLAGS] = Variant(region.low_tail ? kFitsTailToo : kFitsEnergyAndFwhm);
  if (region.options != USE_DEFAULT_OPTIONS) addContinuum(pars, region.options, region.type, region.width);
  if (file.setParameters(pars, 1, 0, true) != 0) return {};
  if (!succeeded(file, kEstimation, "lEncal1", lEncal1(file.handle(), 1, 0, 0))) return {};

  ParameterMap results = regionResults(region.low_tail);
  if (!readParameters(file, results, 0, 0, true).any_value) results.clear();
  if (restores) file.setParameters(former, 1, 0, true);
  return results;
}

std::vector<ParameterMap> readPeakResults(const FileAccess& file, bool low_tail) {
  std::uint16_t n_records = 0;
  file.countItems(ORB_D_PKLOCATED, n_records, 0);
  std::vector<ParameterMap> results;
  ParameterMap peak;
  for (std::uint32_t record = 1; record <= n_records; ++record) {
    clearPeakResults(peak, low_tail);
    if (readParameters(file, peak, static_cast<std::uint16_t>(record), 0, true).any_value) results.push_back(peak);
  }
  return results;
}

std::vector<ParameterMap> quantify(FileAccess& file, const Region& region) {
  file.deleteLevel(kPeakLevel);
  ParameterMap pars;
  pars[ORB_L_LOCFIRST] = Variant(region.start);
  pars[ORB_L_LOCLAST] = Variant(region.end);
  pars[ORB_L_FITFIRST] = Variant(region.start);
  pars[ORB_L_FITLAST] = Variant(region.end);
  pars[ORB_F_CONTWIDTHREQ] = Variant(region.width);
  pars[ORB_L_ONEREGION] = Variant(1);
  pars[ORB_L_PKSCOPE] = Variant(1);
  addContinuum(pars, region.options, region.type, region.width);
  if (file.setParameters(pars, 1, 0, true) != 0) return {};

  void* const handle = file.handle();
  if (!succeeded(file, kQuantification, "AA_2nd_Diff_Peak_Loc", AA_2nd_Diff_Peak_Loc(handle, 0, 0, 0))) return {};
  if (!succeeded(file, kQuantification, "lPANolin", lPANolin(handle, 0, 0, 0))) return {};
  return readPeakResults(file, region.low_tail);
}

}  // namespace

std::pair<std::uint32_t, std::uint32_t> FileAccess::determineRegion(std::uint32_t channel, float channelkeV,
                                                                    bool useCal) const {
  const FileLock lock(m_mutex);
  if (requireOpen(*this, kDetermination) != 0) return {0, 0};
  ULONG lower = 0;
  ULONG upper = 0;
  if (channelkeV < 0.0f) channelkeV = 0.0f;
  const LONG status = ulUtlRoi(m_handle, useCal ? 1 : 0, channel, channelkeV, &lower, &upper);
  if (!succeeded(*this, kDetermination, "ulUtlRoi", status)) return {0, 0};
  return {lower, upper};
}

ParameterMap FileAccess::estimateRegionParameters(std::uint32_t start, std::uint32_t end, ContinuumOptions options,
                                                  ContinuumType type, float continWidth, bool lowTail) const {
  const FileLock lock(m_mutex);
  if (requireOpen(*this, kEstimation) != 0) return {};
  const Region region{start, end, options, type, continWidth, lowTail};
  return withoutExceptions(kEstimation, [&] { return estimate(forAnalysis(), region); });
}

std::vector<ParameterMap> FileAccess::quantifyRegion(std::uint32_t start, std::uint32_t end, ContinuumOptions options,
                                                     ContinuumType type, float continWidth, bool lowTail) const {
  const FileLock lock(m_mutex);
  if (requireOpen(*this, kQuantification) != 0) return {};
  const Region region{start, end, options, type, continWidth, lowTail};
  return withoutExceptions(kQuantification, [&] { return quantify(forAnalysis(), region); });
}

}  // namespace com::norvale::orb
