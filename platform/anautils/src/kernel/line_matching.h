// Which of the lines found in a spectrum are those of a known source.
#pragma once

#include <vector>

namespace anautils {

struct MatchPeak {
  double position = 0;  ///< [channel]
  double fwhm = 0;      ///< [channels]
  double area = 0;
};

struct KnownLine {
  double energy = 0;     ///< [keV]
  double intensity = 0;  ///< in a unit that the lines of a group share
  int group = 0;         ///< of lines that one nuclide emits: their areas go together
};

/// An energy equation to begin with: straight between two channels of the spectrum.
struct StartingScale {
  double gain = 0;  ///< [keV/channel]; 0: none
  double offset = 0;
};

struct LineMatch {
  int known = 0;
  int peak = 0;
};

/// The matches under the straight energy scale that explains most: every pair of strong lines against every pair of
/// strong peaks gives a scale; known lines that are found count for it, those that should be seen and are not against
/// it, and so do strong peaks without a line and a large offset. The matches are then gone through again with a
/// parabola through them. A match whose area does not go with those of its group counts less. A scale to begin with
/// that explains most of what the spectrum should show is taken without a search. A single known line is matched by the
/// starting scale, or, without one, to the strongest peak.
/// @param channels  length of the spectrum
/// @return in order of energy; empty when nothing fits
std::vector<LineMatch> matchLines(const std::vector<MatchPeak>& peaks, const std::vector<KnownLine>& known,
                                  const StartingScale& start, int channels);

}  // namespace anautils
