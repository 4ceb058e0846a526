/// What the analysis operations share: the settings of the continuum, reading results, failures of routines.
#pragma once
#include <cstdint>
#include <initializer_list>

#include "FileAccess.h"

namespace com::norvale::orb {

/// A whole number of channels from a width: towards zero, 0 for a negative width and for one that is no number, the
/// greatest 32-bit number for one beyond it.
float wholeChannels(float width);

/// The word that the continuum parameter holds: "STEP", "LINEAR", or "NONE" for anything else.
const char* continuumWord(ContinuumType type);

/// Puts type and flag of the continuum into the map, and the width under the parameter that the option names.
void addContinuum(ParameterMap& pars, ContinuumOptions options, ContinuumType type, float width);

/// Inserts codes with empty values; those that are there become empty.
void addEmpty(ParameterMap& pars, std::initializer_list<std::uint32_t> codes);

/// Logs "Error returned from 'ROUTINE'" with the routine's status.
void reportRoutine(const FileAccess& file, const char* where, const char* routine, std::uint32_t status);

}  // namespace com::norvale::orb
