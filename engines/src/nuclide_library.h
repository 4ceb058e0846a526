/// The nuclide library: a data file with one line of a nuclide in each record (class 0x2007).
#pragma once
#include <string>
#include <vector>

namespace orbengine {

struct LibraryLine {
  double energy = 0;         ///< [keV]
  double energy_u = 0;       ///< [keV]; 0: not known
  double probability = 0;    ///< photons per decay, not per cent
  double probability_u = 0;  ///< standard uncertainty of it; 0: not known
  bool is_key = false;       ///< the line that limits and single-line activities are taken from
  bool no_activity = false;  ///< supports an identification, but takes no part in activities
  bool is_annihilation = false;
  bool is_x_ray = false;  ///< of the daughter's element: many nuclides have the same
};

struct LibraryNuclide {
  std::string name;
  std::string parent;              ///< with which it is taken to be in equilibrium; empty: none
  double half_life_s = 0;          ///< 0: not known, no decay correction
  double half_life_u = 0;          ///< [s]
  std::vector<LibraryLine> lines;  ///< in the order of the library
  bool is_fluorescence = false;    ///< X-rays of the surroundings: they explain peaks and are no nuclide
};

/// X-rays that shields and natural decays bring into every spectrum: lead, bismuth, polonium, radon, thorium and
/// uranium, K series. Probabilities are relative to the strongest. Source: recommended data of the Decay Data
/// Evaluation Project (LNHB) for Bi-207, Pb-214, Bi-214, Ra-226, Ac-228 and Pa-234m.
std::vector<LibraryNuclide> fluorescenceLines();

/// Path of the library of that name, absolute: the name itself when it has a slash, otherwise as findKnownFile finds
/// it, the data folder that belongs to the installed engine before the folder of the data file. Throws
/// Failure(ENG_NOLIBRARY).
std::string findLibrary(const std::string& name, void* handle);

/// The path, or its end where it is longer than a parameter for names holds.
std::string shortened(const std::string& path);

/// What was read, and from where.
struct NuclideLibrary {
  std::string path;
  std::string hash;  ///< SHA-256 of the file
  std::vector<LibraryNuclide> nuclides;
};

/// The nuclides of a library, in the order in which they first occur. Lines without a positive energy and probability
/// are left out. Throws Failure(ENG_BADLIBRARY) when there is none, when the file cannot be opened, or when it keeps
/// changing.
NuclideLibrary readLibrary(const std::string& path);

}  // namespace orbengine
