// Copying calibrations of chosen kinds into another open file.
#include <exception>
#include <string>

#include "BulkRead.h"
#include "ExceptionCapture.h"
#include "FailureReport.h"
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "comdefs.h"
#include "orbparams.h"

namespace com::norvale::orb {

using datatypes::Variant;

namespace {

constexpr const char* kWhere = "FileAccess::copyCalibrationsTo";

/// Values that belong to the shape calibration in force, in the order in which they are copied.
constexpr std::uint32_t kShapeCodes[] = {
    ORB_X_SCALTIME,  ORB_T_FWHMTYPE,   ORB_D_FWHMOFF,     ORB_D_FWHMSLOPE, ORB_D_FWHMCHISQ, ORB_D_FWHMCOV00,
    ORB_D_FWHMCOV01, ORB_D_FWHMCOV11,  ORB_D_FWHMSCATTER, ORB_D_TAILOFF,   ORB_D_TAILSLOPE, ORB_D_TAILCHISQ,
    ORB_D_TAILCOV00, ORB_D_TAILCOV01,  ORB_D_TAILCOV11,   ORB_D_FWHMELOW,  ORB_D_FWHMEHIGH, ORB_D_TAILELOW,
    ORB_D_TAILEHIGH, ORB_L_FWHMPOINTS, ORB_L_TAILPOINTS};

/// Values that belong to the energy calibration in force, likewise.
constexpr std::uint32_t kEnergyCodes[] = {ORB_X_ECALTIME,  ORB_T_ECALTYPE,  ORB_L_ECALTERMS, ORB_D_ECALOFFSET,
                                          ORB_D_ECALGAIN,  ORB_D_ECALQUAD,  ORB_D_ECALCUBIC, ORB_D_ECALQUART,
                                          ORB_D_ECALQUINT, ORB_D_ECALCHISQ, ORB_T_EUNIT,     ORB_D_EUNITKEV,
                                          ORB_L_CALFLAGS};

/// ORB_D_SPBIAS, which lies between them, describes the file it is in and stays there.
constexpr std::uint32_t kSettingsCodes[] = {ORB_D_SPRISETIME, ORB_D_SPFLATTOP, ORB_D_SPDECAY,
                                            ORB_D_SPGAIN,     ORB_D_SPBLRTIME, ORB_D_SPLLD};

/// Copies the block of a class, after creating it in the destination when it is missing there. A block that is still
/// missing afterwards is missing in the source: then there is nothing to copy, and that is no failure.
std::uint32_t copyBlock(const FileAccess& source, FileAccess& dest, std::uint16_t cls, const char* failure_text) {
  std::uint32_t status = source.copyTo(dest, cls);
  if (status == kNoBlock) {
    dest.createBlock(cls, 0, 1, 1);
    status = source.copyTo(dest, cls);
  }
  if (status == 0 || status == kNoBlock) return 0;
  return reportFileFailure(source, kWhere, failure_text, status);
}

void copyValue(const FileAccess& source, FileAccess& dest, std::uint32_t code, Variant& value) {
  value.clear();
  if (const std::uint32_t status = source.getParameter(code, value, 0, 0)) {
    reportFileFailureOf(source, kWhere, status,
                        [&] { return "Failed to get parameter: " + formatParameterError(code); });
  }
  if (!value.hasValue()) return;
  if (const std::uint32_t status = dest.setParameter(code, value, 0, 0)) {
    reportFileFailureOf(source, kWhere, status,
                        [&] { return "Failed to set parameter: " + formatParameterError(code); });
  }
}

/// Reading with `ignore` always answers 0, so the read counts as failed when it brought back no value at all.
std::uint32_t readSettings(const FileAccess& source, ParameterMap& settings) {
  const BulkRead read = readParameters(source, settings, 0, 0, true);
  if (read.any_value) return 0;
  return read.last_failure != 0 ? read.last_failure : kNoValue;
}

std::uint32_t transferSettings(const FileAccess& source, FileAccess& dest) {
  ParameterMap settings;
  for (const std::uint32_t code : kSettingsCodes) settings[code] = Variant(0.0);
  if (const std::uint32_t status = readSettings(source, settings)) return status;
  return dest.setParameters(settings, 0, 0, true);
}

/// Settings are an addition to the calibrations: whatever happens here is logged and passed over.
void copySettings(const FileAccess& source, FileAccess& dest) {
  constexpr const char* kSettingsWhere = "FileAccess::copyCalibrationsTo : TOJO";
  try {
    if (const std::uint32_t status = transferSettings(source, dest)) {
      reportFileFailure(source, kWhere, "Failed to get Tojo settings", status);
    }
  } catch (const std::exception& e) {
    reportFileFailure(source, kSettingsWhere, e.what(), kExceptionCaught);
  } catch (...) {
    reportFileFailure(source, kSettingsWhere, "Exception", kExceptionCaught);
  }
}

/// The checks, in their order: here the destination comes first.
std::uint32_t requireCopyable(const FileAccess& source, const FileAccess& dest) {
  if (const auto refusal = requireOpen(dest, source, kWhere, "Destination is not open", kFileNotOpen)) {
    return refusal;
  }
  if (const auto refusal = requireOpen(source, source, kWhere, "Source is not open", kFileNotOpen)) {
    return refusal;
  }
  return requireDistinct(source, dest, kWhere);
}

/// One kind of calibration that has a block, and the values that go with it.
struct BlockKind {
  CopyCalibrationOptions option;
  std::uint16_t cls;
  const char* failure_text;
  const std::uint32_t* codes_begin = nullptr;
  const std::uint32_t* codes_end = nullptr;
};

/// In the order in which they are copied.
constexpr BlockKind kBlockKinds[] = {
    {SHAPE, ORB_CLS_SHAPECALRES, "Failed to copy ORB_CLS_SHAPECALRES", std::begin(kShapeCodes), std::end(kShapeCodes)},
    {ENERGY, ORB_CLS_CALRESULTS, "Failed to copy ORB_CLS_CALRESULTS", std::begin(kEnergyCodes), std::end(kEnergyCodes)},
    {EFFICIENCY, ORB_CLS_GEOM, "Failed to copy ORB_CLS_GEOM"},
    {PEAK2TOTAL, ORB_CLS_PTCALIB, "Failed to copy ORB_CLS_PTCALIB"}};

}  // namespace

std::uint32_t FileAccess::copyCalibrationsTo(FileAccess& dest, CopyCalibrationOptions ops) const {
  const FileLock lock(m_mutex);
  const FileLock dest_lock(dest.mutex());
  if (const std::uint32_t refusal = requireCopyable(*this, dest)) return refusal;
  Variant value;
  for (const BlockKind& kind : kBlockKinds) {
    if ((ops & kind.option) == 0) continue;
    if (const std::uint32_t failure = copyBlock(*this, dest, kind.cls, kind.failure_text)) return failure;
    for (const std::uint32_t* code = kind.codes_begin; code != kind.codes_end; ++code) {
      captureExceptions(kWhere, [&] { copyValue(*this, dest, *code, value); });  // a failure of this value alone
    }
  }
  if ((ops & TOJO) != 0) copySettings(*this, dest);
  return 0;
}

}  // namespace com::norvale::orb
