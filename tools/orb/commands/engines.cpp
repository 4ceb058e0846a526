// orb engines: the catalogue, and whether each engine is there and can be run.
#include <filesystem>
#include <memory>

#include "Library.h"
#include "analysis_options.h"
#include "command.h"
#include "json_output.h"
#include "terminal_text.h"

namespace orb::tool {

namespace {

using com::norvale::orb::EngineMetadata;

struct Options {
  RunOptions engines;
  bool check = false;
  bool json = false;
};

/// Runs nothing of the engine: a library does what it likes as soon as it is loaded.
std::string stateOfFile(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error) ? "there" : "missing";
}

/// "ready", or what is missing, by loading the engine as a run would.
std::string stateWhenLoaded(const EngineMetadata& engine, const std::string& path) {
  com::norvale::datatypes::Library library;
  if (library.open(path) != 0) return "library does not load";
  return library.procAddress(engine.Function) != nullptr ? "ready" : "no entry point";
}

Json asJson(const EngineMetadata& engine, const std::string& state) {
  return {{"name", engine.Name},        {"category", engine.Category},    {"description", engine.Description},
          {"library", engine.Resource}, {"entry_point", engine.Function}, {"state", state}};
}

int run(const Options& options, Console& console) {
  const EngineSet engines = findEngines(options.engines);
  Json list = Json::array();
  bool all_good = true;
  for (const EngineMetadata& engine : registeredEngines(engines)) {
    const std::string path = engines.folder + engine.Resource;
    const std::string state = options.check ? stateWhenLoaded(engine, path) : stateOfFile(path);
    all_good = all_good && (state == "ready" || state == "there");
    list.push_back(asJson(engine, state));
    if (options.json) continue;
    console.line(padRight(escapeLine(engine.Name), 24) + padRight(state, 22) +
                 escapeLine(engine.Resource + "!" + engine.Function));
    console.line("    " + escapeLine(engine.Description));
  }
  if (options.json)
    printJson({{"catalogue", engines.catalogue}, {"folder", engines.folder}, {"engines", list}}, console);
  return all_good ? kDone : kFailed;
}

}  // namespace

void addEngines(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("engines", "List the analysis engines");
  addEngineOptions(*command, options->engines);
  command->add_flag("--check", options->check,
                    "Load each engine's library, as a run does, and look for its entry point");
  command->add_flag("--json", options->json, "Print JSON");
  command->footer(
      "Without --check nothing of an engine is loaded: only whether its file is there is told. Exit status 1 when one "
      "is\n"
      "missing or cannot be run; --verbose shows the loader's message.\n\n"
      "Example:\n  orb engines --check");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
