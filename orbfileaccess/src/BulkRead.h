/// Reading a map of parameters, with more to tell than FileAccess::getParameters answers.
#pragma once
#include <cstdint>

#include "FileAccess.h"

namespace com::norvale::orb {

/// What came of reading a map.
struct BulkRead {
  std::uint32_t last_failure = 0;  ///< result code of the last value that could not be read; 0 when all could
  bool any_value = false;          ///< at least one value was there
};

/// Reads the values of all codes of `pars` in place under the file's lock, in ascending order of codes.
/// @param ignore  go on after a failure instead of stopping
BulkRead readParameters(const FileAccess& file, ParameterMap& pars, std::uint16_t record, std::uint16_t entry,
                        bool ignore);

}  // namespace com::norvale::orb
