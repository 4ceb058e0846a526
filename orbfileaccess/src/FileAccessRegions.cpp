// Regions of interest: limits, the fit of one line, location and fit of all lines.
#include "AnalysisSupport.h"
#include "BulkRead.h"
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "anautils.h"

namespace com::norvale::orb {

using datatypes::Variant;

namespace {

constexpr const char* kDetermination = "FileAccess::determineRegion";
constexpr const char* kEstimation = "FileAccess::estimateRegionParameters";
constexpr const char* kQuantification = "FileAccess::quantifyRegion";

constexpr std::uint32_t kEnergyPoints = 0x200D0002;
constexpr std::uint32_t kShapePoints = 0x20130004;
constexpr std::uint32_t kPeakRecords = 0x20060006;
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
  addEmpty(values, {0x20130005, 0x20130006, 0x20130007, 0x20130008, 0x2013000B, 0x2013000C, 0x2013000D, 0x200D0002,
                    0x200D0003, 0x200D0007, 0x200D0004, 0x200D0008});
  return values;
}

ParameterMap regionResults(bool lowTail) {
  ParameterMap values;
  addEmpty(values, {0x20130005, 0x20130006, 0x2013000B, 0x2013000C, 0x2013000D, 0x200D0002, 0x200D0003, 0x200D0007,
                    0x200D0004, 0x200D0008, 0x20130009, 0x2013000A});
  if (lowTail) addEmpty(values, {0x20130007, 0x20130008});
  return values;
}

void clearPeakResults(ParameterMap& values, bool lowTail) {
  addEmpty(values, {0x2006001E, 0x2006001F, 0x2006000A, 0x20060021, 0x20060013, 0x20060031, 0x20060033, 0x20060007,
                    0x20060008, 0x20060024, 0x20060025, 0x2006000B, 0x20060032, 0x20060034, 0x2006000C, 0x2006000D,
                    0x20060009, 0x20060028, 0x20060010});
  if (lowTail) addEmpty(values, {0x20060022, 0x20060023});
}

/// The tables that the fit of a single region writes to, in a file that has none of their values.
void createPointTables(FileAccess& file) {
  file.insertItem(0x200D0008, 1, 0);
  file.createBlock(kEnergyPoints, 0, 1, 1);
  file.createBlock(kShapePoints, 0, 1, 1);
  file.setParameter(kEnergyPoints, Variant(0.0), 0, 0);
  file.setParameter(kShapePoints, Variant(0.0), 0, 0);
}

ParameterMap estimate(FileAccess& file, const Region& region) {
  ParameterMap former = overwrittenValues();
  const bool restores = readParameters(file, former, 1, 0, true).any_value;
  if (!restores) createPointTables(file);

  ParameterMap pars;
  pars[0x200D000C] = Variant(1u);
  pars[0x2013000C] = Variant(region.start);
  pars[0x2013000D] = Variant(region.end);
  pars[0x2000001F] = Variant(region.low_tail ? kFitsTailToo : kFitsEnergyAndFwhm);
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
  file.countItems(kPeakRecords, n_records, 0);
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
  pars[0x20030008] = Variant(region.start);
  pars[0x20030009] = Variant(region.end);
  pars[0x20030046] = Variant(region.start);
  pars[0x20030047] = Variant(region.end);
  pars[0x20000059] = Variant(region.width);
  pars[0x20030010] = Variant(1);
  pars[0x2006007A] = Variant(1);
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
