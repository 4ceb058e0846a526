// orb run: a sequence on a data file.
#include <cstdio>
#include <memory>

#include "analysis_options.h"
#include "command.h"
#include "engstatus.h"
#include "failure.h"
#include "isolated_step.h"
#include "json_output.h"
#include "result_text.h"
#include "terminal_text.h"

namespace orb::tool {

namespace {

using com::norvale::orb::StepReport;

struct Options {
  std::string file;
  std::string sequence;
  RunOptions engines;
  bool skip_errors = false;
  bool json = false;
};

std::string inWords(const StepReport& report) {
  char time[32];
  std::snprintf(time, sizeof time, "%9.1f ms  ", report.seconds * 1000);
  return padLeft(std::to_string(report.step), 3) + "  " + padRight(escapeLine(report.engine), 26) + time +
         (report.result == 0 ? "done" : codeInWords(report.result));
}

int run(const Options& options, Console& console) {
  const EngineSet engines = findEngines(options.engines);
  FileAccess file;
  openForWriting(file, options.file);
  Json steps = Json::array();
  const auto isolated = engines.isolate ? engines.isolate(file) : nullptr;
  file.observeSteps([&](const StepReport& report) {
    steps.push_back({{"step", report.step},
                     {"engine", report.engine},
                     {"seconds", report.seconds},
                     {"result", hex(report.result, 8)}});
    if (!options.json) console.line(inWords(report));
    if (isolated && report.result == convertReturnCode(ENG_CRASHED))
      console.note(options.file + ": step '" + report.engine + "' " + isolated->crash());
  });
  const std::string sequence = findSequence(options.sequence);
  const std::uint32_t status = runSequence(file, sequence, engines, options.skip_errors);
  if (options.json) printJson({{"result", hex(status, 8)}, {"steps", steps}}, console);
  const std::string what = "cannot run the sequence " + sequence;
  if (steps.empty()) require(status, options.file, what);  // half of its settings may have been copied
  // What the steps before a failed one found stays in the file: the failed one has put back its own blocks.
  flushAndClose(file);
  require(status, options.file, what);
  return kDone;
}

}  // namespace

void addRun(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("run", "Run a sequence of analysis steps on a data file");
  command->add_option("FILE", options->file, "Data file; the results are stored in it")->required();
  addSequenceOption(*command, options->sequence);
  addEngineOptions(*command, options->engines);
  addIsolateOption(*command, options->engines);
  command->add_flag("--skip-errors", options->skip_errors, "Go on after a step that fails");
  command->add_flag("--json", options->json, "Print JSON");
  command->footer(
      "The sequence's settings are copied into the file, unless it lies in the file itself. A failed step leaves its\n"
      "own results as they were; those of the steps before it are stored. Exit status 1 when a step failed, with\n"
      "--skip-errors only when the last one did.\n\n"
      "Example:\n  orb run soil.dat --sequence STANDARD.ASF");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
