/// Times and quantity of the measurement in a file, and what decay makes of an activity between them.
#pragma once
#include <optional>

#include "engine.h"
#include "kernel/decay.h"

namespace orbengine {

/// A time or a quantity that is not positive and finite counts as not known.
class Measurement {
 public:
  explicit Measurement(const File& file);

  double live_s() const { return live_s_; }  ///< 0: not known
  bool hasReference() const { return start_ && reference_; }
  /// Reference date of the activities: the sample's; nothing when the file has none.
  std::optional<double> reference() const { return reference_; }
  /// Date of the activities: the sample's, or the start of the acquisition.
  std::optional<double> date() const { return hasReference() ? reference_ : start_; }
  /// From the reference date to the start of the acquisition [s]; 0 when either is not known.
  double elapsed_s() const;

  double quantity() const { return quantity_; }  ///< of the sample, in its own unit; 0: not known
  double quantityRelativeU() const { return quantity_u_ / quantity_; }

  /// Mean activity during the counting over that at its start; 1 when the file wants no such correction.
  double duringCounting(double half_life_s) const { return meanDuringCounting(half_life_s, counting_s_); }
  /// From the activity at the start of the counting to that at the reference date, build-up included.
  DecayFactor toReference(double half_life_s, double half_life_u) const;

 private:
  double live_s_;
  double counting_s_ = 0;
  std::optional<double> start_;
  std::optional<double> reference_;
  double quantity_;
  double quantity_u_;
  double collection_s_;
  BuildUp build_up_ = BuildUp::None;
};

}  // namespace orbengine
