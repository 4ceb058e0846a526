// orb engines: the catalogue, and whether each engine can be run.
#include <memory>

#include "Library.h"
#include "command.h"
#include "engine_set.h"
#include "json_output.h"
#include "terminal_text.h"

namespace orb::tool {

namespace {

using com::norvale::orb::EngineMetadata;

struct Options {
  EngineOptions engines;
  bool json = false;
};

/// "ready", or what is missing.
std::string stateOf(const EngineMetadata& engine, const std::string& folder) {
  com::norvale::datatypes::Library library;
  if (library.open(folder + engine.Resource) != 0) return "library does not load";
  return library.procAddress(engine.Function) != nullptr ? "ready" : "no entry point";
}

Json asJson(const EngineMetadata& engine, const std::string& state) {
  return {{"name", engine.Name},        {"category", engine.Category},    {"description", engine.Description},
          {"library", engine.Resource}, {"entry_point", engine.Function}, {"state", state}};
}

int run(const Options& options, Console& console) {
  const EngineSet engines = findEngines(options.engines);
  Json list = Json::array();
  bool all_ready = true;
  for (const EngineMetadata& engine : parseAEF(engines.catalogue)) {
    const std::string state = stateOf(engine, engines.folder);
    all_ready = all_ready && state == "ready";
    list.push_back(asJson(engine, state));
    if (options.json) continue;
    console.line(padRight(escapeLine(engine.Name), 24) + padRight(state, 22) +
                 escapeLine(engine.Resource + "!" + engine.Function));
    console.line("    " + escapeLine(engine.Description));
  }
  if (options.json)
    printJson({{"catalogue", engines.catalogue}, {"folder", engines.folder}, {"engines", list}}, console);
  return all_ready ? kDone : kFailed;
}

}  // namespace

void addEngines(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("engines", "List the analysis engines and whether they can be run");
  addEngineOptions(*command, options->engines);
  command->add_flag("--json", options->json, "Print JSON");
  command->footer(
      "Exit status 1 when an engine cannot be run; --verbose shows the loader's message.\n\n"
      "Example:\n  orb engines");
  command->callback([options, &job] { job = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
