// Regions of interest: limits, the fit of one line, location and fit of all lines.
#include "AnalysisSupport.h"
#include "BulkRead.h"
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "anautils.h"

namespace com::norvale::orb {

using datatypes::Variant;

namespace {

constexpr std::uint32_t kEnergyPoints = 0x200D0002;
constexpr std::uint32_t kShapePoints = 0x20130004;
constexpr std::uint32_t kPeakRecords = 0x20060006;
constexpr std::uint32_t kPeakLevel = 20;

constexpr std::uint32_t kFitsEnergyAndFwhm = 3;
constexpr std::uint32_t kFitsTailToo = 7;

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

}  // namespace

std::pair<std::uint32_t, std::uint32_t> FileAccess::determineRegion(std::uint32_t channel, float channelkeV,
                                                                    bool useCal) const {
  constexpr const char* kWhere = "FileAccess::determineRegion";
  const FileLock lock(m_mutex);
  if (requireOpen(*this, kWhere) != 0) return {0, 0};
  ULONG lower = 0;
  ULONG upper = 0;
  if (channelkeV < 0.0f) channelkeV = 0.0f;
  const LONG status = ulUtlRoi(m_handle, useCal ? 1 : 0, channel, channelkeV, &lower, &upper);
  if (status == 0) return {lower, upper};
  reportRoutine(*this, kWhere, "ulUtlRoi", static_cast<std::uint32_t>(status));
  return {0, 0};
}

ParameterMap FileAccess::estimateRegionParameters(std::uint32_t start, std::uint32_t end, ContinuumOptions options,
                                                  ContinuumType type, float continWidth, bool lowTail) const {
  constexpr const char* kWhere = "FileAccess::estimateRegionParameters";
  const FileLock lock(m_mutex);
  if (requireOpen(*this, kWhere) != 0) return {};
  FileAccess& file = forAnalysis();
  ParameterMap former = overwrittenValues();
  const bool restores = readParameters(file, former, 1, 0, true).any_value;
  if (!restores) file.createPointTables();

  ParameterMap pars;
  pars[0x200D000C] = Variant(1u);
  pars[0x2013000C] = Variant(start);
  pars[0x2013000D] = Variant(end);
  pars[0x2000001F] = Variant(lowTail ? kFitsTailToo : kFitsEnergyAndFwhm);
  if (options != USE_DEFAULT_OPTIONS) addContinuum(pars, options, type, continWidth);
  if (file.setParameters(pars, 1, 0, true) != 0) return {};

  if (const LONG status = lEncal1(m_handle, 1, 0, 0)) {
    reportRoutine(*this, kWhere, "lEncal1", static_cast<std::uint32_t>(status));
    return {};
  }
  ParameterMap results = regionResults(lowTail);
  if (!readParameters(file, results, 0, 0, true).any_value) results.clear();
  if (restores) file.setParameters(former, 1, 0, true);
  return results;
}

/// The tables that the fit of a single region writes to, in a file that has none of their values.
void FileAccess::createPointTables() {
  insertItem(0x200D0008, 1, 0);
  createBlock(kEnergyPoints, 0, 1, 1);
  createBlock(kShapePoints, 0, 1, 1);
  setParameter(kEnergyPoints, Variant(0.0), 0, 0);
  setParameter(kShapePoints, Variant(0.0), 0, 0);
}

std::vector<ParameterMap> FileAccess::quantifyRegion(std::uint32_t start, std::uint32_t end, ContinuumOptions options,
                                                     ContinuumType type, float continWidth, bool lowTail) const {
  constexpr const char* kWhere = "FileAccess::quantifyRegion";
  const FileLock lock(m_mutex);
  if (requireOpen(*this, kWhere) != 0) return {};
  FileAccess& file = forAnalysis();
  file.deleteLevel(kPeakLevel);

  ParameterMap pars;
  pars[0x20030008] = Variant(start);
  pars[0x20030009] = Variant(end);
  pars[0x20030046] = Variant(start);
  pars[0x20030047] = Variant(end);
  pars[0x20000059] = Variant(continWidth);
  pars[0x20030010] = Variant(1);
  pars[0x2006007A] = Variant(1);
  addContinuum(pars, options, type, continWidth);
  if (file.setParameters(pars, 1, 0, true) != 0) return {};

  if (const LONG status = AA_2nd_Diff_Peak_Loc(m_handle, 0, 0, 0)) {
    reportRoutine(*this, kWhere, "AA_2nd_Diff_Peak_Loc", static_cast<std::uint32_t>(status));
    return {};
  }
  if (const LONG status = lPANolin(m_handle, 0, 0, 0)) {
    reportRoutine(*this, kWhere, "lPANolin", static_cast<std::uint32_t>(status));
    return {};
  }
  return readPeakResults(lowTail);
}

std::vector<ParameterMap> FileAccess::readPeakResults(bool lowTail) const {
  std::uint16_t n_records = 0;
  countItems(kPeakRecords, n_records, 0);
  std::vector<ParameterMap> results;
  ParameterMap peak;
  for (std::uint32_t record = 1; record <= n_records; ++record) {
    clearPeakResults(peak, lowTail);
    if (readParameters(*this, peak, static_cast<std::uint16_t>(record), 0, true).any_value) results.push_back(peak);
  }
  return results;
}

}  // namespace com::norvale::orb
