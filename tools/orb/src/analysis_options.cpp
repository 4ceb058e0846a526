#include "analysis_options.h"

#include <memory>

#include "isolated_step.h"

namespace orb::tool {

EngineSet findEngines(const RunOptions& options) {
  EngineSet engines = com::norvale::measurement::findEngines(options);
  if (options.isolated) engines.isolate = [](FileAccess& file) { return std::make_unique<IsolatedSteps>(file); };
  return engines;
}

void addEngineOptions(CLI::App& command, RunOptions& options) {
  command.add_option("--aef", options.catalogue, "Engine catalogue; the installed one without it")->type_name("FILE");
  command.add_option("--engines", options.folder, "Folder of the engines' libraries; that of the catalogue without it")
      ->type_name("DIR");
}

void addIsolateOption(CLI::App& command, RunOptions& options) {
  command.add_flag("--isolate", options.isolated,
                   "Run each step in a process of its own: an engine that crashes is a failed step");
}

void addSequenceOption(CLI::App& command, std::string& sequence) {
  command.add_option("--sequence", sequence, "File that holds the sequence; the standard one without it")
      ->type_name("ASF");
}

void addAnalysisOptions(CLI::App& command, AnalysisRequest& request, RunOptions& engines) {
  command.add_option("--library", request.library, "Nuclide library in place of the file's, or of that of --sequence")
      ->type_name("FILE");
  addSequenceOption(command, request.sequence);
  addEngineOptions(command, engines);
  addIsolateOption(command, engines);
}

}  // namespace orb::tool
