// orb info: what a file holds, for people and for programs.
#include <chrono>
#include <memory>
#include <thread>

#include "aioproto.h"
#include "command.h"
#include "failure.h"
#include "leftovers.h"
#include "spectrum_file_output.h"
#include "summary_output.h"
#include "usage_error.h"

namespace orb::tool {

namespace {

/// Ten looks in the time between two flushes of a fast acquisition.
constexpr auto kBetweenLooks = std::chrono::milliseconds(10);

struct Options {
  std::string file;
  bool json = false;
  bool watch = false;
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

/// One state of a file that is being watched, on a line.
void printState(const FileAccess& file, const Options& options, Console& console) {
  const Summary summary = summarise(file);
  console.line(options.json ? jsonText(summaryJson(summary), -1) : summaryLine(summary));
  console.flush();
}

/// Prints every new state of a data file until a signal comes. A file that is replaced is opened again.
void watch(const Options& options, Console& console) {
  const GentleStop stop;
  FileAccess file;
  for (ULONGLONG former = 0; !stop.isAsked(); std::this_thread::sleep_for(kBetweenLooks)) {
    if (!file.isOpen()) {
      openForReading(file, options.file);
      former = 0;
    }
    ULONGLONG state = 0;
    ULONG status = AioGetState(file.handle(), &state);
    if (status == AIO_OK && state == former) continue;
    if (status == AIO_OK) status = AioFollow(file.handle());
    if (status == AIO_BUSY) continue;  // somebody is just writing
    if (status == AIO_NOFILE) {
      file.close(com::norvale::orb::NOFLUSH);
      continue;
    }
    require(convertReturnCode(status), options.file, "cannot follow");
    former = state;
    printState(file, options, console);
  }
}

void runOnDataFile(const Options& options, Console& console) {
  if (options.watch) return watch(options, console);
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
  } else if (options.watch) {
    throw UsageError("info: --watch is for data files");
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
  command->add_flag(
      "--watch", options->watch,
      "Print a line for every state that somebody flushes, until interrupted; with --json one object a line");
  command->footer(
      "Channels count from 1 in data files and from 0 in text formats; energy equations are printed accordingly.\n\n"
      "Example:\n"
      "  orb info soil.dat");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
