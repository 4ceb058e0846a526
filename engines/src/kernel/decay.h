/// Decay of one nuclide around a measurement. Half-lives and times in seconds. A half-life of 0 means that it is not
/// known: then nothing decays.
#pragma once

namespace orbengine {

/// How activity came into the sample during the collection time that ended at the reference date.
enum class BuildUp { None, Deposit, Irradiation };

struct DecayFactor {
  double value = 1;
  double relative_u = 0;  ///< from the half-life
};

/// Mean activity during a counting time over the activity at its start: (1 - exp(-l t)) / (l t).
double meanDuringCounting(double half_life, double real_time);

/// Factor from the activity at the start of the acquisition to that at the reference date.
/// @param elapsed  from the reference date to the start of the acquisition; negative when it comes later
DecayFactor toReferenceDate(double half_life, double half_life_u, double elapsed);

/// Factor from the activity at the end of the collection to what is asked for: with a constant deposit the activity
/// that was collected in all, l t / (1 - exp(-l t)); with a constant irradiation that at saturation,
/// 1 / (1 - exp(-l t)).
double forBuildUp(BuildUp kind, double half_life, double collection_time);

}  // namespace orbengine
