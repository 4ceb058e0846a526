// orb info: what a file holds, for people and for programs.
#include <memory>

#include "command.h"
#include "failure.h"
#include "spectrum_file.h"
#include "summary.h"

namespace orb::tool {

namespace {

struct Options {
  std::string file;
  bool json = false;
};

/// Anything that is no database is taken for a spectrum, unless it cannot be read at all.
void runOnSpectrumFile(const Options& options, Console& console) {
  const SpectrumFile file = readSpectrumFile(options.file);
  if (options.json) {
    printJson(spectrumFileJson(file), console);
  } else {
    printSpectrumFile(file, console);
  }
}

void runOnDataFile(const Options& options, Console& console) {
  FileAccess file;
  openForReading(file, options.file);
  const Summary summary = summarise(file);
  if (options.json) {
    printJson(summaryJson(summary), console);
  } else {
    printSummary(summary, console);
  }
}

int run(const Options& options, Console& console) {
  if (looksLikeDataFile(options.file)) {
    runOnDataFile(options, console);
  } else {
    runOnSpectrumFile(options, console);
  }
  return kDone;
}

}  // namespace

void addInfo(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("info", "Tell what a data file or a spectrum file holds");
  command->add_option("FILE", options->file, "Data file, or a spectrum in a text format")->required();
  command->add_flag("--json", options->json, "Print JSON");
  command->footer(
      "Channels count from 1 in data files and from 0 in text formats; energy equations are printed accordingly.\n\n"
      "Example:\n"
      "  orb info soil.dat");
  command->callback([options, &job] { job = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
