#pragma once
#include <cstdlib>

// What the fuzz targets share.
namespace fuzz {

/// Ends the program, which the fuzzing engine takes for a fault found.
inline void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace fuzz
