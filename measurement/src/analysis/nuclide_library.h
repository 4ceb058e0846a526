/// Nuclide libraries: data files with one line a record.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "open_file.h"

namespace com::norvale::measurement {

struct LibraryLine {
  std::uint16_t record = 0;
  std::string nuclide;
  double energy_keV = 0;
  double energy_unc_keV = 0;
  double probability = 0;  ///< photons per 100 decays
  double probability_unc = 0;
  double half_life_s = 0;
  std::string type;  ///< gamma, xray or annihilation
  std::string parent;
  bool is_key = false;
};

/// Path of a library, found as data_folders.h tells. An empty name means STDLIB.NLB.
/// @throws Failure when there is none
std::string findLibrary(const std::string& name);

/// All lines of a library in the order of its records. @throws Failure
std::vector<LibraryLine> readLibrary(const std::string& path);

/// The lines of one nuclide, by falling probability; names are compared without case, blanks and hyphens.
/// @throws Failure naming the nuclide when there is none
std::vector<LibraryLine> linesOfNuclide(const std::vector<LibraryLine>& library, const std::string& nuclide,
                                        const std::string& path);

/// The same without X-rays, whose lines lie too close together to calibrate by and are broader than the detector makes
/// them.
/// @throws Failure naming the nuclide when it has no other
std::vector<LibraryLine> gammaLinesOfNuclide(const std::vector<LibraryLine>& library, const std::string& nuclide,
                                             const std::string& path);

}  // namespace com::norvale::measurement
