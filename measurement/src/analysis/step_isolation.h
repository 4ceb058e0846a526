/// Steps of a sequence carried out where a crash of theirs cannot reach this process.
#pragma once
#include <functional>
#include <memory>
#include <string>

#include "FileAccess.h"

namespace com::norvale::measurement {

/// As long as it lives, the steps of sequences on one file run elsewhere; a crash fails the step with ENG_CRASHED.
class StepIsolation {
 public:
  StepIsolation() = default;
  virtual ~StepIsolation() = default;
  StepIsolation(const StepIsolation&) = delete;
  StepIsolation& operator=(const StepIsolation&) = delete;

  /// How the last step that crashed ended: "ended by signal 11 (Segmentation fault)".
  virtual const std::string& crash() const = 0;
};

using IsolateSteps = std::function<std::unique_ptr<StepIsolation>(orb::FileAccess& file)>;

}  // namespace com::norvale::measurement
