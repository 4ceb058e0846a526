#include "AnalysisSupport.h"

#include <limits>
#include <string>

#include "FailureReport.h"
#include "orbparams.h"

namespace com::norvale::orb {

using datatypes::Variant;

namespace {

/// A whole number of channels from a width: towards zero, 0 for a negative width and for one that is no number, the
/// greatest 32-bit number for one beyond it.
float wholeChannels(float width) {
  constexpr float kBeyond = 4294967296.0f;
  if (!(width > 0)) return 0;
  if (width >= kBeyond) return static_cast<float>(std::numeric_limits<std::uint32_t>::max());
  return static_cast<float>(static_cast<std::uint32_t>(width));
}

/// The word that the file holds for a type; anything that is no type counts as none.
const char* continuumWord(ContinuumType type) {
  return type == STEP ? "STEP" : type == LINEAR ? "LINEAR" : "NONE";
}

}  // namespace

void addContinuum(ParameterMap& pars, ContinuumOptions options, ContinuumType type, float width) {
  pars[ORB_L_CONTVARIABLE] = Variant(options == VARIABLE_CONTINUUM ? 1 : 0);
  if (options == VARIABLE_CONTINUUM) pars[ORB_F_CONTFWHM] = Variant(width);
  if (options == FIXED_CONTINUUM) pars[ORB_L_CONTWIDTH] = Variant(wholeChannels(width));
  pars[ORB_T_CONTTYPE] = Variant(std::string(continuumWord(type)));
}

void addEmpty(ParameterMap& pars, std::initializer_list<std::uint32_t> codes) {
  for (const std::uint32_t code : codes) pars[code] = Variant();
}

bool succeeded(const FileAccess& file, const char* where, const char* routine, std::int32_t status) {
  if (status == 0) return true;
  reportFileFailureOf(file, where, static_cast<std::uint32_t>(status),
                      [&] { return std::string("Error returned from '") + routine + "'"; });
  return false;
}

}  // namespace com::norvale::orb
