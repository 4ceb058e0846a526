/// What the analysis operations share: the settings of the continuum, results to be read, failures.
#pragma once
#include <cstdint>
#include <initializer_list>
#include <system_error>

#include "ExceptionCapture.h"
#include "FileAccess.h"

namespace com::norvale::orb {

/// Puts type and flag of the continuum into the map, and the width under the parameter that the option names.
void addContinuum(ParameterMap& pars, ContinuumOptions options, ContinuumType type, float width);

/// Inserts codes with empty values; those that are there become empty.
void addEmpty(ParameterMap& pars, std::initializer_list<std::uint32_t> codes);

/// Logs "Error returned from 'ROUTINE'" with the routine's status when that is not 0. @return true for 0
bool succeeded(const FileAccess& file, const char* where, const char* routine, std::int32_t status);

/// Runs an analysis. What it throws (a setting that the dictionary holds to be of another type, no memory) is logged
/// and gives an empty result; only a lock that cannot be had passes.
template <typename Analysis>
auto withoutExceptions(const char* where, Analysis&& analysis) -> decltype(analysis()) {
  try {
    return analysis();
  } catch (const std::system_error&) {
    throw;
  } catch (...) {
    reportCurrentException(where);
    return {};
  }
}

}  // namespace com::norvale::orb
