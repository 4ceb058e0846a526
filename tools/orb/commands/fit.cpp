// orb fit: the lines of one region.
#include <memory>

#include "command.h"
#include "engine.h"
#include "failure.h"
#include "logged_failure.h"
#include "peak_output.h"
#include "usage_error.h"

namespace orb::tool {

namespace {

namespace lib = com::norvale::orb;

struct Options {
  std::string file;
  unsigned first = 0;
  unsigned last = 0;
  std::string continuum = "step";
  double channels = -1;  // line-free at each end; below 0: not given
  double widths = -1;
  bool json = false;
};

lib::ContinuumType typeOf(const Options& options) {
  return options.continuum == "step" ? lib::STEP : options.continuum == "linear" ? lib::LINEAR : lib::NONE;
}

int run(const Options& options, Console& console) {
  if (options.channels >= 0 && options.widths >= 0) throw UsageError("fit: give either --free-channels or --free-fwhm");
  FileAccess file;
  openForWriting(file, options.file);
  const auto option = options.channels >= 0 ? lib::FIXED_CONTINUUM
                      : options.widths >= 0 ? lib::VARIABLE_CONTINUUM
                                            : lib::USE_DEFAULT_OPTIONS;
  const double width = options.channels >= 0 ? options.channels : options.widths >= 0 ? options.widths : 0;
  // The region and its continuum are settings of the file for the time of the fit alone.
  const orbengine::BlockCopy continuum(file.handle(), ORB_CLS_ACQUISITION);
  const orbengine::BlockCopy settings(file.handle(), ORB_CLS_PROC);
  const LoggedFailure failure;
  file.quantifyRegion(options.first, options.last, option, typeOf(options), static_cast<float>(width), true);
  require(failure.code(), options.file, "cannot fit the region");
  continuum.restore();
  settings.restore();
  const auto peaks = readPeaks(file);
  flushAndClose(file);
  if (options.json) {
    printJson(peaksJson(peaks), console);
  } else {
    printPeaks(peaks, console);
  }
  return kDone;
}

}  // namespace

void addFit(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("fit", "Locate and fit the lines of one region");
  command->add_option("FILE", options->file, "Data file; the table of lines becomes that of the region")->required();
  command->add_option("--start", options->first, "First channel, from 1")
      ->required()
      ->check(CLI::Range(1, 1 << 24))
      ->type_name("N");
  command->add_option("--end", options->last, "Last channel")->required()->type_name("N");
  command->add_option("--continuum", options->continuum, "step, linear or none")
      ->check(CLI::IsMember({"step", "linear", "none"}))
      ->type_name("FORM");
  command->add_option("--free-channels", options->channels, "Channels without lines at each end")
      ->check(CLI::NonNegativeNumber)
      ->type_name("N");
  command->add_option("--free-fwhm", options->widths, "The same in FWHM")
      ->check(CLI::NonNegativeNumber)
      ->type_name("X");
  command->add_flag("--json", options->json, "Print JSON");
  command->footer("Example:\n  orb fit soil.dat --start 1740 --end 1790 --continuum linear");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
