/// Which nuclides of a library explain the peaks of a spectrum. Knows no file.
///
/// Every nuclide has one strength (its activity, or anything proportional to it), and a line of it is expected with the
/// counts `sensitivity * strength`. Nuclides are taken up one after the other, each time the one that explains most of
/// what is left, at the strength at which it does; a peak is explained at most once. Lines that ought to be seen at
/// that strength and are not speak against it. So of two nuclides that could explain one peak the one wins that other
/// peaks speak for, and a peak that is explained already is no reason to see a further nuclide. Of two that explain the
/// same, the one is taken that needs less strength, or whose relative is there. A parent is given the strength of its
/// daughters, and stays if that makes nothing worse.
#pragma once
#include <vector>

namespace orbengine {

struct SpectrumPeak {
  double energy = 0;  ///< [keV]
  double area = 0;    ///< net area [counts]
  double area_u = 0;  ///< [counts]
};

/// What a line says about its nuclide.
enum class LineRole {
  kEvidence,   ///< found it speaks for the nuclide, missing against it
  kCompanion,  ///< says nothing, but where the nuclide is present it explains its peak (X-rays: others have the same)
  kNothing     ///< neither (annihilation)
};

/// A line of a nuclide of the library, as the spectrum would show it.
struct CandidateLine {
  double energy = 0;       ///< [keV]
  double sensitivity = 0;  ///< counts for a strength of 1
  /// Detection limit of its area [counts], more beside a peak in whose flank it may lie unresolved. Infinite: it cannot
  /// be seen there.
  double limit = 0;
  double tolerance = 0;  ///< greatest distance of a peak [keV]
  LineRole role = LineRole::kEvidence;
};

struct Candidate {
  std::vector<CandidateLine> lines;
  int parent = -1;  ///< index of the candidate with which it is in equilibrium
  int family = 0;   ///< the same for all that are in equilibrium with each other; 0: none
};

struct IdentificationSettings {
  double model_u = 0.3;       ///< relative uncertainty of the sensitivities against each other
  double least_share = 0.75;  ///< of a nuclide's emission that ought to be seen, which must have been found
  double least_confidence = 0.3;
  double miss_penalty = 1;  ///< 0 to 1: weight with which lines that ought to be seen and are not count
  /// Peaks are seldom single lines (scintillators): the sensitivities' uncertainty is that of what adds up to a peak.
  bool are_blends = false;
};

struct MatchedLine {
  int peak = -1;             ///< index of the peak; -1: none
  double delta_e = 0;        ///< energy of the peak minus that of the line [keV]
  bool is_expected = false;  ///< the line ought to be seen at the strength of the nuclide, or was
};

struct IdentifiedNuclide {
  int candidate = 0;  ///< index
  double strength = 0;
  double confidence = 0;           ///< 0 to 1
  double share = 0;                ///< found part of the emission that ought to be seen
  std::vector<MatchedLine> lines;  ///< as the lines of the candidate
};

/// @return the nuclides that are judged present, by falling confidence
/// @cost candidates times their lines squared, for each nuclide that is found
std::vector<IdentifiedNuclide> identify(const std::vector<SpectrumPeak>& peaks,
                                        const std::vector<Candidate>& candidates,
                                        const IdentificationSettings& settings);

}  // namespace orbengine
