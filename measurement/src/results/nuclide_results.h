/// What the analysis says about nuclides.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "measurement_rows.h"
#include "open_file.h"

namespace com::norvale::measurement {

struct NuclideResults {
  std::vector<Nuclide> nuclides;  ///< judged present, by falling confidence
  std::vector<Limit> not_found;
  std::vector<double> unidentified;  ///< energies of the peaks that nothing explains [keV]
  bool is_analysed = false;          ///< nuclides were looked for
  SourceFile library, limit_library, sequence;
};

/// @throws Failure
NuclideResults readNuclides(const FileAccess& file);

}  // namespace com::norvale::measurement
