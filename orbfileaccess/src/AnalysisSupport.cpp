#include "AnalysisSupport.h"

#include <limits>
#include <string>

#include "FailureReport.h"

namespace com::norvale::orb {

using datatypes::Variant;

namespace {

constexpr std::uint32_t kContinuumType = 0x20030028;
constexpr std::uint32_t kContinuumVariable = 0x200300C3;
constexpr std::uint32_t kContinuumFwhm = 0x200300C4;
constexpr std::uint32_t kContinuumChannels = 0x20030026;

}  // namespace

float wholeChannels(float width) {
  constexpr float kBeyond = 4294967296.0f;
  if (!(width > 0)) return 0;
  if (width >= kBeyond) return static_cast<float>(std::numeric_limits<std::uint32_t>::max());
  return static_cast<float>(static_cast<std::uint32_t>(width));
}

const char* continuumWord(ContinuumType type) {
  return type == STEP ? "STEP" : type == LINEAR ? "LINEAR" : "NONE";
}

void addContinuum(ParameterMap& pars, ContinuumOptions options, ContinuumType type, float width) {
  pars[kContinuumVariable] = Variant(options == VARIABLE_CONTINUUM ? 1 : 0);
  if (options == VARIABLE_CONTINUUM) pars[kContinuumFwhm] = Variant(width);
  if (options == FIXED_CONTINUUM) pars[kContinuumChannels] = Variant(wholeChannels(width));
  pars[kContinuumType] = Variant(std::string(continuumWord(type)));
}

void addEmpty(ParameterMap& pars, std::initializer_list<std::uint32_t> codes) {
  for (const std::uint32_t code : codes) pars[code] = Variant();
}

void reportRoutine(const FileAccess& file, const char* where, const char* routine, std::uint32_t status) {
  reportFileFailure(file, where, std::string("Error returned from '") + routine + "'", status);
}

}  // namespace com::norvale::orb
