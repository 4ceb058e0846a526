/// The peaks of a spectrum and what nuclides explain of them. Knows no file; part of the identification.
#pragma once
#include <cstddef>
#include <vector>

#include "identification.h"

namespace orbengine {

constexpr double kPeakWorth = 16;  // a peak explained or not counts no more than a deviation of 4 sigma

/// What a nuclide adds to one peak, all its lines there together.
struct Share {
  std::size_t peak;
  double sensitivity;
  double closeness;  ///< 1: at its energy, falling to 0.14 at the tolerance
};

/// A candidate with its lines matched to the peaks.
struct Hypothesis {
  int candidate = 0;
  std::vector<MatchedLine> lines;
  std::vector<Share> shares;      ///< of the lines that are evidence
  std::vector<Share> companions;  ///< of those that merely come along
  double strength = 0;
  bool is_held = false;  ///< at the strength of its daughters
};

inline bool isEvidence(const CandidateLine& line) {
  return line.role == LineRole::kEvidence;
}

/// Every line with the nearest peak within its tolerance.
Hypothesis matched(const std::vector<SpectrumPeak>& peaks, const Candidate& candidate, int index);

/// The peaks and what is explained of them so far.
class Explanation {
 public:
  Explanation(const std::vector<SpectrumPeak>& peaks, const std::vector<Candidate>& candidates,
              const IdentificationSettings& settings)
      : peaks_(peaks), candidates_(candidates), settings_(settings), explained_(peaks.size(), 0.0) {}

  /// @param sign  -1: takes it out
  void add(const Hypothesis& h, double sign = 1);

  /// What the nuclide at a strength makes better, in squared deviations; negative when it makes things worse.
  double gain(const Hypothesis& h, double strength) const;

  /// Puts the strength to where the gain is greatest: one of those at which a line explains what is left of its peak.
  /// @return that gain
  double fitStrength(Hypothesis& h) const;

  /// How near the found lines lie to their peaks, weighted by intensity: 1 at the energies themselves. Peaks that
  /// others explain lie where those put them.
  double closeness(const Hypothesis& h) const;

  /// Mean squared deviation of the nuclide's peaks from what explains them.
  double meanDeviation(const Hypothesis& h) const;

  /// Found part of the emission that ought to be seen at the nuclide's strength; marks the lines that ought to. Lines
  /// at peaks that others explain say nothing for the nuclide and nothing against it.
  double foundShare(Hypothesis& h) const;

  /// Found part of all that the nuclide emits where lines can be seen, whether or not it ought to be seen.
  double emissionShare(const Hypothesis& h) const;

 private:
  const std::vector<CandidateLine>& linesOf(const Hypothesis& h) const {
    return candidates_[static_cast<std::size_t>(h.candidate)].lines;
  }
  template <typename Counts>
  double foundOf(const Hypothesis& h, const Counts& counts) const;
  bool isExplained(std::size_t peak) const;
  bool explainMostOf(const Hypothesis& h, const MatchedLine& line) const;
  double deviation(std::size_t peak, double more) const;
  double missing(double expected, double limit) const;

  const std::vector<SpectrumPeak>& peaks_;
  const std::vector<Candidate>& candidates_;
  const IdentificationSettings& settings_;
  std::vector<double> explained_;
};

}  // namespace orbengine
