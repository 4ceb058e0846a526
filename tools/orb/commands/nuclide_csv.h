/// Nuclide libraries as text: one gamma line a row.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace orb::tool {

struct NuclideLine {
  std::string nuclide;
  double half_life_s = 0;
  std::string parent;  ///< empty: none
  double energy_keV = 0;
  double energy_unc_keV = 0;  ///< 0: not known, as all uncertainties
  double probability = 0;     ///< photons per 100 decays
  double probability_unc = 0;
  std::string type;  ///< gamma, xray or annihilation
  bool is_key = false;
  std::string reference;
};

/// Reads the columns nuclide, half_life ("30.05 y"; s, m, h, d or y), parent, energy_keV, energy_unc_keV,
/// probability_percent, probability_unc, type, key (yes or no), reference; lines that begin with # are remarks. A field
/// may stand in double quotes.
/// @param name  stands in front of error messages
/// @throws Failure with the line, for anything that cannot be understood
std::vector<NuclideLine> readNuclideCsv(std::string_view text, const std::string& name);

}  // namespace orb::tool
