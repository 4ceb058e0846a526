// Energy, FWHM and low-tail calibration from points.
#include <algorithm>
#include <limits>

#include "AnalysisSupport.h"
#include "FailureReport.h"
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "anautils.h"
#include "orbparams.h"

namespace com::norvale::orb {

using datatypes::Variant;

namespace {

constexpr const char* kWhere = "FileAccess::energyShapeCalibration";
constexpr std::uint32_t kNoItem = 0;
constexpr std::size_t kMostRecords = std::numeric_limits<std::uint16_t>::max();
constexpr std::int32_t kMostTerms = 4;

std::int32_t termsToFit(std::int32_t asked, std::size_t n_points) {
  if (asked >= 1) return std::min(asked, kMostTerms);
  const auto n = static_cast<std::int32_t>(std::min<std::size_t>(n_points, kMostTerms + 1));
  return n - 1;
}

void clearPointTables(FileAccess& file) {
  file.deleteBlock(ORB_D_CRCHANNEL);
  file.deleteBlock(ORB_D_SRENERGY);
  file.createBlock(ORB_D_CRCHANNEL, 0, 1, 1);
  file.createBlock(ORB_D_SRENERGY, 0, 1, 1);
}

/// Writes one point into the record that belongs to its place in the list.
/// @param item     code under which that record is inserted first; kNoItem for a record that is there
/// @param failure  text logged when the point cannot be stored; also when there are no record numbers left
void writePoint(FileAccess& file, const ParameterMap& pars, std::size_t index, std::uint32_t item,
                const char* failure) {
  if (index >= kMostRecords) {
    reportFileFailure(file, kWhere, failure, kBadArgument);
    return;
  }
  const auto record = static_cast<std::uint16_t>(index + 1);
  std::uint32_t status = item != kNoItem ? file.insertItem(item, record, 0) : 0;
  if (status == 0) status = file.setParameters(pars, record, 0, true);
  if (status != 0) reportFileFailure(file, kWhere, failure, status);
}

void writeEnergyPoints(FileAccess& file, const CalibrationPoints& points) {
  ParameterMap pars;
  for (std::size_t i = 0; i < points.size(); ++i) {
    pars[ORB_D_CRCHANNEL] = Variant(points[i].first.value);
    pars[ORB_D_CRENERGY] = Variant(points[i].second.value);
    pars[ORB_D_CRENERGYUNC] = Variant(points[i].second.uncertainty);
    writePoint(file, pars, i, ORB_D_CRENERGYUNC, "Error inserting ecal pts");
  }
}

void writeFwhmPoints(FileAccess& file, const CalibrationPoints& points) {
  if (!points.empty()) file.setParameter(ORB_T_FWHMTYPE, Variant(std::string("SQRT")), 0, 0);
  ParameterMap pars;
  for (std::size_t i = 0; i < points.size(); ++i) {
    pars[ORB_D_SRENERGY] = Variant(points[i].first.value);
    pars[ORB_D_SRFWHM] = Variant(points[i].second.value);
    pars[ORB_D_SRFWHMUNC] = Variant(points[i].second.uncertainty);
    pars[ORB_L_SRSTATUS] = Variant(0u);
    writePoint(file, pars, i, ORB_D_SRENERGY, "Error inserting fcal pts");
  }
}

/// Low-tail points share the records of the FWHM points. Without those each gets a record of its own, inserted at the
/// point's index from 0 and written at the index from 1.
void writeTailPoints(FileAccess& file, const CalibrationPoints& points, bool has_fwhm_points) {
  ParameterMap pars;
  for (std::size_t i = 0; i < points.size(); ++i) {
    pars[ORB_D_SRENERGY] = Variant(points[i].first.value);
    pars[ORB_D_SRTAIL] = Variant(points[i].second.value);
    pars[ORB_D_SRTAILUNC] = Variant(points[i].second.uncertainty);
    if (!has_fwhm_points && i < kMostRecords) file.insertItem(ORB_D_SRENERGY, static_cast<std::uint16_t>(i), 0);
    writePoint(file, pars, i, kNoItem, "Error inserting lcal pts");
  }
}

ParameterMap calibrate(FileAccess& file, const CalibrationPoints& epts, const CalibrationPoints& fpts,
                       const CalibrationPoints& lpts, std::int32_t eterms) {
  clearPointTables(file);
  const std::uint32_t flags = (epts.empty() ? 0u : 1u) + (fpts.empty() ? 0u : 2u) + (lpts.empty() ? 0u : 4u);
  file.setParameter(ORB_L_ECALTERMS, Variant(termsToFit(eterms, epts.size())), 0, 0);
  file.setParameter(ORB_T_ECALTYPE, Variant(std::string("POLY")), 0, 0);
  file.setParameter(ORB_L_CALFLAGS, Variant(flags), 0, 0);
  writeEnergyPoints(file, epts);
  writeFwhmPoints(file, fpts);
  writeTailPoints(file, lpts, !fpts.empty());
  if (!succeeded(file, kWhere, "lEncal2", lEncal2(file.handle(), 1, nullptr, nullptr))) return {};

  ParameterMap results;
  if (!epts.empty())
    addEmpty(results, {ORB_L_ECALTERMS, ORB_D_ECALOFFSET, ORB_D_ECALGAIN, ORB_D_ECALQUAD, ORB_D_ECALCUBIC,
                       ORB_D_ECALQUART, ORB_D_ECALQUINT, ORB_D_ECALCHISQ});
  if (!fpts.empty()) addEmpty(results, {ORB_D_FWHMOFF, ORB_D_FWHMSLOPE, ORB_D_FWHMCHISQ});
  if (!lpts.empty()) addEmpty(results, {ORB_D_TAILOFF, ORB_D_TAILSLOPE, ORB_D_TAILCHISQ});
  file.getParameters(results, 0, 0, true);
  return results;
}

}  // namespace

ParameterMap FileAccess::energyShapeCalibration(const CalibrationPoints& epts, const CalibrationPoints& fpts,
                                                const CalibrationPoints& lpts, std::int32_t eterms) const {
  const FileLock lock(m_mutex);
  if (requireOpen(*this, kWhere) != 0) return {};
  return withoutExceptions(kWhere, [&] { return calibrate(forAnalysis(), epts, fpts, lpts, eterms); });
}

}  // namespace com::norvale::orb
