/// Options of the commands that run engines.
#pragma once
#include "analysis.h"
#include "command.h"

namespace orb::tool {

struct RunOptions : EngineOptions {
  bool isolated = false;  ///< each step in a process of its own
};
/// As the options say. @throws Failure
EngineSet findEngines(const RunOptions& options);

void addEngineOptions(CLI::App& command, RunOptions& options);
/// --isolate, of commands that run engines.
void addIsolateOption(CLI::App& command, RunOptions& options);
void addSequenceOption(CLI::App& command, std::string& sequence);

/// --library, --sequence, and those of the engines.
void addAnalysisOptions(CLI::App& command, AnalysisRequest& request, RunOptions& engines);

}  // namespace orb::tool
