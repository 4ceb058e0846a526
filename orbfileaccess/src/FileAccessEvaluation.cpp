// Numbers through the calibrations of the open file.
#include "FailureReport.h"
#include "FileAccess.h"
#include "OpenFileCheck.h"
#include "anautils.h"
#include "orbparams.h"

namespace com::norvale::orb {

using datatypes::Estimate;
using datatypes::Variant;

namespace {

constexpr SHORT kCalibrationSet = 1;

/// A status that is not 0 ends the evaluation: thrown as it is, or passed over by the caller's wish.
class Statuses {
 public:
  explicit Statuses(bool ignore) : ignore_(ignore) {}
  /// For what the evaluation can go on without.
  void check(std::uint32_t status) const {
    if (status != 0 && !ignore_) throw static_cast<unsigned int>(status);
  }
  /// For what it cannot: the result is {0, 0} then. @return false when it has to end
  bool require(std::uint32_t status) const {
    check(status);
    return status == 0;
  }

 private:
  bool ignore_;
};

SHORT equationKind(EvaluationOption option) {
  return option == ENERGY2FWHM ? ANA_FWHM : option == ENERGY2LOWTAIL ? ANA_LOWTAIL : ANA_ENERGY;
}

/// The word by which the file selects the model.
const char* modelWord(EvaluationOption option) {
  switch (option) {
    case ENERGY2EMPIRICAL:
      return "EMPIRICA";
    case ENERGY2LINEAR:
      return "LINEAR";
    case ENERGY2INTERPOL:
      return "INTERPOL";
    case ENERGY2DUAL:
      return "DUAL";
    case ENERGY2AVERAGE:
      return "AVERAGE";
    default:
      return "PTCAL";
  }
}

Estimate<float> evaluateEquation(void* handle, EvaluationOption option, float pt, const Statuses& statuses) {
  stAEncalEq_T equation{};
  const LONG status = lGetEneq(handle, equationKind(option), kCalibrationSet, &equation);
  if (!statuses.require(static_cast<std::uint32_t>(status))) return {};
  return {option == ENERGY2CHANNEL ? rPEn2Chan(pt, &equation) : rEval(pt, &equation), 0};
}

Estimate<float> evaluateEfficiency(FileAccess& file, EvaluationOption option, float pt, const Statuses& statuses) {
  const bool forces_model = option != ENERGY2DEFAULTEFF;
  Variant former_model;
  if (forces_model) {
    // The routine reads the model from the file, so the file selects another one for the time of the fetch.
    statuses.check(file.getParameter(ORB_T_EFFMODEL, former_model, 1, 1));
    statuses.check(file.setParameter(ORB_T_EFFMODEL, Variant(std::string(modelWord(option))), 1, 1));
  }
  stEfEq_T equation{};
  int n_points = 0;
  REAL energies[ANA_MAX_EFF_POINTS];
  REAL efficiencies[ANA_MAX_EFF_POINTS];
  REAL uncertainties[ANA_MAX_EFF_POINTS];
  const LONG fetched =
      lGetEfeq(file.handle(), kCalibrationSet, &equation, &n_points, energies, efficiencies, uncertainties);
  if (!statuses.require(static_cast<std::uint32_t>(fetched))) return {};

  REAL value = 0;
  REAL relative = 0;
  statuses.check(static_cast<std::uint32_t>(lEffic(pt, &equation, n_points, energies, efficiencies, &value)));
  statuses.check(
      static_cast<std::uint32_t>(lEffvar(pt, value, &equation, n_points, energies, uncertainties, &relative)));
  if (forces_model) statuses.check(file.setParameter(ORB_T_EFFMODEL, former_model, 1, 1));
  return {value, value * relative};
}

}  // namespace

Estimate<float> FileAccess::evaluate(EvaluationOption option, float pt, bool ignore) const {
  const FileLock lock(m_mutex);
  if (const std::uint32_t refusal = requireOpen(*this, "FileAccess::evaluate")) {
    if (!ignore) throw static_cast<unsigned int>(refusal);
    return {};
  }
  const auto number = static_cast<std::uint32_t>(option);
  if (number > static_cast<std::uint32_t>(ENERGY2PEAK2TOTAL)) return {};
  const Statuses statuses(ignore);
  if (number <= static_cast<std::uint32_t>(ENERGY2LOWTAIL)) return evaluateEquation(m_handle, option, pt, statuses);
  return evaluateEfficiency(forAnalysis(), option, pt, statuses);
}

}  // namespace com::norvale::orb
