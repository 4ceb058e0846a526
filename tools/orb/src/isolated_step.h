/// Steps of a sequence in processes of their own, so that an engine that crashes takes nothing along but its step.
#pragma once
#include <string>

#include "parts.h"
#include "step_isolation.h"

namespace orb::tool {

using com::norvale::orb::FileAccess;

/// As long as it lives, each step of a sequence on the file runs in a new process of this program: on a copy of the
/// file beside it, whose content becomes that of the file when the process has come to its end and told the step's
/// result. A process that ends in any other way has crashed: the step fails with ENG_CRASHED, and the file is what it
/// was before. Of several files each may have its own, in its own thread.
class IsolatedSteps : public StepIsolation {
 public:
  explicit IsolatedSteps(FileAccess& file);
  ~IsolatedSteps() override;

  const std::string& crash() const override { return crash_; }

 private:
  std::uint32_t run(const std::string& entry_point, const std::string& library, std::uint16_t step);

  FileAccess& file_;
  std::string crash_;
};

/// Whether the command line is that of such a process.
bool isIsolatedStep(int argc, char** argv);

/// What such a process does: the step on the copy. Does not come back.
[[noreturn]] void runIsolatedStep(char** argv);

}  // namespace orb::tool
